// What a transaction sees: attributes with and without the committed fRO behind the
// shadow, single values, the fRO and LDN lookups, the pending lists.
#include "AttributeTypes.h"
#include "FroIdHandler.h"
#include "LevelTraceCapture.h"
#include "transTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using transtest::FroFrameworkTest;

constexpr uint32_t kType = 7;
const char kLdn[] = "Root=1,Unit=1";

class TransMgrReadTest : public FroFrameworkTest {
  protected:
    void SetUp() override {
        FroFrameworkTest::SetUp();
        int32_t id = -1;
        ASSERT_TRUE(transMgr::instance().createMO(50, kLdn, committed, kType, id));
        ASSERT_TRUE(transtest::commit(50));
    }

    Attributes read(int32_t transactionId, const std::vector<std::string>& names, bool onlyInTx,
                    bool expectedResult = true) {
        Attributes out{Attribute("untouched", attrType::STRING, "?")};
        EXPECT_EQ(expectedResult,
                  transMgr::instance().getMoAttributes(transactionId, kLdn, names, out, onlyInTx));
        return out;
    }

    const Attributes committed{Attribute("x", attrType::S32, "1"),
                               Attribute("y", attrType::STRING, "a"),
                               Attribute("n", attrType::U32, "-1")};
    const Attributes untouched{Attribute("untouched", attrType::STRING, "?")};
};

TEST_F(TransMgrReadTest, GetMoAttributesChoosesShadowOrCommitted) {
    transMgr& manager = transMgr::instance();
    {
        SCOPED_TRACE("no transaction");
        EXPECT_EQ(committed, read(0, {}, false));
        EXPECT_EQ(untouched, read(0, {}, true, false));
    }
    {
        SCOPED_TRACE("no shadow");
        EXPECT_EQ(committed, read(4, {}, false));
        EXPECT_EQ(untouched, read(4, {}, true, false));
    }
    ASSERT_TRUE(manager.setMoAttribute(1, kLdn, "x", 6));
    {
        SCOPED_TRACE("SET: the committed fRO with the transaction's changes laid over it");
        EXPECT_EQ((Attributes{Attribute("x", attrType::S32, "6"), committed[1], committed[2]}),
                  read(1, {}, false));
        EXPECT_EQ((Attributes{Attribute("TransState", attrType::STRING, "SET"),
                              Attribute("x", attrType::S32, "6")}),
                  read(1, {}, true));
        EXPECT_EQ(untouched, read(1, {"y"}, true, false));
    }
    {
        SCOPED_TRACE("a shadow of another transaction");
        EXPECT_EQ(committed, read(2, {}, false));
        EXPECT_EQ(untouched, read(2, {}, true, true));  // true, and nothing read
        std::string value = "unread";
        EXPECT_FALSE(manager.getAttrValue(2, kLdn, "x", value, true));
        EXPECT_EQ("unread", value);
    }
    {
        SCOPED_TRACE("one unknown name among several: false, list untouched");
        LevelTraceCapture traces({"FroMgmtLU"});
        EXPECT_EQ(untouched, read(1, {"x", "nope", "y"}, false, false));
        EXPECT_TRUE(traces.has(1, "Could not find attribute with name: nope"));
        EXPECT_EQ((Attributes{committed[1], Attribute("x", attrType::S32, "6")}),
                  read(1, {"y", "x"}, false));
    }
    ASSERT_TRUE(manager.deleteMO(1, kLdn));
    {
        SCOPED_TRACE("DELETE");
        LevelTraceCapture traces({"FroMgmtLU"});
        EXPECT_EQ(untouched, read(1, {}, false, false));
        EXPECT_TRUE(traces.has(1, "Cannot get attributes, fRO in state DELETE"));
    }
    int32_t id = -1;
    ASSERT_TRUE(manager.createMO(1, kLdn, {Attribute("z", attrType::STRING, "new")}, kType, id));
    {
        SCOPED_TRACE("CREATE: the shadow alone, its TransState included");
        const Attributes shadow{Attribute("TransState", attrType::STRING, "CREATE"),
                                Attribute("z", attrType::STRING, "new")};
        EXPECT_EQ(shadow, read(1, {}, false));
        EXPECT_EQ(shadow, read(1, {}, true));
        EXPECT_EQ(untouched, read(1, {"x"}, false, false));
    }
}

TEST_F(TransMgrReadTest, GetAttrValueReadsOneValueByType) {
    transMgr& manager = transMgr::instance();
    std::string text;
    EXPECT_TRUE(manager.getAttrValue(0, kLdn, "y", text, false));
    EXPECT_EQ("a", text);
    int32_t s32 = 0;
    EXPECT_TRUE(manager.getAttrValue(0, kLdn, "x", s32, false));
    EXPECT_EQ(1, s32);
    uint32_t u32 = 0;
    EXPECT_FALSE(manager.getAttrValue(0, kLdn, "x", u32, false));  // type word must be U32
    EXPECT_TRUE(manager.getAttrValue(0, kLdn, "n", u32, false));
    EXPECT_EQ(4294967295u, u32);  // no test for "-" here
    EXPECT_FALSE(manager.getAttrValue(0, kLdn, "n", s32, false));
    EXPECT_FALSE(manager.getAttrValue(0, kLdn, "missing", text, false));

    ASSERT_TRUE(manager.setMoAttribute(3, kLdn, "x", "abc"));
    s32 = 77;
    EXPECT_FALSE(manager.getAttrValue(3, kLdn, "x", s32, false));  // no number
    EXPECT_EQ(77, s32);
    ASSERT_TRUE(manager.setMoAttribute(3, kLdn, "x", "-12 apples"));
    EXPECT_TRUE(manager.getAttrValue(3, kLdn, "x", s32, true));
    EXPECT_EQ(-12, s32);
    EXPECT_TRUE(manager.setMoAttribute(3, kLdn, "n", 7u));
    EXPECT_TRUE(manager.getAttrValue(3, kLdn, "n", u32, false));
    EXPECT_EQ(7u, u32);
}

TEST_F(TransMgrReadTest, LookupsOfFroLdnAndTransaction) {
    transMgr& manager = transMgr::instance();
    fRO* real = froMgr::instance().getFro(kLdn);
    ASSERT_NE(nullptr, real);
    const int32_t internalId = real->getFroId();

    EXPECT_EQ(real, manager.getfRO(1, kLdn));
    EXPECT_EQ(kLdn, manager.getLdn(1, internalId));
    EXPECT_EQ(0, manager.getTransactionId(internalId));

    ASSERT_TRUE(manager.setMoAttribute(1, kLdn, "x", "2"));
    fRO* shadow = manager.getfRO(1, kLdn);
    ASSERT_NE(nullptr, shadow);
    EXPECT_NE(real, shadow);
    EXPECT_EQ(internalId, shadow->getFroId());  // a shadow shares the committed id
    EXPECT_EQ(1u, shadow->getTransactionId());
    EXPECT_EQ(1u, real->getTransactionId());
    EXPECT_EQ(real, manager.getfRO(2, kLdn));  // other transactions see the committed one
    EXPECT_EQ(kLdn, manager.getLdn(1, internalId));
    EXPECT_EQ(1, manager.getTransactionId(internalId));
    EXPECT_EQ(1, manager.getTransactionId(kLdn));
    // The shadow's handlers are never wired: it has no callbacks.
    EXPECT_EQ(nullptr, shadow->getPropagateHnd().getCallback());
    EXPECT_EQ(nullptr, shadow->getAggregateHnd().getCallback());

    ASSERT_TRUE(manager.deleteMO(1, kLdn));
    EXPECT_EQ(shadow, manager.getfRO(1, kLdn));    // a shadow in DELETE is returned too
    EXPECT_EQ("", manager.getLdn(1, internalId));  // deleted in this transaction
    EXPECT_EQ(kLdn, manager.getLdn(2, internalId));

    manager.rollback(1);
    EXPECT_EQ(0u, real->getTransactionId());
    EXPECT_EQ(0, manager.getTransactionId(kLdn));
    EXPECT_EQ(nullptr, manager.getfRO(1, "Root=1,Unit=404"));
}

TEST_F(FroFrameworkTest, TransMgrPendingListsAndTypes) {
    transMgr& manager = transMgr::instance();
    froMgr& store = froMgr::instance();
    const std::vector<std::string> tree = {"Root=1", "Root=1,Unit=1", "Root=1,Unit=1,Port=1",
                                           "Root=1,Unit=2"};
    for (const std::string& ldn : tree) {
        ASSERT_NE(nullptr, store.createMO(ldn, 1, -1));
    }
    for (const std::string& ldn : tree) {
        ASSERT_TRUE(manager.deleteMO(1, ldn));
    }
    // Children before parents, in descending text order.
    EXPECT_EQ((std::vector<std::string>{"Root=1,Unit=2", "Root=1,Unit=1,Port=1", "Root=1,Unit=1",
                                        "Root=1"}),
              manager.getFrosPendingDelete(1));
    EXPECT_TRUE(manager.getFrosPendingCreate(1).empty());
    EXPECT_FALSE(manager.getFrosPendingCreate(1, "Root"));  // shadows in DELETE do not count

    for (const char* ldn :
         {"Other=1,Unit=9,Port=3", "Other=1,Unit=10", "Top=1,Mid=1,Mid=2,Leaf=1"}) {
        int32_t id = -1;
        ASSERT_TRUE(manager.createMO(2, ldn, {}, 2, id));
    }
    EXPECT_EQ((std::vector<std::string>{"Other=1,Unit=10", "Other=1,Unit=9,Port=3",
                                        "Top=1,Mid=1,Mid=2,Leaf=1"}),
              manager.getFrosPendingCreate(2));
    EXPECT_TRUE(manager.getFrosPendingCreate(2, "Port"));
    EXPECT_TRUE(manager.getFrosPendingCreate(2, "Unit"));
    EXPECT_TRUE(manager.getFrosPendingCreate(2, "Other"));
    EXPECT_TRUE(manager.getFrosPendingCreate(2, "Mid"));
    EXPECT_FALSE(manager.getFrosPendingCreate(2, "Root"));
    EXPECT_FALSE(manager.getFrosPendingCreate(2, ""));
    // The climb stops where two neighbouring parts have the same type: "Top" stands
    // above "Mid=1,Mid=2" and is not reached.
    EXPECT_FALSE(manager.getFrosPendingCreate(2, "Top"));
    EXPECT_FALSE(manager.getFrosPendingCreate(99, "Unit"));

    EXPECT_FALSE(manager.setMoAttribute(3, "Root=1", "nope", "1"));
    EXPECT_TRUE(manager.getFrosPendingSet(3).empty());
    EXPECT_TRUE(manager.getFrosPendingDelete(99).empty());

    manager.rollback(1);
    manager.rollback(2);
    EXPECT_EQ(4u, store.size());
}

}  // namespace
