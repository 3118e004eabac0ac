#include "config/TreeChange.h"

#include <utility>

namespace Vantor {

TreeChange::TreeChange(Tree& tree, Tree::path_type path, const std::string& text) : node(&tree) {
    while (!path.empty()) {
        Tree::path_type rest = path;
        const auto found = node->find(rest.reduce());
        if (found == node->not_found()) {
            break;
        }
        node = &found->second;
        path = rest;
    }
    if (path.empty()) {
        former = std::exchange(node->data(), text);
    } else {
        node->add(path, text);
        added = true;
    }
}

TreeChange::~TreeChange() {
    if (kept) {
        return;
    }
    if (added) {
        node->pop_back();
    } else {
        node->data() = std::move(former);
    }
}

} // namespace Vantor
