#include "Component.h"
#include "Composite.h"
#include "Leaf.h"

#include "KernelFixture.h"

#include <cstdio>

namespace {

class ProcedureRefTreeTest : public KernelFixture {};

std::string hex8(const void* p) {
    char text[32];
    std::snprintf(text, sizeof text, "%08llx",
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(p)));
    return text;
}

}  // namespace

TEST_F(ProcedureRefTreeTest, compositeOwnsItsChildrenAndRefusesAUsedKey) {
    Composite root;
    Leaf* leaf = new Leaf(3);
    EXPECT_TRUE(root.add(1, leaf));
    EXPECT_TRUE(root.contains(1));
    EXPECT_EQ(root.child(1), leaf);
    EXPECT_EQ(root.child(2), nullptr);
    EXPECT_FALSE(root.contains(2));

    Leaf other(4);
    EXPECT_FALSE(root.add(1, &other));  // ownership stays here
    EXPECT_EQ(root.child(1), leaf);
    EXPECT_EQ(root.child(1)->getValue(), 3u);
    EXPECT_EQ(newProcessErrors(), 1u);
    EXPECT_EQ(nc::lastProcessError(),
              "Composite::add(key:1,*value=" + hex8(&other) +
                  ") m_componentMapT.insert: key is already used, data might have been lost, this "
                  "shall be protected before call to this function!");

    EXPECT_FALSE(root.add(5, nullptr));
    Composite* inner = new Composite;
    EXPECT_TRUE(root.add(2, inner));
    EXPECT_TRUE(inner->add(7, new Leaf(8)));
    root.remove(1);  // deletes the leaf (a leak would show under the sanitizer)
    root.remove(42);
    EXPECT_FALSE(root.contains(1));
    EXPECT_EQ(root.child(2)->child(7)->getValue(), 8u);
}

TEST_F(ProcedureRefTreeTest, onlyALeafHoldsAValue) {
    Component plain;
    EXPECT_FALSE(plain.add(1, &plain));
    EXPECT_FALSE(plain.contains(1));
    EXPECT_EQ(plain.child(1), nullptr);
    plain.setValue(12);
    EXPECT_EQ(plain.getValue(), 0u);
    // Without a handler the tree traces through the dummy object, whose level 1 is on.
    EXPECT_TRUE(m_capture->contains("Invalid call to Component::setValue(12);"));
    EXPECT_TRUE(m_capture->contains("Invalid call to Component::getValue();"));

    Leaf leaf;
    EXPECT_FALSE(leaf.add(1, &plain));
    EXPECT_EQ(leaf.child(1), nullptr);
    leaf.setValue(0xFFFFFFFFu);
    EXPECT_EQ(leaf.getValue(), 0xFFFFFFFFu);
    EXPECT_EQ(newProcessErrors(), 0u);
}

TEST_F(ProcedureRefTreeTest, dumpsShowTheTree) {
    Composite root;
    Leaf* leaf = new Leaf(42);
    root.add(9, leaf);
    Component plain;
    testing::internal::CaptureStdout();
    root.dump(0);
    plain.dump(2);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, " Composite (" + hex8(&root) + ") :\n m_componentMapT[9],->" + hex8(leaf) +
                       "\n    Leaf(" + hex8(leaf) + ") Value:42\n    Component(" + hex8(&plain) +
                       ")\n");
}
