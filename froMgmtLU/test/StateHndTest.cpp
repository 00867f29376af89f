// State handlers between parents and children: one hop per delivery, in order, with
// the reporting handler's record; clients; and no wiring left once a fRO goes.
#include "AttributeTypes.h"
#include "StateHnd.h"
#include "LevelTraceCapture.h"
#include "dummy_fRO.h"
#include "transTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using transtest::FroFrameworkTest;

// Every delivery to a callback, in order: "<ldn> down <operationalState>" or "<ldn> up ...".
std::vector<std::string> deliveries;

class StatefulFro : public dummy_fRO {
  public:
    StatefulFro() : dummy_fRO("Node") {}
    int statePropagated(const stateUserData& data) override {
        deliveries.push_back(froMgr::instance().getLdn(froId) + " down " + data.operationalState);
        heardFromParent.push_back(data);
        if (forwardDown) {
            propagateState(data);  // the one way a state goes a further level
        }
        return 0;
    }
    int stateAggregated(const stateUserData& data) override {
        deliveries.push_back(froMgr::instance().getLdn(froId) + " up " + data.operationalState);
        heardFromChildren.push_back(data);
        return 0;
    }
    std::vector<stateUserData> heardFromParent;
    std::vector<stateUserData> heardFromChildren;
    bool forwardDown = false;
};

fRO* makeNode() {
    return new StatefulFro();
}

class RecordingCallback : public PropagateCallback {
  public:
    int statePropagated(const stateUserData& data) override {
        heard.push_back(data);
        return 0;
    }
    std::vector<stateUserData> heard;
};

stateUserData record(uint32_t froId, const std::string& operationalState) {
    stateUserData data;
    data.word1 = 17;
    data.froId = froId;
    data.word3 = 19;
    data.operationalState = operationalState;
    data.availabilityStatus = "avail";
    data.administrativeState = "UNLOCKED";
    return data;
}

bool observes(const listener::Subject& subject, const listener::Observer* observer) {
    const auto& observers = subject.getObservers();
    return std::find(observers.begin(), observers.end(), observer) != observers.end();
}

class StateHndTest : public FroFrameworkTest {
  protected:
    void SetUp() override {
        FroFrameworkTest::SetUp();
        deliveries.clear();
        froMgr::instance().regMOType("Node", &makeNode);
        for (const char* ldn :
             {"Node=1", "Node=1,Node=2", "Node=1,Node=2,Node=3", "Node=1,Node=4"}) {
            ASSERT_NE(nullptr, froMgr::instance().createMO(ldn, 1, -1));
        }
    }
    static StatefulFro& node(const std::string& ldn) {
        auto* found = dynamic_cast<StatefulFro*>(froMgr::instance().getFro(ldn));
        if (found == nullptr) {
            std::fprintf(stderr, "no node %s in the store\n", ldn.c_str());
            std::abort();
        }
        return *found;
    }
};

TEST_F(StateHndTest, StatesGoOneHopBetweenParentAndChildren) {
    const stateUserData down = record(1, "ENABLED");
    node("Node=1").propagateState(down);
    // Each child once, in the order of creation, with the parent's record; no grandchild.
    EXPECT_EQ(
        (std::vector<std::string>{"Node=1,Node=2 down ENABLED", "Node=1,Node=4 down ENABLED"}),
        deliveries);
    ASSERT_EQ(1u, node("Node=1,Node=2").heardFromParent.size());
    EXPECT_EQ(down, node("Node=1,Node=2").heardFromParent.front());
    EXPECT_EQ(down, node("Node=1").getPropagateHnd().getUserData());
    // Every child heard: the parent's handler is clean again.
    EXPECT_EQ(0u, node("Node=1").getPropagateHnd().getState());

    deliveries.clear();
    const stateUserData up = record(2, "DISABLED");
    node("Node=1,Node=2").aggregateState(up);
    EXPECT_EQ(std::vector<std::string>{"Node=1 up DISABLED"}, deliveries);
    EXPECT_EQ(up, node("Node=1").heardFromChildren.front());

    deliveries.clear();
    node("Node=1,Node=2,Node=3").aggregateState(record(3, "X"));
    EXPECT_EQ(std::vector<std::string>{"Node=1,Node=2 up X"}, deliveries);

    // A higher priority is told first.
    deliveries.clear();
    node("Node=1,Node=4").getPropagateHnd().setPriority(5);
    node("Node=1").propagateState(down);
    EXPECT_EQ(
        (std::vector<std::string>{"Node=1,Node=4 down ENABLED", "Node=1,Node=2 down ENABLED"}),
        deliveries);
}

TEST_F(StateHndTest, FurtherLevelsOnlyThroughTheCallback) {
    node("Node=1,Node=2").forwardDown = true;
    node("Node=1").propagateState(record(1, "ENABLED"));
    EXPECT_EQ(
        (std::vector<std::string>{"Node=1,Node=2 down ENABLED", "Node=1,Node=2,Node=3 down ENABLED",
                                  "Node=1,Node=4 down ENABLED"}),
        deliveries);
    // Equal data notifies all the same.
    deliveries.clear();
    node("Node=1,Node=2,Node=3").propagateState(record(3, "same"));
    node("Node=1,Node=2,Node=3").propagateState(record(3, "same"));
    EXPECT_TRUE(deliveries.empty());  // a leaf: nobody below
    EXPECT_EQ(0u, node("Node=1,Node=2,Node=3").getPropagateHnd().getState());
    node("Node=1,Node=2").aggregateState(record(2, "same"));
    node("Node=1,Node=2").aggregateState(record(2, "same"));
    EXPECT_EQ((std::vector<std::string>{"Node=1 up same", "Node=1 up same"}), deliveries);
}

TEST_F(StateHndTest, ClientsAreToldThePresentStateAtOnce) {
    StatefulFro& parent = node("Node=1");
    parent.addAttribute("operationalState", "ENABLED", attrType::STRING);
    parent.addAttribute("availabilityStatus", "", attrType::STRING);
    parent.addAttribute("administrativeState", "LOCKED", attrType::STRING);

    RecordingCallback callback;
    StatePropagateHnd client;
    client.setCallback(&callback);
    LevelTraceCapture traces({"FroMgmtLU"});
    parent.addClient(&client);
    EXPECT_TRUE(
        traces.has(8, "Client with froid: " + std::to_string(parent.getFroId()) + " is added."));
    ASSERT_EQ(1u, callback.heard.size());
    EXPECT_EQ("ENABLED", callback.heard[0].operationalState);
    EXPECT_EQ("LOCKED", callback.heard[0].administrativeState);
    EXPECT_EQ(static_cast<uint32_t>(parent.getFroId()), callback.heard[0].froId);
    EXPECT_EQ(callback.heard[0], client.getUserData());
    // Through the ordinary path: the children hear it as well.
    EXPECT_EQ(
        (std::vector<std::string>{"Node=1,Node=2 down ENABLED", "Node=1,Node=4 down ENABLED"}),
        deliveries);

    parent.propagateState(record(1, "DISABLED"));
    EXPECT_EQ(2u, callback.heard.size());
    parent.removeClient(&client);
    parent.propagateState(record(1, "ENABLED"));
    EXPECT_EQ(2u, callback.heard.size());

    // A fRO without the three attributes gives the client empty texts.
    StatePropagateHnd second;
    RecordingCallback secondCallback;
    second.setCallback(&secondCallback);
    node("Node=1,Node=4").addClient(&second);
    ASSERT_EQ(1u, secondCallback.heard.size());
    EXPECT_EQ("", secondCallback.heard[0].operationalState);
    EXPECT_EQ("", secondCallback.heard[0].availabilityStatus);
    EXPECT_EQ("", secondCallback.heard[0].administrativeState);
    node("Node=1,Node=4").addClient(nullptr);  // ignored
}

TEST_F(StateHndTest, AGoneFroIsNoLongerWired) {
    froMgr& store = froMgr::instance();
    StatefulFro& parent = node("Node=1");
    std::shared_ptr<fRO> held = store.getFroShared("Node=1,Node=2");
    auto& child = dynamic_cast<StatefulFro&>(*held);
    ASSERT_TRUE(observes(parent.getPropagateHnd(), &child.getPropagateHnd()));
    ASSERT_TRUE(observes(child.getAggregateHnd(), &parent.getAggregateHnd()));

    ASSERT_TRUE(store.deleteMO("Node=1,Node=2"));
    EXPECT_FALSE(observes(parent.getPropagateHnd(), &child.getPropagateHnd()));
    EXPECT_FALSE(observes(child.getAggregateHnd(), &parent.getAggregateHnd()));
    // Held a little longer, the gone child neither hears nor tells anything.
    parent.propagateState(record(1, "ENABLED"));
    child.aggregateState(record(2, "DISABLED"));
    EXPECT_EQ(std::vector<std::string>{"Node=1,Node=4 down ENABLED"}, deliveries);
    EXPECT_TRUE(child.heardFromParent.empty());
    EXPECT_TRUE(parent.heardFromChildren.empty());
    held.reset();

    // The parent goes first, held a little longer: its remaining child's state
    // reaches it no more.
    held = store.getFroShared("Node=1");
    ASSERT_TRUE(store.deleteMO("Node=1"));
    deliveries.clear();
    node("Node=1,Node=4").aggregateState(record(4, "lonely"));
    EXPECT_TRUE(deliveries.empty());
    EXPECT_TRUE(parent.heardFromChildren.empty());
    held.reset();
    node("Node=1,Node=4").aggregateState(record(4, "lonely"));
    EXPECT_TRUE(deliveries.empty());
    ASSERT_TRUE(store.deleteMO("Node=1,Node=4"));
    ASSERT_TRUE(store.deleteMO("Node=1,Node=2,Node=3"));
}

TEST_F(FroFrameworkTest, StateHndDeliversOnlyChangedHandlerRecords) {
    RecordingCallback callback;
    StatePropagateHnd source;
    StatePropagateHnd listening;
    StateAggregateHnd aggregating;  // a handler without callback hears and does nothing
    listening.setCallback(&callback);
    LevelTraceCapture traces({"FroMgmtLU"});
    source.attachObserver(&listening);
    source.attachObserver(&aggregating);
    source.attachObserver(nullptr);
    EXPECT_TRUE(traces.has(8, "Observer is attached."));
    EXPECT_EQ(1u, listening.getNotifyLevel());

    source.setUserData(record(5, "ON"));
    EXPECT_TRUE(traces.has(8, "Observer is notified."));
    ASSERT_EQ(1u, callback.heard.size());
    EXPECT_EQ(record(5, "ON"), callback.heard[0]);  // the subject's record, not the observer's
    EXPECT_EQ(stateUserData(), listening.getUserData());

    // A deleted subject and a subject that is no handler reach no callback.
    source.notifyDeletion();
    listening.observer_update(&source);
    listening.observer_update(nullptr);
    froMgr::instance().setState(listener::Subject::stateChanged);
    listening.observer_update(&froMgr::instance());
    froMgr::instance().setState(listener::Subject::stateClean);
    EXPECT_EQ(1u, callback.heard.size());

    source.detachObserver(&listening);
    source.setUserData(record(5, "OFF"));
    EXPECT_EQ(1u, callback.heard.size());
    EXPECT_EQ("StatePropagateHnd", source.getSubjectName());
    EXPECT_EQ("StateAggregateHnd", aggregating.getSubjectName());
}

}  // namespace
