// The elements of a configuration, held against those that are known (config/ClientSettings.h) and the schema.
#pragma once

#include "diag/record/Records.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace Diag {

/// No more than so many problems of a file are named; "..." stands for the others.
constexpr std::size_t MostProblems = 50;

/// What is wrong with the elements of a document.
struct ElementProblems {
    std::vector<FileProblem> invalid; ///< what docs/configuration.rng refuses, in the order of the lines
    std::vector<std::string> unread;  ///< paths ("config/lumo_Client/Foo") of elements with content that stand where
                                      ///< only known ones are read; sub-trees of the client's own are left out
};

/// @param tree      what the registry takes in of the document
/// @param document  the same as a text, for the lines
[[nodiscard]] ElementProblems CheckElements(const boost::property_tree::ptree& tree, const std::string& document);

} // namespace Diag
