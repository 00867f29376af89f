// The store of committed fROs: creating and deleting with ids, nodes and listeners;
// every kind of lookup; attribute access by LDN; clear; the database write.
#include "AttributeTypes.h"
#include "LdnManager.h"
#include "LevelTraceCapture.h"
#include "dummy_fRO.h"
#include "transTestSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using transtest::FroFrameworkTest;
using transtest::Recorder;
using transtest::takenIds;

// A class of its own that hears of every set through the store.
class WatchedFro : public dummy_fRO {
  public:
    WatchedFro() : dummy_fRO("Watched") {}
    void attributeChanged(const std::string& name, const std::string& oldValue,
                          const std::string& newValue) override {
        changes.push_back(name + ":" + oldValue + "->" + newValue);
    }
    std::vector<std::string> changes;
};

fRO* makeWatched() {
    return new WatchedFro();
}

// An interface no stored class implements.
class Unrelated {
  public:
    virtual ~Unrelated() = default;
};

std::vector<std::string> textsOf(const std::vector<Ldn>& handles) {
    std::vector<std::string> texts;
    for (const Ldn& handle : handles) {
        texts.push_back(handle.getLdnText());
    }
    return texts;
}

std::vector<std::string> ldnsOf(const std::vector<fRO*>& fros) {
    std::vector<std::string> ldns;
    for (const fRO* fro : fros) {
        ldns.push_back(froMgr::instance().getLdn(fro->getFroId()));
    }
    return ldns;
}

TEST_F(FroFrameworkTest, FroMgrCreatesAndFindsByLdnAndId) {
    froMgr& store = froMgr::instance();
    LevelTraceCapture traces({"FroMgmtLU", "Ft_CONFIG"});
    fRO* b10 = store.createMO("A=1,B=10", 1, -1);
    fRO* b2 = store.createMO("A=1,B=2", 1, 7);
    fRO* c = store.createMO("A=1,C=2", 2, 7);
    ASSERT_NE(nullptr, b10);
    ASSERT_NE(nullptr, b2);
    ASSERT_NE(nullptr, c);
    EXPECT_TRUE(traces.has(2, "froMgr::createMO(ldn=\"A=1,B=10\",fROType=1,fROId=-1)"));
    EXPECT_TRUE(traces.has(8, "fRO A=1,B=10 created"));
    EXPECT_EQ(0u, b10->getExternalFroId());
    // Plain text order, not numeric; "A=1" is a step of the tree, no fRO.
    std::vector<std::string> ldns{"stale"};
    EXPECT_EQ(3u, store.getMOs(ldns));
    EXPECT_EQ((std::vector<std::string>{"A=1,B=10", "A=1,B=2", "A=1,C=2"}), ldns);
    EXPECT_FALSE(store.exists("A=1"));
    EXPECT_TRUE(LdnManager::instance().exists("A=1"));

    EXPECT_EQ(b2, store.getFro("A=1,B=2"));
    EXPECT_EQ(b2, store.getFroShared("A=1,B=2").get());
    EXPECT_EQ(b2, store.getFroWeak("A=1,B=2").lock().get());
    EXPECT_EQ(b2, store.getFro(1u, 7));
    EXPECT_EQ(c, store.getFroShared(2u, 7).get());
    EXPECT_EQ(c, store.getFro("C", 7));
    EXPECT_EQ(b2, store.getFroWeak("B", 7).lock().get());
    EXPECT_EQ(nullptr, store.getFro("B", 8));
    EXPECT_EQ(nullptr, store.getFro(3u, 7));
    EXPECT_EQ(nullptr, store.getFro("A=1,B=404"));
    EXPECT_EQ(nullptr, store.getFro(""));
    EXPECT_EQ("A=1,B=2", store.getLdn(b2->getFroId()));
    EXPECT_EQ("A=1,C=2", store.getLdn(2u, 7));
    EXPECT_EQ("A=1,B=10", store.getLdn("B", 0));
    EXPECT_EQ("", store.getLdn("C", 0));
    EXPECT_EQ("", store.getLdn(12345));
    EXPECT_TRUE(store.getFroAs<dummy_fRO>("A=1,B=2"));
    EXPECT_FALSE(store.getFroAs<Unrelated>("A=1,B=2"));
    EXPECT_FALSE(store.getFroAs<dummy_fRO>("A=1,B=404"));
    EXPECT_TRUE(store.getFroAs<dummy_fRO>(2u, 7));

    // Refusals leave the store and the ids as they were, and tell no subscriber.
    int told = 0;
    auto subscriber =
        std::make_shared<froMgr::CreationCallback>([&told](std::weak_ptr<fRO>) { ++told; });
    store.subscribeCreation(subscriber);
    EXPECT_EQ(nullptr, store.createMO("A=1,B=2", 1, -1));
    EXPECT_TRUE(traces.has(8, "createMO: fRO already exists fRO={A=1,B=2}"));
    EXPECT_EQ(nullptr, store.createMO("A=1,B=3", 1, 7));  // id 7 of type 1 in use
    EXPECT_TRUE(traces.has(8, "fRO A=1,B=3 NOT created"));
    EXPECT_EQ(nullptr, store.createMO("", 1, -1));
    EXPECT_FALSE(LdnManager::instance().exists("A=1,B=3"));
    EXPECT_EQ(0, told);
    EXPECT_EQ(3u, store.size());
    EXPECT_EQ((std::vector<uint32_t>{0, 7}), takenIds(1));
}

TEST_F(FroFrameworkTest, FroMgrDeleteFreesIdNodeAndTellsListeners) {
    froMgr& store = froMgr::instance();
    Recorder storeWatcher;
    store.attach(&storeWatcher, 1);
    ASSERT_NE(nullptr, store.createMO("A=1,B=1,C=1", 1, 4));
    bool toldOfDeletion = false;
    auto deletion = std::make_shared<fRO::DeletionCallback>(
        [&toldOfDeletion](std::weak_ptr<fRO> fro) { toldOfDeletion = !fro.expired(); });
    store.getFro("A=1,B=1,C=1")->subscribeDeletion(deletion);

    LevelTraceCapture traces({"FroMgmtLU", "Ft_CONFIG"});
    EXPECT_FALSE(store.deleteMO("A=1,B=1"));
    EXPECT_TRUE(traces.has(8, "deleteMO: fRO does not exist fRO={A=1,B=1}"));
    EXPECT_TRUE(store.deleteMO("A=1,B=1,C=1"));
    EXPECT_TRUE(traces.has(8, "fRO A=1,B=1,C=1 deleted"));
    EXPECT_TRUE(toldOfDeletion);
    EXPECT_EQ((std::vector<uint32_t>{2, 3}), storeWatcher.states);  // created, deleted
    EXPECT_TRUE(takenIds(1).empty());                               // free at once
    // The leaf goes and so do the steps above it that nothing else holds.
    EXPECT_FALSE(LdnManager::instance().exists("A=1,B=1,C=1"));
    EXPECT_FALSE(LdnManager::instance().exists("A=1"));
    EXPECT_FALSE(store.deleteMO("A=1,B=1,C=1"));
    ASSERT_NE(nullptr, store.createMO("A=1,B=1,C=1", 1, 4));  // the id can be taken again
    store.detach(&storeWatcher);
}

TEST_F(FroFrameworkTest, FroMgrCreationSubscribers) {
    froMgr& store = froMgr::instance();
    std::vector<std::string> seen;
    auto subscriber = std::make_shared<froMgr::CreationCallback>([&seen](std::weak_ptr<fRO> fro) {
        std::shared_ptr<fRO> made = fro.lock();
        seen.push_back(made ? froMgr::instance().getLdn(made->getFroId()) : "expired");
        // The store may be used from inside a callback.
        if (seen.size() == 1) {
            froMgr::instance().createMO("A=1,Nested=1", 1, -1);
        }
    });
    auto shortLived = std::make_shared<froMgr::CreationCallback>([](std::weak_ptr<fRO>) {});
    store.subscribeCreation(subscriber);
    store.subscribeCreation(shortLived);
    EXPECT_EQ(2u, store.creationSubscriberCount());
    shortLived.reset();

    ASSERT_NE(nullptr, store.createMO("A=1,B=1", 1, -1));
    EXPECT_EQ((std::vector<std::string>{"A=1,B=1", "A=1,Nested=1"}), seen);
    EXPECT_TRUE(store.exists("A=1,Nested=1"));
    EXPECT_EQ(1u, store.creationSubscriberCount());  // the expired one was dropped

    LevelTraceCapture traces({"FroMgmtLU"});
    std::weak_ptr<froMgr::CreationCallback> expired;
    {
        auto gone = std::make_shared<froMgr::CreationCallback>([](std::weak_ptr<fRO>) {});
        expired = gone;
        store.unsubscribeCreation(gone);
        EXPECT_TRUE(traces.has(0, "Attempt to remove subscriber that is not in froMgr."));
    }
    store.subscribeCreation(expired);
    EXPECT_TRUE(traces.has(
        0, "Subscribe to fRO creation failed because the provided callback has expired."));
    store.unsubscribeCreation(expired);
    EXPECT_TRUE(traces.has(
        0, "Unsubscribe to fRO creation failed because the provided callback has expired."));
    store.unsubscribeCreation(subscriber);
    EXPECT_EQ(0u, store.creationSubscriberCount());
    ASSERT_NE(nullptr, store.createMO("A=1,B=2", 1, -1));
    EXPECT_EQ(2u, seen.size());
}

TEST_F(FroFrameworkTest, FroMgrListsSpecificMOsAndChildren) {
    froMgr& store = froMgr::instance();
    for (const char* ldn :
         {"A=1,B=1,C=1", "A=1,B=1,C=2", "A=1,B=1,C=2,D=1", "A=1,B=2", "A=1,E=1,C=7"}) {
        ASSERT_NE(nullptr, store.createMO(ldn, 1, -1));
    }
    std::vector<std::string> out{"stale"};
    // "B=1" has no fRO of its own but stands above fROs; "A=1,B=2" is one of its own.
    EXPECT_EQ(2u, store.getSpecificMOs(out, "B"));
    EXPECT_EQ((std::vector<std::string>{"A=1,B=1", "A=1,B=2"}), out);
    EXPECT_EQ(3u, store.getSpecificMOs(out, "C"));
    EXPECT_EQ((std::vector<std::string>{"A=1,B=1,C=1", "A=1,B=1,C=2", "A=1,E=1,C=7"}), out);
    EXPECT_EQ(0u, store.getSpecificMOs(out, "Z"));

    std::vector<Ldn> handles;
    ASSERT_TRUE(store.getChildren("A=1,B=1", handles, ""));
    // The own LDN first even without fRO, then breadth first the nodes that hold one.
    EXPECT_EQ(
        (std::vector<std::string>{"A=1,B=1", "A=1,B=1,C=1", "A=1,B=1,C=2", "A=1,B=1,C=2,D=1"}),
        textsOf(handles));
    ASSERT_TRUE(store.getChildren("A=1", handles, "C"));
    EXPECT_EQ((std::vector<std::string>{"A=1,B=1,C=1", "A=1,B=1,C=2", "A=1,E=1,C=7"}),
              textsOf(handles));
    EXPECT_FALSE(store.getChildren("A=1,B=2", handles, "C"));
    EXPECT_TRUE(handles.empty());
    ASSERT_TRUE(store.getChildren("X=9", handles, ""));
    ASSERT_EQ(1u, handles.size());
    EXPECT_TRUE(handles.front().isEmpty());

    std::vector<std::string> texts;
    ASSERT_TRUE(store.getChildren("A=1,B=1,C=2", texts, 1, ""));
    EXPECT_EQ((std::vector<std::string>{"A=1,B=1,C=2", "A=1,B=1,C=2,D=1"}), texts);
    EXPECT_TRUE(store.getChildren("X=9", texts, 0, ""));
    EXPECT_EQ(std::vector<std::string>{"X=9"}, texts);
    EXPECT_FALSE(store.getChildren("X=9", texts, 0, "C"));

    // A child deleted from the store is no longer listed though its node may stay.
    ASSERT_TRUE(store.deleteMO("A=1,B=1,C=2"));
    ASSERT_TRUE(store.getChildren("A=1,B=1", texts, 0, ""));
    EXPECT_EQ((std::vector<std::string>{"A=1,B=1", "A=1,B=1,C=1", "A=1,B=1,C=2,D=1"}), texts);
}

TEST_F(FroFrameworkTest, FroMgrFindsByAttributeAndMoRef) {
    froMgr& store = froMgr::instance();
    const std::string target = "A=1,B=1";
    const std::string moref = "<moref name=\"peer\"><attr name=\"ldn\" type=\"STRING\" value=\"" +
                              target + "\"/></moref>";
    const std::string array =
        "<array name=\"peers\"><moref><attr name=\"ldn\" type=\"STRING\" "
        "value=\"A=1,B=9\"/></moref><moref><attr name=\"ldn\" type=\"STRING\" "
        "value=\"" +
        target + "\"/></moref></array>";
    ASSERT_NE(nullptr, store.createMO(target, 1, -1));
    fRO* single = store.createMO("A=1,P=1", 1, -1);
    fRO* twice = store.createMO("A=1,P=2", 1, -1);
    fRO* other = store.createMO("A=1,P=3", 1, -1);
    ASSERT_TRUE(single && twice && other);
    single->addAttribute("peer", moref, attrType::MOREF);
    single->addAttribute("peers", array, attrType::ARRAY);  // not taken again after the moref
    twice->addAttribute("broken", "not xml", attrType::ARRAY);
    twice->addAttribute("peers", array, attrType::ARRAY);
    twice->addAttribute("peers2", array, attrType::ARRAY);
    other->addAttribute(
        "peer", "<moref name=\"peer\"><attr name=\"ldn\" type=\"STRING\" value=\"A=1\"/></moref>",
        attrType::MOREF);
    other->addAttribute("colour", "red", attrType::STRING);
    twice->addAttribute("colour", "blue", attrType::STRING);

    LevelTraceCapture traces({"FroMgmtLU"});
    EXPECT_EQ((std::vector<std::string>{"A=1,P=1", "A=1,P=2", "A=1,P=2"}),
              ldnsOf(store.findSpMoRef(target)));
    EXPECT_TRUE(traces.has(8, "Unable to determine the number of array elements in broken"));
    EXPECT_EQ(3u, store.findSpMoRefShared(target).size());
    EXPECT_TRUE(store.findSpMoRef("A=1,B=404").empty());

    EXPECT_EQ((std::vector<std::string>{"A=1,P=1", "A=1,P=2", "A=1,P=3"}),
              ldnsOf(store.findFro("P")));
    EXPECT_EQ(std::vector<std::string>{"A=1,P=3"}, ldnsOf(store.findFro("P", "colour", "red")));
    EXPECT_EQ(1u, store.findFroShared("P", "colour", "blue").size());
    EXPECT_EQ(1u, store.findFroShared("B").size());
    EXPECT_TRUE(store.findFro("P", "colour", "green").empty());
    EXPECT_TRUE(traces.has(
        2, "froMgr::findFro(moType=\"P\", attributeName=\"colour\", attributeValue=\"red\")"));
}

TEST_F(FroFrameworkTest, FroMgrSetsAttributesByLdn) {
    froMgr& store = froMgr::instance();
    store.regMOType("Watched", &makeWatched);
    fRO* fro = store.createMO("A=1,Watched=1", 1, -1);
    ASSERT_NE(nullptr, fro);
    auto* watched = dynamic_cast<WatchedFro*>(fro);
    ASSERT_NE(nullptr, watched);
    fro->addAttribute("level", "1", attrType::S32);
    fro->addAttribute("name", "n", attrType::STRING);

    Recorder storeWatcher;
    Recorder attributeWatcher;
    store.attach(&storeWatcher, 1);
    AttrNameValue* level = store.getAttributeToBeObserved("A=1,Watched=1", "level");
    ASSERT_NE(nullptr, level);
    level->attach(&attributeWatcher, 1);
    EXPECT_EQ(nullptr, store.getAttributeToBeObserved("A=1,Watched=1", "nope"));

    EXPECT_TRUE(store.setMoAttribute("A=1,Watched=1", "level", "2"));
    EXPECT_EQ(1u, attributeWatcher.states.size());
    // The same value again: the fRO and the store hear of it, the attribute's observer not.
    EXPECT_TRUE(store.setMoAttribute("A=1,Watched=1", "level", "2"));
    EXPECT_EQ((std::vector<std::string>{"level:1->2", "level:2->2"}), watched->changes);
    EXPECT_EQ((std::vector<uint32_t>{1, 1}), storeWatcher.states);
    EXPECT_EQ(1u, attributeWatcher.states.size());

    LevelTraceCapture traces({"Ft_CONFIG"});
    EXPECT_FALSE(store.setMoAttribute("A=1,Watched=1", "nope", "1"));
    EXPECT_TRUE(
        traces.has(8, "setAttribute: Attribute=nope could not be set in MO={A=1,Watched=1}"));
    EXPECT_FALSE(store.setMoAttribute("A=1,Watched=404", "level", "1"));
    EXPECT_TRUE(traces.has(8, "setAttribute: MO={A=1,Watched=404} not found"));
    EXPECT_EQ(2u, watched->changes.size());

    EXPECT_EQ("2", store.getMoAttribute("A=1,Watched=1", "level"));
    EXPECT_EQ("", store.getMoAttribute("A=1,Watched=404", "level"));
    EXPECT_EQ(Attribute("name", attrType::STRING, "n"),
              store.getAttribute("A=1,Watched=1", "name"));
    EXPECT_TRUE(store.getAttribute("A=1,Watched=1", "nope").isEmpty());
    EXPECT_TRUE(store.setAttrValue("A=1,Watched=1", "name", "m"));
    EXPECT_TRUE(store.setAttrValue("A=1,Watched=1", "name", static_cast<const char*>("k")));
    EXPECT_FALSE(store.setAttrValue("A=1,Watched=404", "name", "m"));

    // The typed family forwards to the fRO; a missing fRO gives false, 0 or empty.
    EXPECT_TRUE(store.setS32AttrValue("A=1,Watched=1", "level", -5));
    EXPECT_EQ(-5, store.getS32AttrValue("A=1,Watched=1", "level"));
    EXPECT_FALSE(store.setU32AttrValue("A=1,Watched=1", "level", 5u));  // wrong type
    EXPECT_EQ("k", store.getStringAttrValue("A=1,Watched=1", "name"));
    EXPECT_FALSE(store.setS32AttrValue("A=1,Watched=404", "level", 1));
    EXPECT_EQ(0, store.getS32AttrValue("A=1,Watched=404", "level"));
    EXPECT_EQ("", store.getArrayAttrValue("A=1,Watched=404", "r"));

    level->detach(&attributeWatcher);
    store.detach(&storeWatcher);
}

TEST_F(FroFrameworkTest, FroMgrObserverUpdateRunsTheLaterPass) {
    froMgr& store = froMgr::instance();
    fRO* fro = store.createMO("A=1,B=1", 1, -1);
    ASSERT_NE(nullptr, fro);
    fro->addAttribute("level", "1", attrType::S32);
    Recorder later;
    Recorder storeLater;
    store.getAttributeToBeObserved("A=1,B=1", "level")->attach(&later, 0);
    store.attach(&storeLater, 0);
    ASSERT_TRUE(store.setMoAttribute("A=1,B=1", "level", "2"));
    EXPECT_TRUE(later.states.empty());
    EXPECT_EQ(1u, store.getState());
    store.observer_update();
    EXPECT_EQ(std::vector<uint32_t>{1}, later.states);
    EXPECT_EQ(std::vector<uint32_t>{1}, storeLater.states);
    EXPECT_EQ(0u, store.getState());
    EXPECT_EQ(0u, fro->getState());
    store.detach(&storeLater);
}

TEST_F(FroFrameworkTest, FroMgrClearTellsEveryoneBeforeTheFirstObjectGoes) {
    froMgr& store = froMgr::instance();
    const std::vector<std::string> ldns{"A=1", "A=1,B=1", "A=1,B=2"};
    std::vector<std::weak_ptr<fRO>> all;
    for (const std::string& ldn : ldns) {
        ASSERT_NE(nullptr, store.createMO(ldn, 1, -1));
        all.push_back(store.getFroWeak(ldn));
    }
    int toldWhileAllAlive = 0;
    auto callback = std::make_shared<fRO::DeletionCallback>([&](std::weak_ptr<fRO>) {
        bool alive = true;
        for (const auto& fro : all) {
            alive = alive && !fro.expired();
        }
        toldWhileAllAlive += alive ? 1 : 0;
    });
    for (const std::string& ldn : ldns) {
        store.getFro(ldn)->subscribeDeletion(callback);
    }
    store.clear();
    EXPECT_EQ(3, toldWhileAllAlive);
    for (const auto& fro : all) {
        EXPECT_TRUE(fro.expired());
    }
    EXPECT_EQ(0u, store.size());
    EXPECT_EQ(0u, LdnManager::instance().size());
    EXPECT_TRUE(takenIds(1).empty());
    ASSERT_NE(nullptr, store.createMO("A=1", 1, -1));  // usable afterwards
}

TEST_F(FroFrameworkTest, FroMgrSaveMOWritesThroughTheInstalledWriter) {
    froMgr& store = froMgr::instance();
    fRO* fro = store.createMO("A=1,B=1", 3, 12);
    ASSERT_NE(nullptr, store.createMO("A=1,B=2", 3, -1));
    ASSERT_NE(nullptr, fro);
    fro->addAttribute("level", "1", attrType::S32);
    fro->addAttribute("name", "n", attrType::STRING);

    LevelTraceCapture traces({"FroMgmtLU"});
    EXPECT_FALSE(store.saveMO("A=1,B=1"));  // nothing installed
    struct Call {
        uint32_t transactionId, froId, froType;
        Attributes attributes;
        bool onlyPersistent;
    };
    std::vector<Call> calls;
    bool answer = true;
    store.setAttributeWriter([&](uint32_t transactionId, uint32_t froId, uint32_t froType,
                                 const Attributes& attributes, bool onlyPersistent) {
        calls.push_back({transactionId, froId, froType, attributes, onlyPersistent});
        return answer;
    });
    EXPECT_TRUE(store.saveMO("A=1,B=1"));
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(0u, calls[0].transactionId);
    EXPECT_EQ(12u, calls[0].froId);
    EXPECT_EQ(3u, calls[0].froType);
    EXPECT_TRUE(calls[0].onlyPersistent);
    EXPECT_EQ((Attributes{Attribute("level", attrType::S32, "1"),
                          Attribute("name", attrType::STRING, "n")}),
              calls[0].attributes);
    answer = false;
    EXPECT_FALSE(store.saveMO("A=1,B=1"));

    EXPECT_FALSE(store.saveMO("A=1,B=2"));
    EXPECT_TRUE(traces.has(8, "No attributes to save for FRO with ldn=\"A=1,B=2\""));
    EXPECT_FALSE(store.saveMO("A=1,B=404"));
    EXPECT_TRUE(traces.has(1, "No FRO found with ldn=\"A=1,B=404\""));
    EXPECT_EQ(2u, calls.size());

    answer = true;
    EXPECT_TRUE(
        transMgr::instance().saveAttributes(77, 5, 3, {Attribute("x", attrType::S32, "2")}));
    ASSERT_EQ(3u, calls.size());
    EXPECT_EQ(0u, calls[2].transactionId);  // the transaction is traced, not used
    store.setAttributeWriter(froMgr::AttributeWriter());
}

TEST_F(FroFrameworkTest, FroMgrDump) {
    froMgr& store = froMgr::instance();
    ASSERT_NE(nullptr, store.createMO("A=1,B=1", 1, -1));
    ASSERT_NE(nullptr, store.createMO("A=1,B=2", 1, -1));
    std::ostringstream out;
    store.dump(out);
    EXPECT_EQ(0u, out.str().find("=========== froMgr.dump ==================\n"
                                 "Number of stored fRO's: 2\n"
                                 "==========================================\n"));
    EXPECT_NE(std::string::npos, out.str().find("LdnManager DUMP END"));
}

}  // namespace
