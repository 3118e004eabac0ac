// The client's configuration files: who may write them, what is stored, what is wrong. Reads only, and unlike opening
// the configuration registry it makes no folders.
#pragma once

#include "diag/record/Records.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <optional>
#include <string>

namespace Diag {

[[nodiscard]] ConfigurationState ProbeConfiguration();

/// The stored settings of a document, as much of them as is worth showing: 32 readers, 4096 bytes of a text.
[[nodiscard]] ClientSettings::Record ReadSettings(const boost::property_tree::ptree& tree);

/// Why the registry would not take in the document, with the line as far as it can be told; nothing if it does.
/// @param tree  set to what it takes in; unchanged if it does not
[[nodiscard]] std::optional<FileProblem> FindSyntaxProblem(const std::string& document,
                                                           boost::property_tree::ptree& tree);

} // namespace Diag
