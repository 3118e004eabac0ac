#include "config/TreeChange.h"

#include <gtest/gtest.h>

using namespace Vantor;
using Tree = TreeChange::Tree;

namespace {

Tree Sample() {
    Tree tree;
    tree.put("config.a", "one");
    tree.put("config.b.c", "two");
    return tree;
}

} // namespace

TEST(TreeChange, AKeptChangeStays) {
    Tree tree = Sample();
    {
        TreeChange change(tree, Tree::path_type("config.b.d.e"), "new");
        change.Keep();
    }
    EXPECT_EQ(tree.get<std::string>("config.b.d.e"), "new");
}

TEST(TreeChange, AnOverwrittenValueComesBack) {
    Tree tree = Sample();
    {
        const TreeChange change(tree, Tree::path_type("config.a"), "new");
        EXPECT_EQ(tree.get<std::string>("config.a"), "new");
    }
    EXPECT_EQ(tree, Sample());
}

TEST(TreeChange, ElementsThatWereAddedGo) {
    for (const char* path : {"config.b.d", "config.b.d.e.f", "config.a.x", "other", "other.x.y"}) {
        Tree tree = Sample();
        {
            const TreeChange change(tree, Tree::path_type(path), "new");
            EXPECT_EQ(tree.get<std::string>(path), "new") << path;
        }
        EXPECT_EQ(tree, Sample()) << path;
    }
}

TEST(TreeChange, AnElementWithChildrenKeepsThemEitherWay) {
    Tree tree = Sample();
    { const TreeChange change(tree, Tree::path_type("config.b"), "text beside the child"); }
    EXPECT_EQ(tree, Sample());
    {
        TreeChange change(tree, Tree::path_type("config.b"), "text beside the child");
        change.Keep();
    }
    EXPECT_EQ(tree.get<std::string>("config.b.c"), "two");
}

TEST(TreeChange, OfTwinsTheFirstIsChanged) {
    Tree tree;
    tree.add("config.a", "first");
    tree.add("config.a", "second");
    TreeChange change(tree, Tree::path_type("config.a"), "new");
    change.Keep();
    EXPECT_EQ(tree.get_child("config").front().second.data(), "new");
    EXPECT_EQ(tree.get_child("config").back().second.data(), "second");
}
