// The transitions of a shadow: every operation from every state, in the holding
// transaction and in another one, for an LDN with and without a committed fRO; then
// what commit and rollback make of the result.
#include "AttributeTypes.h"
#include "transTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using transtest::commit;
using transtest::expectIdsHeldByCommitted;
using transtest::FroFrameworkTest;
using transtest::pendingState;

constexpr uint32_t kType = 7;
constexpr int32_t kSetup = 100;  // the transaction that makes the committed fRO
constexpr int32_t kT1 = 1;
constexpr int32_t kT2 = 2;
const char kLdn[] = "Root=1,Unit=1";

enum class Start { none, create, recreate, set, del };
enum class Op { create, set, del };
enum class Tx { same, other, none };

// What the committed store holds after the transactions end: absent, or the value of
// "x" and whether "y" (which only the first committed fRO had) is still there.
struct Committed {
    bool exists;
    const char* x;
    bool hasY;
};

struct Row {
    const char* name;
    bool committedBefore;
    Start start;
    Op op;
    Tx tx;
    bool result;
    const char* stateAfter;  // in the holding transaction T1, or in T2 where T1 holds none
    Committed afterCommit;
};

const Committed kGone{false, "", false};

// What the store holds after commit: the first committed fRO (x=1 with y), as changed
// by a set (x=7) or left by a start in SET (x=3); a fRO made anew by a create (x=9) or
// by a start in CREATE (x=2), both without y.
const Committed kOld{true, "1", true};
const Committed kOldSet{true, "7", true};
const Committed kOldSetBefore{true, "3", true};
const Committed kNew{true, "9", false};
const Committed kNewSet{true, "7", false};
const Committed kNewBefore{true, "2", false};

Attributes createAttributes(const char* x) {
    return Attributes{Attribute("x", attrType::S32, x)};
}

void makeCommitted() {
    int32_t id = -1;
    ASSERT_TRUE(transMgr::instance().createMO(
        kSetup, kLdn, {Attribute("x", attrType::S32, "1"), Attribute("y", attrType::STRING, "a")},
        kType, id));
    ASSERT_TRUE(commit(kSetup));
    ASSERT_TRUE(froMgr::instance().exists(kLdn));
}

void reachStart(Start start) {
    transMgr& manager = transMgr::instance();
    int32_t id = -1;
    switch (start) {
        case Start::none:
            break;
        case Start::create:
            ASSERT_TRUE(manager.createMO(kT1, kLdn, createAttributes("2"), kType, id));
            break;
        case Start::recreate:
            ASSERT_TRUE(manager.deleteMO(kT1, kLdn));
            ASSERT_TRUE(manager.createMO(kT1, kLdn, createAttributes("2"), kType, id));
            break;
        case Start::set:
            ASSERT_TRUE(manager.setMoAttribute(kT1, kLdn, "x", "3"));
            break;
        case Start::del:
            ASSERT_TRUE(manager.deleteMO(kT1, kLdn));
            break;
    }
}

bool apply(Op op, int32_t transactionId) {
    transMgr& manager = transMgr::instance();
    int32_t id = -1;
    switch (op) {
        case Op::create:
            return manager.createMO(transactionId, kLdn, createAttributes("9"), kType, id);
        case Op::set:
            return manager.setMoAttribute(transactionId, kLdn, "x", "7");
        case Op::del:
            return manager.deleteMO(transactionId, kLdn);
    }
    return false;
}

std::string stateNow() {
    const std::string inT1 = pendingState(kT1, kLdn);
    return inT1.empty() ? pendingState(kT2, kLdn) : inT1;
}

void expectCommitted(const Committed& expected) {
    froMgr& store = froMgr::instance();
    ASSERT_EQ(expected.exists, store.exists(kLdn));
    if (!expected.exists) {
        return;
    }
    EXPECT_EQ(expected.x, store.getMoAttribute(kLdn, "x"));
    EXPECT_EQ(expected.hasY, store.getFro(kLdn)->hasAttribute("y"));
    EXPECT_FALSE(store.getFro(kLdn)->hasAttribute("TransState"));
    EXPECT_EQ(0u, store.getFro(kLdn)->getTransactionId());
}

void runRow(const Row& row) {
    SCOPED_TRACE(row.name);
    for (bool commitAtEnd : {true, false}) {
        SCOPED_TRACE(commitAtEnd ? "ending in commit" : "ending in rollback");
        transtest::resetFramework();
        if (row.committedBefore) {
            ASSERT_NO_FATAL_FAILURE(makeCommitted());
        }
        ASSERT_NO_FATAL_FAILURE(reachStart(row.start));
        const int32_t opTx = row.tx == Tx::same ? kT1 : row.tx == Tx::other ? kT2 : 0;
        EXPECT_EQ(row.result, apply(row.op, opTx));
        EXPECT_EQ(row.stateAfter, stateNow());

        if (commitAtEnd) {
            EXPECT_TRUE(commit(kT1));
            EXPECT_TRUE(commit(kT2));
            expectCommitted(row.afterCommit);
        } else {
            transMgr::instance().rollback(kT1);
            transMgr::instance().rollback(kT2);
            expectCommitted(row.committedBefore ? kOld : kGone);
        }
        EXPECT_EQ(0u, transMgr::instance().getTransactionCount());
        EXPECT_EQ(0, transMgr::instance().getTransactionId(kLdn));
        expectIdsHeldByCommitted({kType});
    }
}

// clang-format off
const std::vector<Row> kSameTransaction = {
    // name                                   committed start           op          tx        result state     after commit
    {"new LDN: create",                       false, Start::none,     Op::create, Tx::same, true,  "CREATE", kNew},
    {"new LDN: set is refused",               false, Start::none,     Op::set,    Tx::same, false, "",       kGone},
    {"new LDN: delete is refused",            false, Start::none,     Op::del,    Tx::same, false, "",       kGone},
    {"committed: create is refused",          true,  Start::none,     Op::create, Tx::same, false, "",       kOld},
    {"committed: set",                        true,  Start::none,     Op::set,    Tx::same, true,  "SET",    kOldSet},
    {"committed: delete",                     true,  Start::none,     Op::del,    Tx::same, true,  "DELETE", kGone},
    {"CREATE: create is refused",             false, Start::create,   Op::create, Tx::same, false, "CREATE", kNewBefore},
    {"CREATE: set of a created attribute",    false, Start::create,   Op::set,    Tx::same, true,  "CREATE", kNewSet},
    {"CREATE: delete cancels the creation",   false, Start::create,   Op::del,    Tx::same, true,  "",       kGone},
    {"re-CREATE: create is refused",          true,  Start::recreate, Op::create, Tx::same, false, "CREATE", kNewBefore},
    {"re-CREATE: set",                        true,  Start::recreate, Op::set,    Tx::same, true,  "CREATE", kNewSet},
    {"re-CREATE: delete resets to DELETE",    true,  Start::recreate, Op::del,    Tx::same, true,  "DELETE", kGone},
    {"SET: create is refused",                true,  Start::set,      Op::create, Tx::same, false, "SET",    kOldSetBefore},
    {"SET: set again",                        true,  Start::set,      Op::set,    Tx::same, true,  "SET",    kOldSet},
    {"SET: delete",                           true,  Start::set,      Op::del,    Tx::same, true,  "DELETE", kGone},
    {"DELETE: create makes it anew",          true,  Start::del,      Op::create, Tx::same, true,  "CREATE", kNew},
    {"DELETE: set is refused",                true,  Start::del,      Op::set,    Tx::same, false, "DELETE", kGone},
    {"DELETE: delete is refused",             true,  Start::del,      Op::del,    Tx::same, false, "DELETE", kGone},
};

// A second transaction touches an LDN that the first holds, and nobody may work
// without a transaction: all refused, the first transaction's shadow unchanged.
const std::vector<Row> kOtherTransaction = {
    {"CREATE in T1: create in T2",            false, Start::create,   Op::create, Tx::other, false, "CREATE", kNewBefore},
    {"CREATE in T1: set in T2",               false, Start::create,   Op::set,    Tx::other, false, "CREATE", kNewBefore},
    {"CREATE in T1: delete in T2",            false, Start::create,   Op::del,    Tx::other, false, "CREATE", kNewBefore},
    {"re-CREATE in T1: create in T2",         true,  Start::recreate, Op::create, Tx::other, false, "CREATE", kNewBefore},
    {"re-CREATE in T1: delete in T2",         true,  Start::recreate, Op::del,    Tx::other, false, "CREATE", kNewBefore},
    {"SET in T1: create in T2",               true,  Start::set,      Op::create, Tx::other, false, "SET",    kOldSetBefore},
    {"SET in T1: set in T2",                  true,  Start::set,      Op::set,    Tx::other, false, "SET",    kOldSetBefore},
    {"SET in T1: delete in T2",               true,  Start::set,      Op::del,    Tx::other, false, "SET",    kOldSetBefore},
    {"DELETE in T1: create in T2",            true,  Start::del,      Op::create, Tx::other, false, "DELETE", kGone},
    {"DELETE in T1: set in T2",               true,  Start::del,      Op::set,    Tx::other, false, "DELETE", kGone},
    {"DELETE in T1: delete in T2",            true,  Start::del,      Op::del,    Tx::other, false, "DELETE", kGone},
    {"no transaction: create",                false, Start::none,     Op::create, Tx::none,  false, "",       kGone},
    {"no transaction: set",                   true,  Start::none,     Op::set,    Tx::none,  false, "",       kOld},
    {"no transaction: delete",                true,  Start::none,     Op::del,    Tx::none,  false, "",       kOld},
    {"no transaction: set on a SET",          true,  Start::set,      Op::set,    Tx::none,  false, "SET",    kOldSetBefore},
};
// clang-format on

TEST_F(FroFrameworkTest, TransMgrTransitionsWithinOneTransaction) {
    for (const Row& row : kSameTransaction) {
        runRow(row);
    }
}

TEST_F(FroFrameworkTest, TransMgrTransitionsAcrossTransactions) {
    for (const Row& row : kOtherTransaction) {
        runRow(row);
    }
}

// Two changes in a row, the second undoing or redoing the first: the commit lists
// say which of the three things happened to the LDN.
TEST_F(FroFrameworkTest, TransMgrCommitListsFollowTheLastState) {
    enum class Listed { nowhere, created, set, deleted };
    struct Case {
        const char* name;
        bool committedBefore;
        std::vector<Op> ops;
        Listed listed;  // the one commit list that names the LDN
    };
    const std::vector<Case> cases = {
        {"create", false, {Op::create}, Listed::created},
        {"create, delete", false, {Op::create, Op::del}, Listed::nowhere},
        {"create, delete, create", false, {Op::create, Op::del, Op::create}, Listed::created},
        {"set, set", true, {Op::set, Op::set}, Listed::set},
        {"set, delete", true, {Op::set, Op::del}, Listed::deleted},
        {"delete, create", true, {Op::del, Op::create}, Listed::created},
        {"delete, create, delete", true, {Op::del, Op::create, Op::del}, Listed::deleted},
        {"delete, create, delete, create",
         true,
         {Op::del, Op::create, Op::del, Op::create},
         Listed::created},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto expected = [&c](Listed list) {
            return c.listed == list ? std::vector<std::string>{kLdn} : std::vector<std::string>();
        };
        transtest::resetFramework();
        if (c.committedBefore) {
            ASSERT_NO_FATAL_FAILURE(makeCommitted());
        }
        for (Op op : c.ops) {
            EXPECT_TRUE(apply(op, kT1));
        }
        transtest::CommitLists lists{{"stale"}, {"stale"}, {"stale"}};
        EXPECT_TRUE(commit(kT1, lists));
        EXPECT_EQ(expected(Listed::created), lists.created);
        EXPECT_EQ(expected(Listed::set), lists.set);
        EXPECT_EQ(expected(Listed::deleted), lists.deleted);
        EXPECT_EQ(c.listed == Listed::created || c.listed == Listed::set,
                  froMgr::instance().exists(kLdn));
        expectIdsHeldByCommitted({kType});
    }
}

}  // namespace
