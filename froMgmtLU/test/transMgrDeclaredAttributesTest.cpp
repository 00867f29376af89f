// A create of a class that declares attributes: the request's values take the place of
// the declared defaults, in the transaction and after the commit.
#include "AttributeTypes.h"
#include "transTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using transtest::FroFrameworkTest;

constexpr uint32_t kType = 7;
const char kLdn[] = "Root=1,Unit=1";

// "name type value" of each attribute, as getMoAttributes reads them.
std::vector<std::string> attributesIn(int32_t transactionId) {
    Attributes read;
    EXPECT_TRUE(transMgr::instance().getMoAttributes(transactionId, kLdn, {}, read, false));
    std::vector<std::string> texts;
    for (const Attribute& attribute : read) {
        texts.push_back(attribute.name + " " + attribute.type + " " + attribute.value);
    }
    return texts;
}

TEST_F(FroFrameworkTest, CreateOfADeclaringClassHoldsTheRequestsValuesOverTheDefaults) {
    froMgr& store = froMgr::instance();
    store.addReadOnlyAttribute("Unit", "level", attrType::U32, "0");
    store.addReadOnlyAttribute("Unit", "label", attrType::STRING, "none");
    store.addReadOnlyAttribute("Unit", "mode", attrType::S32, "0");
    transMgr& manager = transMgr::instance();
    int32_t id = -1;
    // A value for a declared attribute, one given twice (the first counts), one in
    // another type word (the declared type stays), an attribute the class does not
    // declare, and an attempt at the transaction's own state.
    ASSERT_TRUE(manager.createMO(
        1, kLdn,
        {Attribute("level", attrType::U32, "3"), Attribute("label", attrType::STRING, "a"),
         Attribute("label", attrType::STRING, "b"), Attribute("mode", attrType::STRING, "-2"),
         Attribute("extra", attrType::STRING, "x"),
         Attribute("TransState", attrType::STRING, "DELETE")},
        kType, id));
    const std::vector<std::string> expected{"level U32 3", "label STRING a", "mode S32 -2",
                                            "extra STRING x"};
    std::vector<std::string> inTransaction = attributesIn(1);
    ASSERT_EQ(5u, inTransaction.size());
    EXPECT_EQ("TransState STRING CREATE", inTransaction[3]);  // born after the defaults
    inTransaction.erase(inTransaction.begin() + 3);
    EXPECT_EQ(expected, inTransaction);
    EXPECT_EQ(std::vector<std::string>{kLdn}, manager.getFrosPendingCreate(1));

    transtest::CommitLists lists;
    ASSERT_TRUE(transtest::commit(1, lists));
    EXPECT_EQ(std::vector<std::string>{kLdn}, lists.created);
    EXPECT_EQ(expected, attributesIn(0));

    // A create that gives none of them gets the defaults.
    id = -1;
    ASSERT_TRUE(manager.createMO(2, "Root=1,Unit=2", {}, kType, id));
    ASSERT_TRUE(transtest::commit(2));
    EXPECT_EQ("0", store.getMoAttribute("Root=1,Unit=2", "level"));
    EXPECT_EQ("none", store.getMoAttribute("Root=1,Unit=2", "label"));
}

}  // namespace
