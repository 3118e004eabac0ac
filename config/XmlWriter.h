// Configuration trees to XML texts.
#pragma once

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Vantor {

/// Whether a child of this name is an element. The parser puts attributes and comments among the elements, under names
/// that begin with "<".
inline bool IsXmlElement(const std::string& name) {
    return name.empty() || name.front() != '<';
}

/// Writes a tree as a document in UTF-8 with the property tree's writer, without line breaks or indentation of its own.
/// @param text  set to the document; unspecified on failure
/// @return false for a tree that is not to be read again: one with a NUL byte, with a name that XML does not have, or
///         beyond a limit of XmlDocument.h
[[nodiscard]] bool WriteXml(const boost::property_tree::ptree& tree, std::string& text);

} // namespace Vantor
