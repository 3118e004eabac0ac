#include "config/XmlDocument.h"

#include "config/XmlScan.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <sstream>

namespace Vantor {

namespace pt = boost::property_tree;

namespace {

bool IsAcceptable(const std::string& text) {
    // The parser takes a NUL byte for the end and would drop what follows.
    if (text.size() > MaxXmlSize || text.find('\0') != std::string::npos) {
        return false;
    }
    const XmlScan scan = ScanXml(text);
    return scan.complete && scan.depth <= MaxXmlDepth && scan.nodes <= MaxXmlNodes;
}

/// The parser takes texts outside the root element and names that the writer would turn into something else.
bool CanBeWritten(const pt::ptree& tree) {
    return std::all_of(tree.begin(), tree.end(), [](const auto& child) {
        const auto& [name, node] = child;
        if (name == "<xmlcomment>") {
            return true;
        }
        return (name == "<xmlattr>" || IsXmlName(name)) && CanBeWritten(node);
    });
}

} // namespace

bool ParseXml(const std::string& text, pt::ptree& tree) {
    if (!IsAcceptable(text)) {
        return false;
    }
    try {
        pt::ptree parsed;
        std::istringstream stream(text);
        pt::read_xml(stream, parsed);
        // A character reference such as &#0; brings in what no document can hold: better refused now than at each save.
        std::string written;
        if (!parsed.data().empty() || !CanBeWritten(parsed) || !FormatXml(parsed, written)) {
            return false;
        }
        tree.swap(parsed);
        return true;
    } catch (...) {
        return false;
    }
}

bool FormatXml(const pt::ptree& tree, std::string& text) {
    try {
        std::ostringstream stream;
        pt::write_xml(stream, tree, pt::xml_writer_settings<std::string>(' ', 0, "utf-8"));
        text = stream.str();
        return IsAcceptable(text);
    } catch (...) {
        return false;
    }
}

} // namespace Vantor
