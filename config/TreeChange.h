// A value put into a configuration tree, which can still be taken back.
#pragma once

#include <boost/property_tree/ptree.hpp>

#include <string>

namespace Vantor {

/// Puts a text at a path when constructed, and restores the tree when destroyed, unless told to keep the change.
class TreeChange {
public:
    using Tree = boost::property_tree::ptree;

    /// @param tree  outlives this object; nobody else changes it meanwhile
    /// @param path  missing elements are created; no deeper than the tree may become
    TreeChange(Tree& tree, Tree::path_type path, const std::string& text);
    TreeChange(const TreeChange&) = delete;
    TreeChange& operator=(const TreeChange&) = delete;
    ~TreeChange();

    void Keep() { kept = true; }

private:
    Tree* node;         ///< the deepest element of the path that was there already
    bool added = false; ///< a new last child of `node` leads to the value; else `node` holds the value itself
    bool kept = false;
    std::string former; ///< what `node` held
};

} // namespace Vantor
