#include "config/XmlWriter.h"

#include "config/XmlDocument.h"
#include "config/XmlScan.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>

namespace Vantor {

namespace {

using Tree = boost::property_tree::ptree;

constexpr const char* Attributes = "<xmlattr>";
constexpr const char* Comment = "<xmlcomment>";

/// Walks a tree before it is written: the library writes whatever it is given, markup in names and all.
class Check {
public:
    bool Passes(const Tree& tree) {
        // A text outside the root element would not be read again.
        return tree.data().empty() && ChildrenPass(tree, 1) && nodes <= MaxXmlNodes;
    }

private:
    bool ChildrenPass(const Tree& node, std::size_t depth) {
        return std::all_of(node.begin(), node.end(), [&](const auto& child) {
            if (IsXmlElement(child.first)) {
                return ElementPasses(child.first, child.second, depth);
            }
            return child.first == Attributes ? AttributesPass(child.second)
                                             : child.first == Comment && CommentPasses(child.second.data());
        });
    }

    bool ElementPasses(const std::string& name, const Tree& node, std::size_t depth) {
        return depth <= MaxXmlDepth && NamePasses(name) && TextPasses(node.data()) && ChildrenPass(node, depth + 1);
    }

    bool AttributesPass(const Tree& attributes) {
        return std::all_of(attributes.begin(), attributes.end(), [&](const auto& attribute) {
            return NamePasses(attribute.first) && TextPasses(attribute.second.data());
        });
    }

    bool CommentPasses(const std::string& comment) {
        ++nodes;
        return comment.find("-->") == std::string::npos && TextPasses(comment);
    }

    bool NamePasses(const std::string& name) {
        ++nodes;
        return IsXmlName(name);
    }

    static bool TextPasses(const std::string& text) { return text.find('\0') == std::string::npos; }

    std::size_t nodes = 1; ///< the declaration counts as well
};

} // namespace

bool WriteXml(const Tree& tree, std::string& text) {
    if (!Check().Passes(tree)) {
        return false;
    }
    std::ostringstream stream;
    boost::property_tree::write_xml(stream, tree,
                                    boost::property_tree::xml_writer_settings<std::string>(' ', 0, "utf-8"));
    text = stream.str();
    return text.size() <= MaxXmlSize;
}

} // namespace Vantor
