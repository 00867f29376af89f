// FroHandler's start of the service layer: indications, database, classes, restore,
// and only then the service, which the name server then knows.
#include "FroHandler.h"
#include "RestoreHandlerGenericBase.h"
#include "TraniTestNode.h"

#include "osa_findserver.h"
#include "plab/nameserver/v1/NameServerOse.h"

using namespace tranitest;

namespace {

const char* const kService = "ULSA_TEST_FRO_SERVICE";

bool published() {
    OsaServerBlock* block = nullptr;
    PROCESS pid = 0;
    return Osa_findServer(kService, &block, &pid) == OSA_OK && pid == current_process();
}

// Records each step, and what stands when it begins.
class OrderedFroHandler : public FroHandler {
  public:
    OrderedFroHandler(MaoFroGenericBase* mao, TraniGenericBase* trani,
                      RestoreHandlerGenericBase* restorer, const TraceCapture& capture)
        : FroHandler(mao, trani, restorer), trace(capture) {}

    void openDatabase(const std::string& name, const MocRegistrations& registrations) override {
        events().push_back(std::string("database") +
                           (trace.contains("IndHandler::init()") ? " after indications" : ""));
        FroHandler::openDatabase(name, registrations);
    }
    void registerMocs(const MocRegistrations& registrations) override {
        events().push_back("registrations");
        FroHandler::registerMocs(registrations);
    }
    void restore() override {
        events().push_back(std::string("restore") + (published() ? " after service" : ""));
        FroHandler::restore();
    }
    void startService(const std::string& name) override {
        events().push_back("service");
        FroHandler::startService(name);
    }

  private:
    const TraceCapture& trace;
};

TEST_F(TraniNode, fro_handler_starts_the_service_only_after_the_restore) {
    traceConfigure("MaoFroIfLU=0-16,Ft_RESTART=0-16,FroDbLU=0-16,IndHandlerLU=0-16");
    const std::vector<FroTypeEntry> probeOnly = {{kProbeType, "Probe"}};
    start([&] {
        FroDatabase::instance()->initialize("cat", probeOnly);
        registerClasses();
        RecordingTrani trani;
        RecordingMao mao;
        TraniSignalDispatcher dispatcher(&trani, &mao);
        dispatcher.init();
        Tx stored;
        stored.create("Top=1,Probe=1", kProbeType, {{"level", "U32", "3"}, {"name", "STRING", "s"}});
        ASSERT_TRUE(stored.end(dispatcher, true));
    });

    events().clear();
    start([&] {
        const MocRegistrations registrations = {
            {"Probe", kProbeType, &ProbeFro::create,
             {{"level", "U32", "0"}, {"name", "STRING", "none"}}, 0},
            {"Other", kOtherType, nullptr, {{"colour", "STRING", "grey"}}, 1}};
        {
            RecordingTrani trani;
            RecordingMao mao;
            RestoreHandlerGenericBase restorer;
            OrderedFroHandler handler(&mao, &trani, &restorer, trace);
            handler.startFroFramework("cat", kService, registrations);
            EXPECT_EQ(events(), (std::vector<std::string>{
                                    "database after indications", "registrations", "restore",
                                    "recreate Top=1,Probe=1 of 1", "service"}));
            EXPECT_TRUE(published());
            EXPECT_EQ(froMgr::instance().getMoAttribute("Top=1,Probe=1", "level"), "3");

            // The classes and their defaults are registered: a new fRO of each has them.
            fRO* other = froMgr::instance().createMO("Top=1,Other=1", kOtherType, -1);
            ASSERT_NE(other, nullptr);
            EXPECT_EQ(other->getAttribute("colour"), (Attribute{"colour", "STRING", "grey"}));
            EXPECT_NE(dynamic_cast<ProbeFro*>(froMgr::instance().getFro("Top=1,Probe=1")),
                      nullptr);
        }
        plab::nameserver::v1::destroyNameServer();
    });
    // A class flagged out of the database gets no table entry.
    EXPECT_EQ(rows("select frotype from cat_fro_versions"), 1u);
}

// A change that a fRO makes of itself, outside any transaction, is saved through the
// writer that the start installs with the database.
TEST_F(TraniNode, fro_handler_makes_the_database_the_writer_of_changes_a_fro_makes_itself) {
    const MocRegistrations registrations = {
        {"Probe", kProbeType, &ProbeFro::create, {{"level", "U32", "0"}}, 0}};
    start([&] {
        {
            RecordingTrani trani;
            RecordingMao mao;
            FroHandler handler(&mao, &trani, nullptr);
            handler.startFroFramework("cat", kService, registrations);
            TraniSignalDispatcher dispatcher(&trani, &mao);
            Tx stored;
            stored.create("Top=1,Probe=1", kProbeType, {{"level", "U32", "3"}});
            ASSERT_TRUE(stored.end(dispatcher, true));

            ASSERT_TRUE(froMgr::instance().setMoAttribute("Top=1,Probe=1", "level", "7"));
            EXPECT_TRUE(froMgr::instance().saveMO("Top=1,Probe=1"));
        }
        plab::nameserver::v1::destroyNameServer();
    });
    EXPECT_EQ(rows("select froid from cat_frodata_Probe_INITIAL where level = 7"), 1u);
}

}  // namespace
