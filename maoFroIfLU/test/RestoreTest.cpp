// The restore at start on the database that an earlier start committed to: exactly the
// committed fROs come back with their stored values, and a row that cannot be rebuilt
// is passed over without stopping the others.
#include "RestoreHandlerGenericBase.h"
#include "TraniTestNode.h"

#include "OdbcSession.h"

#include <algorithm>
#include <map>

using namespace tranitest;

namespace {

using Texts = std::vector<std::string>;

TEST_F(TraniNode, restore_brings_back_exactly_the_committed_fros) {
    std::map<std::string, uint32_t> ids;
    // A first start on an empty database finds nothing and leaves it closed.
    start([&] {
        FroDatabase::instance()->initialize("", kTypes);
        registerClasses();
        RestoreHandlerGenericBase().performRestore();
        EXPECT_TRUE(fros().empty());
        EXPECT_FALSE(FroDatabase::instance()->isConnected());
    });

    start([&] {
        FroDatabase::instance()->initialize("", kTypes);
        registerClasses();
        RecordingTrani trani;
        RecordingMao mao;
        TraniSignalDispatcher dispatcher(&trani, &mao);
        dispatcher.init();
        Tx kept;
        kept.create("Top=1,Probe=1", kProbeType, {{"level", "U32", "5"}, {"name", "STRING", "it's"}});
        kept.create("Top=1,Probe=2", kProbeType, {{"level", "U32", "6"}, {"name", "STRING", "b"}});
        kept.create("Top=1,Other=1", kOtherType, {{"colour", "STRING", "red"}});
        ASSERT_TRUE(kept.end(dispatcher, true));
        for (const std::string& ldn : fros()) {
            ids[ldn] = froMgr::instance().getFro(ldn)->getExternalFroId();
        }
        Tx dropped;
        dropped.create("Top=1,Probe=3", kProbeType, {{"level", "U32", "7"}, {"name", "STRING", "c"}});
        ASSERT_TRUE(dropped.end(dispatcher, false));
    });

    // The next start: the class no longer declares "name"; the stored value stays as a
    // plain attribute of its stored type. Each fRO is told only when all exist.
    events().clear();
    start([&] {
        FroDatabase::instance()->initialize("", kTypes);
        registerClasses(false);
        RestoreHandlerGenericBase().performRestore();
        EXPECT_EQ(fros(), (Texts{"Top=1,Other=1", "Top=1,Probe=1", "Top=1,Probe=2"}));
        froMgr& store = froMgr::instance();
        const fRO* probe = store.getFro("Top=1,Probe=1");
        ASSERT_NE(probe, nullptr);
        EXPECT_EQ(probe->getFroType(), kProbeType);
        for (const std::string& ldn : fros()) {
            EXPECT_EQ(store.getFro(ldn)->getExternalFroId(), ids[ldn]) << ldn;
        }
        EXPECT_EQ(probe->getAttribute("level"), (Attribute{"level", "U32", "5"}));
        EXPECT_EQ(probe->getAttribute("name"), (Attribute{"name", "STRING", "it's"}));
        EXPECT_EQ(store.getMoAttribute("Top=1,Other=1", "colour"), "red");
        EXPECT_EQ(events(), (Texts{"recreate Top=1,Probe=1 of 3", "recreate Top=1,Probe=2 of 3"}));
        EXPECT_FALSE(FroDatabase::instance()->isConnected());
    });
    EXPECT_TRUE(trace.contains("Found 3 fROs to recreate at startup"));

    // A row whose LDN another row holds cannot be made: it is passed over and stays.
    hostdb::OdbcSession own(hostdb::resolveConnectString(config));
    ASSERT_TRUE(own.connect());
    ASSERT_TRUE(own.execute("update frodata_Probe_INITIAL set ldn = 'Top=1,Probe=1' where froid = " +
                            std::to_string(ids["Top=1,Probe=2"])));
    events().clear();
    trace.clear();
    start([&] {
        FroDatabase::instance()->initialize("", kTypes);
        registerClasses();
        RestoreHandlerGenericBase().performRestore();
        EXPECT_EQ(fros(), (Texts{"Top=1,Other=1", "Top=1,Probe=1"}));
        EXPECT_EQ(events(), (Texts{"recreate Top=1,Probe=1 of 2"}));
    });
    const auto texts = trace.texts("MaoFroIfLU");
    EXPECT_EQ(std::count_if(texts.begin(), texts.end(),
                            [](const std::string& text) {
                                return text.rfind("Failed to recreate the fRO in the fRO manager, "
                                                  "type: 0x00002001, id: ", 0) == 0 &&
                                       text.find("ldn: Top=1,Probe=1") != std::string::npos;
                            }),
              1);
    EXPECT_TRUE(trace.contains("All stored fROs restored and initilized."));
    EXPECT_EQ(rows("select froid from frodata_Probe_INITIAL"), 2u);
}

}  // namespace
