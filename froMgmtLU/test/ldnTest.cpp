// The LDN tree: text functions, counted handles, cleanup, order and walks.
#include "AttributeTypes.h"
#include "FroIdHandler.h"
#include "Ldn.h"
#include "LdnManager.h"
#include "LdnNode.h"
#include "LdnText.h"
#include "LevelTraceCapture.h"
#include "fRO.h"
#include "fROFactory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <sstream>

namespace {

LdnManager& manager() {
    return LdnManager::instance();
}

std::shared_ptr<fRO> makeFro(const std::string& ldn) {
    return fROFactory::instance().createFRO(ldn, 7, -1, true, false, false);
}

class LdnTreeTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(0u, manager().size()) << "a test left nodes behind"; }
    void TearDown() override {
        EXPECT_EQ(0u, manager().size());
        FroIdHandler::instance().clear();
    }
};

TEST(LdnText, PartsAreFoundByTheLastCommaAndEquals) {
    EXPECT_EQ("B", getMoType("A=1,B=2"));
    EXPECT_EQ("A", getMoType("A=1"));
    EXPECT_EQ("2", getInstance("A=1,B=2"));
    EXPECT_EQ("A=1", getParentLdn("A=1,B=2"));
    EXPECT_EQ("", getParentLdn("A=1"));
    // Without "=", the last part is the type and the whole text the instance.
    EXPECT_EQ("B", getMoType("A=1,B"));
    EXPECT_EQ("plain", getMoType("plain"));
    EXPECT_EQ("plain", getInstance("plain"));
    EXPECT_EQ(3, countParts("A=1,B=2,C=3"));
    EXPECT_EQ(0, countParts(""));

    EXPECT_TRUE(isBelow("A=1", "A=1,B=2"));
    EXPECT_FALSE(isBelow("A=1", "A=1"));
    EXPECT_FALSE(isBelow("A=1", "A=10,B=2"));
    EXPECT_FALSE(isBelow("A=1,B=2", "A=1"));

    EXPECT_EQ("A=1,B=2", cutBehindType("A=1,B=2,C=3", "B"));
    EXPECT_EQ("A=1,B=2,C=3", cutBehindType("A=1,B=2,C=3", "C"));
    EXPECT_EQ("", cutBehindType("A=1,B=2", "X"));
}

TEST_F(LdnTreeTest, InsertCreatesAncestorsAndTheLastHandleRemovesThem) {
    auto fro = makeFro("A=1,B=2,C=3");
    {
        Ldn leaf = manager().insertLdn("A=1,B=2,C=3", fro);
        EXPECT_EQ(3u, manager().size());
        EXPECT_TRUE(leaf.hasFro());
        EXPECT_EQ(fro, leaf.getFro());
        EXPECT_EQ("C", leaf.getType());
        EXPECT_EQ("3", leaf.getInstance());
        Ldn middle = leaf.getParent();
        EXPECT_EQ("A=1,B=2", middle.getLdnText());
        EXPECT_FALSE(middle.hasFro());
        EXPECT_FALSE(Ldn("A=1").hasFro());
        EXPECT_FALSE(Ldn("A=1").hasParent());
        EXPECT_TRUE(Ldn("A=1").getParent().isEmpty());
    }
    EXPECT_EQ(0u, manager().size());
    EXPECT_FALSE(manager().exists("A=1"));
}

TEST_F(LdnTreeTest, AHeldNodeOutlivesItsChildrenAndTakesTheStepsWithIt) {
    auto leafFro = makeFro("A=1,B=2,C=3");
    Ldn leaf = manager().insertLdn("A=1,B=2,C=3", leafFro);
    Ldn middle("A=1,B=2");
    ASSERT_FALSE(middle.isEmpty());
    leaf = Ldn();
    EXPECT_FALSE(manager().exists("A=1,B=2,C=3"));
    EXPECT_TRUE(manager().exists("A=1,B=2"));
    EXPECT_TRUE(manager().exists("A=1"));

    // A node with children stays when its own handle goes.
    Ldn grandChild = manager().insertLdn("A=1,B=2,C=4", makeFro("A=1,B=2,C=4"));
    middle = Ldn();
    EXPECT_TRUE(manager().exists("A=1,B=2"));
    grandChild = Ldn();
    EXPECT_EQ(0u, manager().size());

    // Copies and moves count right.
    Ldn one = manager().insertLdn("X=1", leafFro);
    Ldn two(one);
    Ldn three(std::move(two));
    EXPECT_TRUE(two.isEmpty());
    EXPECT_EQ(2u, one.getNode()->getReferences());
    three = one;
    EXPECT_EQ(2u, one.getNode()->getReferences());
    one = std::move(three);
    EXPECT_EQ(1u, one.getNode()->getReferences());
    one = one;
    EXPECT_EQ(1u, one.getNode()->getReferences());
}

TEST_F(LdnTreeTest, OrderIndexIsPlainTextOrder) {
    Ldn ten = manager().insertLdn("A=1,B=10", makeFro("A=1,B=10"));
    Ldn two = manager().insertLdn("A=1,B=2", makeFro("A=1,B=2"));
    Ldn root("A=1");
    EXPECT_EQ(1u, root.getOrderIndex());
    EXPECT_EQ(2u, ten.getOrderIndex());
    EXPECT_EQ(3u, two.getOrderIndex());
    EXPECT_LT(ten, two);
    EXPECT_EQ(0u, Ldn().getOrderIndex());
    EXPECT_EQ(0u, Ldn().getHash());
    EXPECT_EQ(static_cast<uint32_t>(std::hash<std::string>()("A=1,B=2")), two.getHash());

    std::map<Ldn, std::string> byLdn;
    byLdn[two] = "two";
    byLdn[root] = "root";
    byLdn[ten] = "ten";
    // Inserting before all of them renumbers, and the map stays in order.
    Ldn first = manager().insertLdn("0=0", makeFro("0=0"));
    byLdn[first] = "first";
    std::vector<std::string> order;
    for (const auto& entry : byLdn) {
        order.push_back(entry.second);
    }
    EXPECT_EQ((std::vector<std::string>{"first", "root", "ten", "two"}), order);
    EXPECT_EQ(byLdn.end(), byLdn.find(Ldn()));
    EXPECT_EQ("two", byLdn.at(Ldn("A=1,B=2")));
}

// Random inserts and releases; after each step the numbers must be 1..n in the
// order of a plain sort of all texts that should exist.
TEST_F(LdnTreeTest, OrderIndexStaysConsistentUnderRandomInsertsAndDeletes) {
    std::mt19937 random(20240521);
    std::vector<Ldn> handles;
    auto fro = makeFro("R=1");
    auto randomLdn = [&] {
        std::string ldn;
        const int depth = 1 + static_cast<int>(random() % 4);
        for (int part = 0; part < depth; ++part) {
            ldn += (part ? "," : "") + std::string(1, static_cast<char>('A' + random() % 3)) + "=" +
                   std::to_string(random() % 12);
        }
        return ldn;
    };
    for (int round = 0; round < 3000; ++round) {
        if (handles.empty() || random() % 3 != 0) {
            handles.push_back(manager().insertLdn(randomLdn(), fro));
        } else {
            handles.erase(handles.begin() + static_cast<long>(random() % handles.size()));
        }
        std::set<std::string> expected;
        for (const Ldn& handle : handles) {
            for (std::string text = handle.getLdnText(); !text.empty(); text = getParentLdn(text)) {
                expected.insert(text);
            }
        }
        const std::vector<LdnNode*> nodes = manager().getSortedNodes();
        ASSERT_EQ(expected.size(), nodes.size()) << "round " << round;
        ASSERT_EQ(expected.size(), manager().size());
        uint32_t index = 1;
        auto text = expected.begin();
        for (const LdnNode* node : nodes) {
            ASSERT_EQ(*text, node->getLdn()) << "round " << round;
            ASSERT_EQ(index, node->getOrderIndex()) << "round " << round;
            ++text;
            ++index;
        }
    }
    handles.clear();
}

TEST_F(LdnTreeTest, WalksAncestorsChildrenAndTypes) {
    auto fro = makeFro("A=1");
    std::vector<Ldn> held;
    for (const char* text :
         {"A=1,B=1,C=1", "A=1,B=2", "A=1,B=1,C=2", "A=1,D=1", "A=1,B=2,C=3,E=1"}) {
        held.push_back(manager().insertLdn(text, fro));
    }
    Ldn root("A=1");
    std::vector<std::string> all;
    for (const Ldn& child : root.getChildren("")) {
        all.push_back(child.getLdnText());
    }
    // Children before grandchildren, each level in order of creation.
    EXPECT_EQ((std::vector<std::string>{"A=1,B=1", "A=1,B=2", "A=1,D=1", "A=1,B=1,C=1",
                                        "A=1,B=1,C=2", "A=1,B=2,C=3", "A=1,B=2,C=3,E=1"}),
              all);
    std::vector<std::string> onlyC;
    for (const Ldn& child : root.getChildren("C")) {
        onlyC.push_back(child.getLdnText());
    }
    EXPECT_EQ((std::vector<std::string>{"A=1,B=1,C=1", "A=1,B=1,C=2", "A=1,B=2,C=3"}), onlyC);
    EXPECT_TRUE(root.hasChildren("E"));
    EXPECT_FALSE(root.hasChildren("Z"));
    EXPECT_FALSE(Ldn("A=1,D=1").hasChildren(""));
    EXPECT_TRUE(Ldn().getChildren("").empty());

    Ldn deep("A=1,B=2,C=3,E=1");
    EXPECT_EQ("A=1,B=2", deep.getAncestor("B").getLdnText());
    EXPECT_EQ("A=1,B=2,C=3,E=1", deep.getAncestor("").getLdnText());
    EXPECT_EQ("A=1,B=2,C=3,E=1", deep.getAncestor("E").getLdnText());
    EXPECT_TRUE(deep.hasAncestor("A"));
    EXPECT_FALSE(deep.hasAncestor("D"));
    EXPECT_TRUE(deep.isType("E"));

    std::vector<std::string> cNodes;
    for (const Ldn& c : manager().getLdnsWithMoType("C")) {
        cNodes.push_back(c.getLdnText());
    }
    EXPECT_EQ((std::vector<std::string>{"A=1,B=1,C=1", "A=1,B=1,C=2", "A=1,B=2,C=3"}), cNodes);
    deep = Ldn();
    root = Ldn();
    held.clear();
    EXPECT_TRUE(manager().getLdnsWithMoType("C").empty());
}

TEST_F(LdnTreeTest, BindingsInvalidationAndMorefs) {
    LevelTraceCapture traces({"FroMgmtLU"});
    auto target = makeFro("A=1,T=1");
    auto source = makeFro("A=1,S=1");
    source->addAttribute("peer",
                         "<moref name=\"peer\"><attr name=\"ldn\" type=\"STRING\" "
                         "value=\"A=1,T=1\"/></moref>",
                         attrType::MOREF);
    source->addAttribute("nowhere",
                         "<moref name=\"nowhere\"><attr name=\"ldn\" type=\"STRING\" "
                         "value=\"A=1,T=9\"/></moref>",
                         attrType::MOREF);
    source->addAttribute("label", "x", attrType::STRING);
    Ldn targetLdn = manager().insertLdn("A=1,T=1", target);
    Ldn sourceLdn = manager().insertLdn("A=1,S=1", source);

    EXPECT_EQ(targetLdn, sourceLdn.getMoRef("peer"));
    EXPECT_TRUE(sourceLdn.getMoRef("nowhere").isEmpty());  // no node of that text
    EXPECT_TRUE(sourceLdn.getMoRef("label").isEmpty());    // not a moref
    EXPECT_TRUE(traces.has(0, "Attribute \"label\" is not of expected moref type"));
    EXPECT_TRUE(sourceLdn.getMoRef("missing").isEmpty());

    // A second insert of the same text binds the existing node anew.
    auto replacement = makeFro("A=1,T=1");
    Ldn again = manager().insertLdn("A=1,T=1", replacement);
    EXPECT_EQ(targetLdn.getNode(), again.getNode());
    EXPECT_EQ(replacement, targetLdn.getFro());

    manager().invalidateNode("A=1,T=1");
    EXPECT_FALSE(targetLdn.hasFro());
    EXPECT_TRUE(manager().exists("A=1,T=1"));
    EXPECT_TRUE(sourceLdn.hasFro());
    manager().invalidateAll();
    EXPECT_FALSE(sourceLdn.hasFro());

    Ldn bound = manager().insertLdn("A=1,S=1", source);
    source.reset();  // the node holds the fRO weakly
    EXPECT_FALSE(bound.hasFro());
    EXPECT_EQ(nullptr, bound.getFro());

    EXPECT_TRUE(manager().insertLdn("", target).isEmpty());
    EXPECT_TRUE(Ldn("A=7").isEmpty());
    EXPECT_EQ(nullptr, manager().findNode("A=7"));
    EXPECT_FALSE(manager().exists(""));
}

TEST_F(LdnTreeTest, TracesAndDump) {
    LevelTraceCapture traces({"FroMgmtLU"});
    auto fro = makeFro("A=1,B=2");
    Ldn leaf = manager().insertLdn("A=1,B=2", fro);
    EXPECT_TRUE(traces.has(
        2, "LdnManager::insertLdn(ldn=A=1,B=2, froId=" + std::to_string(fro->getFroId()) + ")"));
    std::ostringstream dump;
    manager().dump(dump);
    const std::string rule(51, '-');
    const std::string text = dump.str();
    EXPECT_EQ(0u,
              text.find("\n" + rule + "\n------------- LdnManager DUMP ---------------------\n" +
                        rule + "\nNumber of nodes = 2\nLdnMap contents:\n"));
    EXPECT_NE(std::string::npos, text.find(" * A=1,B=2 -> "));
    EXPECT_NE(std::string::npos, text.find(" (1 references)\n   [parent = A=1]\n"));
    EXPECT_NE(std::string::npos, text.find(" (0 references)\n   [parent = <No parent>]\n"));
    EXPECT_NE(std::string::npos, text.find("MoTypeMap contents:\n"));
    EXPECT_NE(std::string::npos, text.find(" * B\n   [A=1,B=2]\n"));
    EXPECT_NE(
        std::string::npos,
        text.find(rule + "\n------------- LdnManager DUMP END -----------------\n" + rule + "\n"));
    leaf = Ldn();
    EXPECT_TRUE(traces.has(2, "LdnManager::deleteNode(node->ldn=A=1,B=2)"));
    EXPECT_TRUE(traces.has(2, "LdnManager::deleteNode(node->ldn=A=1)"));

    // A node the manager does not hold is refused, and stays with its owner.
    LdnNode stray("Z", "1", "Z=1", nullptr);
    manager().deleteNode(&stray);
    EXPECT_TRUE(traces.has(1,
                           "LdnManager::deleteNode(node->ldn=Z=1): Attempting to delete Ldn not "
                           "present in LdnManager."));
    manager().deleteNode(nullptr);
}

}  // namespace
