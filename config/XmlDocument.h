// Configuration trees as XML texts, within limits that reading and writing share.
#pragma once

#include <boost/property_tree/ptree_fwd.hpp>

#include <cstddef>
#include <string>

namespace Vantor {

/// The largest document that is read or written, in bytes.
constexpr std::size_t MaxXmlSize = std::size_t{4} << 20;
/// The deepest nesting of elements. The parser and the tree recurse, which thousands of levels would not survive.
constexpr std::size_t MaxXmlDepth = 256;
/// The most elements, attributes and comments together: each takes some 400 bytes of a tree, and the target machines
/// have little memory.
constexpr std::size_t MaxXmlNodes = 300000;

/// Parses a document, comments and attributes included; white space in texts is kept.
/// @param tree  replaced by the document's tree; unchanged on failure
/// @return false when the text is malformed, has a NUL byte, exceeds a limit, or could not be written again
[[nodiscard]] bool ParseXml(const std::string& text, boost::property_tree::ptree& tree);

/// Writes a tree as a document in UTF-8 without line breaks or indentation of its own.
/// @param text  set to the document; unspecified on failure
/// @return false for a tree that ParseXml would not read again
[[nodiscard]] bool FormatXml(const boost::property_tree::ptree& tree, std::string& text);

} // namespace Vantor
