#include <quarn/Debuggable.h>

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

TEST(DebuggableTest, SharesTheLevelOfTheRoot) {
    Debuggable root(nullptr);
    Debuggable other(nullptr);
    Debuggable child(&root);
    EXPECT_EQ(child.GetDebugLevel(), 0u);
    {
        Debuggable grandchild(&child);
        grandchild.SetDebugLevel(0xFFFFFFFF);
    }
    EXPECT_EQ(root.GetDebugLevel(), 0xFFFFFFFFu);
    root.SetDebugLevel(2);
    EXPECT_EQ(child.GetDebugLevel(), 2u);
    EXPECT_EQ(other.GetDebugLevel(), 0u);
}

}  // namespace
}  // namespace quarn::test
