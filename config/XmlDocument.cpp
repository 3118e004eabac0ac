#include "config/XmlDocument.h"

#include "config/XmlScan.h"
#include "config/XmlWriter.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <cstddef>
#include <istream>
#include <streambuf>

namespace Vantor {

namespace pt = boost::property_tree;

namespace {

bool IsAcceptable(const std::string& text, const XmlScan& scan) {
    // The parser takes a NUL byte for the end and would drop what follows.
    return text.size() <= MaxXmlSize && text.find('\0') == std::string::npos && scan.complete && scan.names &&
           scan.depth <= MaxXmlDepth && scan.nodes <= MaxXmlNodes;
}

/// At least as many bytes as the text's tree will have when written: quotes, ampersands and ">" may become entities, a
/// text that consists of blanks is marked.
std::size_t MostWritten(const std::string& text, const XmlScan& scan) {
    constexpr std::size_t declaration = 64;
    const auto closingTags = static_cast<std::size_t>(std::max<std::ptrdiff_t>(scan.shortEnds, 0));
    unsigned growth = 0;
    for (const char c : text) {
        growth += c == '>' ? 7U : 0U;
        growth += c == '"' || c == '\'' || c == '&' ? 5U : 0U;
    }
    return declaration + closingTags + text.size() + growth;
}

/// Whether the tree of an acceptable text might not be written again, which a trial decides: it could be too large
/// then, have a NUL byte from a reference such as &#0;, or a node too many, a declaration that it came without.
bool IsDoubtful(const std::string& text, const XmlScan& scan) {
    const bool large = text.size() > MaxXmlSize / 8; // smaller ones cannot grow that far
    return (large && MostWritten(text, scan) > MaxXmlSize) || text.find("&#") != std::string::npos ||
           scan.nodes == MaxXmlNodes;
}

/// Reads a text where it stands.
class TextBuffer : public std::streambuf {
public:
    explicit TextBuffer(const std::string& text) {
        char* const begin = const_cast<char*>(text.data()); // which reading leaves alone
        setg(begin, begin, begin + text.size());
    }
};

} // namespace

bool ParseXml(const std::string& text, pt::ptree& tree) {
    const XmlScan scan = ScanXml(text);
    if (!IsAcceptable(text, scan)) {
        return false;
    }
    try {
        pt::ptree parsed;
        TextBuffer buffer(text);
        std::istream stream(&buffer);
        pt::read_xml(stream, parsed);
        std::string written;
        // The parser takes texts outside the root element, which would be lost with the first save.
        if (!parsed.data().empty() || (IsDoubtful(text, scan) && !WriteXml(parsed, written))) {
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
        return WriteXml(tree, text);
    } catch (...) {
        return false;
    }
}

} // namespace Vantor
