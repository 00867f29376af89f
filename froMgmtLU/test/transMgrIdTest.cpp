// Ids through transactions: what a commit keeps, what a rollback gives back, and that
// no sequence of calls, however wrong, leaves an id taken without a fRO holding it.
#include "AttributeTypes.h"
#include "LevelTraceCapture.h"
#include "fROFactory.h"
#include "transTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using transtest::commit;
using transtest::expectIdsHeldByCommitted;
using transtest::FroFrameworkTest;
using transtest::takenIds;
using Lists = transtest::CommitLists;

constexpr uint32_t kType = 7;

bool create(int32_t transactionId, const std::string& ldn, int32_t& id) {
    return transMgr::instance().createMO(transactionId, ldn, {Attribute("x", attrType::S32, "1")},
                                         kType, id);
}

TEST_F(FroFrameworkTest, TransMgrRollbackFreesReservedIdsAndCommitKeepsThem) {
    transMgr& manager = transMgr::instance();
    int32_t id = 5;
    ASSERT_TRUE(create(1, "Root=1,Unit=5", id));
    EXPECT_EQ(5, id);
    EXPECT_EQ(std::vector<uint32_t>{5}, takenIds(kType));

    // While transaction 1 holds 5, nobody else gets it.
    int32_t again = 5;
    EXPECT_FALSE(create(2, "Root=1,Unit=6", again));
    EXPECT_EQ(0, manager.getTransactionId("Root=1,Unit=6"));

    manager.rollback(1);
    EXPECT_TRUE(takenIds(kType).empty());
    EXPECT_TRUE(create(2, "Root=1,Unit=6", again));
    EXPECT_EQ(5, again);
    EXPECT_TRUE(commit(2));
    ASSERT_TRUE(froMgr::instance().exists("Root=1,Unit=6"));
    EXPECT_EQ(5u, froMgr::instance().getFro("Root=1,Unit=6")->getExternalFroId());
    expectIdsHeldByCommitted({kType});

    // Committed, the id stays taken.
    int32_t third = 5;
    EXPECT_FALSE(create(3, "Root=1,Unit=7", third));
    // A new id is the lowest free one.
    third = -1;
    EXPECT_TRUE(create(3, "Root=1,Unit=7", third));
    EXPECT_EQ(0, third);
    manager.rollback(3);
    expectIdsHeldByCommitted({kType});
}

TEST_F(FroFrameworkTest, TransMgrDeleteAndRecreateInOneTransaction) {
    transMgr& manager = transMgr::instance();
    froMgr& store = froMgr::instance();
    {
        SCOPED_TRACE("a new LDN: create, delete, create starts from nothing");
        int32_t id = -1;
        ASSERT_TRUE(create(1, "Root=1,Unit=1", id));
        EXPECT_EQ(0, id);
        ASSERT_TRUE(manager.deleteMO(1, "Root=1,Unit=1"));
        EXPECT_TRUE(takenIds(kType).empty());
        id = -1;
        ASSERT_TRUE(manager.createMO(1, "Root=1,Unit=1", {Attribute("z", attrType::STRING, "q")},
                                     kType, id));
        EXPECT_EQ(0, id);
        Attributes seen;
        ASSERT_TRUE(manager.getMoAttributes(1, "Root=1,Unit=1", {}, seen, true));
        EXPECT_EQ((Attributes{Attribute("TransState", attrType::STRING, "CREATE"),
                              Attribute("z", attrType::STRING, "q")}),
                  seen);
        ASSERT_TRUE(commit(1));
    }
    const uint32_t oldId = store.getFro("Root=1,Unit=1")->getExternalFroId();
    {
        SCOPED_TRACE(
            "a committed LDN: delete, create with the id in use fails and loses the delete");
        LevelTraceCapture traces({"FroMgmtLU"});
        ASSERT_TRUE(manager.deleteMO(2, "Root=1,Unit=1"));
        int32_t sameId = static_cast<int32_t>(oldId);
        EXPECT_FALSE(create(2, "Root=1,Unit=1", sameId));
        EXPECT_TRUE(traces.has(8, "Could not reserve ID, cancel creation of fRO"));
        EXPECT_TRUE(manager.getFrosPendingDelete(2).empty());
        EXPECT_EQ(0, manager.getTransactionId("Root=1,Unit=1"));
        EXPECT_EQ(0u, store.getFro("Root=1,Unit=1")->getTransactionId());
        EXPECT_TRUE(commit(2));
        EXPECT_TRUE(store.exists("Root=1,Unit=1"));
        expectIdsHeldByCommitted({kType});
    }
    {
        SCOPED_TRACE("a committed LDN: delete, create with a new id replaces the fRO at commit");
        ASSERT_TRUE(manager.deleteMO(3, "Root=1,Unit=1"));
        int32_t newId = -1;
        ASSERT_TRUE(create(3, "Root=1,Unit=1", newId));
        EXPECT_NE(static_cast<int32_t>(oldId), newId);
        EXPECT_EQ((std::vector<uint32_t>{oldId, static_cast<uint32_t>(newId)}), takenIds(kType));
        Lists lists;
        ASSERT_TRUE(commit(3, lists));
        EXPECT_EQ(std::vector<std::string>{"Root=1,Unit=1"}, lists.created);
        EXPECT_TRUE(lists.deleted.empty());
        EXPECT_EQ(static_cast<uint32_t>(newId), store.getFro("Root=1,Unit=1")->getExternalFroId());
        EXPECT_FALSE(store.getFro("Root=1,Unit=1")->hasAttribute("z"));
        expectIdsHeldByCommitted({kType});
    }
    {
        SCOPED_TRACE("delete, create, delete ends in DELETE and frees both ids");
        ASSERT_TRUE(manager.deleteMO(4, "Root=1,Unit=1"));
        int32_t newId = -1;
        ASSERT_TRUE(create(4, "Root=1,Unit=1", newId));
        ASSERT_TRUE(manager.deleteMO(4, "Root=1,Unit=1"));
        EXPECT_EQ(std::vector<std::string>{"Root=1,Unit=1"}, manager.getFrosPendingDelete(4));
        Lists lists;
        ASSERT_TRUE(commit(4, lists));
        EXPECT_EQ(std::vector<std::string>{"Root=1,Unit=1"}, lists.deleted);
        EXPECT_FALSE(store.exists("Root=1,Unit=1"));
        EXPECT_TRUE(takenIds(kType).empty());
    }
}

TEST_F(FroFrameworkTest, TransMgrRefusesIdsThatCouldNeverBeFreed) {
    transMgr& manager = transMgr::instance();
    {
        SCOPED_TRACE("an external id above 12 bits");
        LevelTraceCapture traces({"FroMgmtLU"});
        int32_t id = 4096;
        EXPECT_FALSE(create(1, "Root=1,Unit=1", id));
        EXPECT_TRUE(traces.hasPrefix(1, "Create MO with external id 4096"));
        EXPECT_TRUE(takenIds(kType).empty());
        EXPECT_EQ(nullptr, froMgr::instance().createMO("Root=1,Unit=1", kType, 5000));
        EXPECT_TRUE(takenIds(kType).empty());
        id = 4095;  // the highest that fits is fine
        EXPECT_TRUE(create(1, "Root=1,Unit=1", id));
        manager.rollback(1);
        EXPECT_TRUE(takenIds(kType).empty());
    }
    {
        SCOPED_TRACE("every id of the type taken");
        for (int32_t external = 0; external <= 4094; ++external) {
            int32_t id = external;
            ASSERT_TRUE(create(1, "Root=1,Unit=" + std::to_string(external), id));
        }
        int32_t id = -1;
        EXPECT_FALSE(create(2, "Root=1,Unit=x", id));
        EXPECT_EQ(nullptr, froMgr::instance().createMO("Root=1,Unit=y", kType, -1));
        id = 4095;
        EXPECT_TRUE(create(2, "Root=1,Unit=z", id));
        manager.rollback(1);
        manager.rollback(2);
        EXPECT_TRUE(takenIds(kType).empty());
    }
}

// Calls that make no sense get false (or nothing), and the ids stay in order.
TEST_F(FroFrameworkTest, TransMgrSurvivesWrongCallSequences) {
    transMgr& manager = transMgr::instance();
    froMgr& store = froMgr::instance();
    int32_t id = -1;
    ASSERT_TRUE(create(9, "Root=1,Unit=1", id));
    ASSERT_TRUE(commit(9));

    LevelTraceCapture traces({"FroMgmtLU"});
    EXPECT_FALSE(manager.setMoAttribute(1, "Root=1,Unit=404", "x", "1"));
    EXPECT_TRUE(traces.has(
        1, "Could not set attribute in fRO with ldn Root=1,Unit=404, fro does not exist"));
    EXPECT_FALSE(manager.setMoAttribute(1, "Root=1,Unit=1", "nope", "1"));
    EXPECT_TRUE(traces.has(
        1, "Could not set attribute in fRO with ldn Root=1,Unit=1, attribute does not exist"));
    EXPECT_EQ(0, manager.getTransactionId("Root=1,Unit=1"));  // a failed set leaves no shadow
    // A null text is the empty text.
    EXPECT_TRUE(manager.setMoAttribute(1, "Root=1,Unit=1", "x", static_cast<const char*>(nullptr)));
    std::string value = "unread";
    EXPECT_TRUE(manager.getAttrValue(1, "Root=1,Unit=1", "x", value, false));
    EXPECT_EQ("", value);
    manager.rollback(1);
    EXPECT_EQ("1", store.getMoAttribute("Root=1,Unit=1", "x"));

    EXPECT_FALSE(manager.deleteMO(1, "Root=1,Unit=404"));
    EXPECT_TRUE(traces.has(1, "Cannot delete fRO with ldn \"Root=1,Unit=404\", it does not exist"));
    EXPECT_TRUE(manager.deleteMO(1, "Root=1,Unit=1"));
    EXPECT_FALSE(manager.deleteMO(1, "Root=1,Unit=1"));
    EXPECT_TRUE(traces.has(1,
                           "Cannot delete fRO with ldn \"Root=1,Unit=1\" in transaction 1, fro is "
                           "already deleted in the same transaction"));
    manager.rollback(1);
    manager.rollback(1);
    EXPECT_TRUE(traces.has(8,
                           "Cannot remove ldnDict associated with transactionId 1, it does not "
                           "exist (either no fROs has been added in the transaction or "
                           "transaction does not exist)"));

    Lists lists{{"stale"}, {"stale"}, {"stale"}};
    EXPECT_TRUE(commit(12345, lists));
    EXPECT_TRUE(lists.created.empty() && lists.set.empty() && lists.deleted.empty());
    EXPECT_TRUE(traces.has(8, "Transaction 12345 does not exist."));

    int32_t none = -1;
    EXPECT_FALSE(create(0, "Root=1,Unit=2", none));
    EXPECT_TRUE(
        traces.has(1, "Create MO without transaction is not allowed ldn = \"Root=1,Unit=2\""));
    EXPECT_FALSE(manager.deleteMO(0, "Root=1,Unit=1"));
    EXPECT_FALSE(manager.setMoAttribute(0, "Root=1,Unit=1", "x", 3));
    EXPECT_FALSE(create(1, "", none));
    EXPECT_TRUE(traces.has(8, "TR: Could not create fro in FroFactory for "));
    EXPECT_FALSE(create(1, "Root=1,Unit=1", none));  // exists
    EXPECT_TRUE(traces.has(1, "fRO with ldn \"Root=1,Unit=1\" exists, it cannot be created"));

    // A transaction with a negative id is just another transaction.
    none = -1;
    EXPECT_TRUE(create(-4, "Root=1,Unit=3", none));
    EXPECT_EQ(-4, manager.getTransactionId("Root=1,Unit=3"));

    Attributes untouched{Attribute("keep", "STRING", "me")};
    EXPECT_FALSE(manager.getMoAttributes(1, "Root=1,Unit=404", {}, untouched, false));
    EXPECT_TRUE(traces.has(8, "No primary fRO given"));
    EXPECT_EQ(nullptr, manager.getfRO(1, "Root=1,Unit=404"));
    EXPECT_EQ("", manager.getLdn(1, 123456));
    EXPECT_EQ(1u, untouched.size());

    manager.clear();
    EXPECT_EQ(0u, manager.getTransactionCount());
    expectIdsHeldByCommitted({kType});

    // "TransState" is an attribute like the others and can be set: whatever it then
    // says, the commit keeps the ids in order.
    none = -1;
    ASSERT_TRUE(create(5, "Root=1,Unit=4", none));
    EXPECT_TRUE(manager.setMoAttribute(5, "Root=1,Unit=4", "TransState", "SET"));
    ASSERT_TRUE(manager.setMoAttribute(5, "Root=1,Unit=1", "x", "2"));
    EXPECT_TRUE(manager.setMoAttribute(5, "Root=1,Unit=1", "TransState", "CREATE"));
    EXPECT_FALSE(commit(5));  // the SET of a fRO that was never committed fails
    EXPECT_TRUE(traces.has(1, "Could not copy attributes to real fRO"));
    EXPECT_FALSE(store.exists("Root=1,Unit=4"));
    EXPECT_EQ("2", store.getMoAttribute("Root=1,Unit=1", "x"));  // made anew from the shadow
    expectIdsHeldByCommitted({kType});
    ASSERT_TRUE(manager.setMoAttribute(6, "Root=1,Unit=1", "x", "3"));
    EXPECT_TRUE(manager.setMoAttribute(6, "Root=1,Unit=1", "TransState", "BOGUS"));
    EXPECT_FALSE(manager.deleteMO(6, "Root=1,Unit=1"));
    EXPECT_TRUE(traces.has(1, "State not recognized: BOGUS"));
    EXPECT_FALSE(commit(6));
    EXPECT_TRUE(traces.has(1, "fRO transaction state not recognized: BOGUS"));
    EXPECT_EQ("2", store.getMoAttribute("Root=1,Unit=1", "x"));
    expectIdsHeldByCommitted({kType});
}

// A committed fRO deleted outside the transaction manager while a transaction holds a
// shadow of it: the shadow shares an id that is no longer its committed fRO's and may
// have gone to another fRO. Neither commit nor rollback may free it.
TEST_F(FroFrameworkTest, TransMgrShadowsNeverFreeAnIdTheyOnlyShare) {
    transMgr& manager = transMgr::instance();
    froMgr& store = froMgr::instance();
    for (bool commitAtEnd : {true, false}) {
        SCOPED_TRACE(commitAtEnd ? "commit" : "rollback");
        int32_t id = -1;
        ASSERT_TRUE(create(1, "Root=1,Unit=1", id));
        ASSERT_TRUE(commit(1));
        ASSERT_TRUE(manager.setMoAttribute(2, "Root=1,Unit=1", "x", "5"));
        ASSERT_TRUE(store.deleteMO("Root=1,Unit=1"));
        ASSERT_NE(nullptr, store.createMO("Root=1,Unit=other", kType, id));
        if (commitAtEnd) {
            Lists lists;
            EXPECT_FALSE(commit(2, lists));  // the SET has nothing to copy to
            EXPECT_TRUE(lists.set.empty());
        } else {
            manager.rollback(2);
        }
        EXPECT_EQ(std::vector<uint32_t>{static_cast<uint32_t>(id)}, takenIds(kType));
        expectIdsHeldByCommitted({kType});
        store.clear();
    }
}

// A commit goes on after a failed item, keeps what it did, and still ends the
// transaction. Here the class gained a read-only attribute of another type between
// the create and its commit.
TEST_F(FroFrameworkTest, TransMgrCommitGoesOnAfterAFailedItem) {
    transMgr& manager = transMgr::instance();
    froMgr& store = froMgr::instance();
    int32_t id = -1;
    ASSERT_TRUE(create(1, "Root=1,Unit=1", id));
    id = -1;
    ASSERT_TRUE(
        manager.createMO(1, "Root=1,Unit=2", {Attribute("w", attrType::S32, "4")}, kType, id));
    store.addReadOnlyAttribute("Unit", "x", attrType::U32, "8");
    LevelTraceCapture traces({"FroMgmtLU"});
    Lists lists;
    EXPECT_FALSE(commit(1, lists));
    EXPECT_TRUE(
        traces.has(1, "Cannot copy attribute x of type S32, goal attribute is of type U32"));
    EXPECT_TRUE(traces.has(1, "Could not copy attributes to real fRO"));
    EXPECT_TRUE(traces.has(8, "Commit of transaction 1 finished in state NOT OK"));
    EXPECT_EQ(std::vector<std::string>{"Root=1,Unit=2"}, lists.created);
    EXPECT_TRUE(store.exists("Root=1,Unit=1"));  // nothing is undone
    EXPECT_EQ("8", store.getMoAttribute("Root=1,Unit=1", "x"));
    EXPECT_EQ("4", store.getMoAttribute("Root=1,Unit=2", "w"));
    EXPECT_EQ(0u, manager.getTransactionCount());
    expectIdsHeldByCommitted({kType});
}

}  // namespace
