#include "config/XmlWriter.h"

#include "config/XmlDocument.h"
#include "config/XmlScan.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Vantor {

namespace {

using Tree = boost::property_tree::ptree;

constexpr std::string_view Declaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
constexpr const char* Attributes = "<xmlattr>";
constexpr const char* Comment = "<xmlcomment>";

/// What stands for a character that has a meaning of its own in XML; empty for all others.
std::string_view EntityFor(char c) {
    switch (c) {
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '&':
        return "&amp;";
    case '"':
        return "&quot;";
    case '\'':
        return "&apos;";
    default:
        return {};
    }
}

class Writer {
public:
    explicit Writer(std::string& newText) : text(newText) {}

    bool WriteDocument(const Tree& tree) {
        text = Declaration;
        // A text outside the root element would not be read again.
        return tree.data().empty() && WriteChildren(tree, 1) && nodes <= MaxXmlNodes && text.size() <= MaxXmlSize;
    }

private:
    bool WriteChildren(const Tree& node, std::size_t depth) {
        return std::all_of(node.begin(), node.end(), [&](const auto& child) {
            if (IsXmlElement(child.first)) {
                return WriteElement(child.first, child.second, depth);
            }
            return child.first == Attributes || (child.first == Comment && WriteComment(child.second.data()));
        });
    }

    bool WriteElement(const std::string& name, const Tree& node, std::size_t depth) {
        if (depth > MaxXmlDepth || !WriteName('<', name) || !WriteAttributes(node)) {
            return false;
        }
        if (node.data().empty() && HasOnlyAttributes(node)) {
            text += "/>";
            return true;
        }
        text += '>';
        if (!WriteText(node.data()) || !WriteChildren(node, depth + 1)) {
            return false;
        }
        text += "</";
        text += name;
        text += '>';
        return true;
    }

    static bool HasOnlyAttributes(const Tree& node) {
        return std::all_of(node.begin(), node.end(), [](const auto& child) { return child.first == Attributes; });
    }

    bool WriteAttributes(const Tree& node) {
        if (node.empty()) {
            return true;
        }
        const auto found = node.find(Attributes);
        return found == node.not_found() ||
               std::all_of(found->second.begin(), found->second.end(), [&](const auto& attribute) {
                   return WriteName(' ', attribute.first) && WriteValue(attribute.second.data());
               });
    }

    bool WriteValue(const std::string& value) {
        text += "=\"";
        const bool written = WriteText(value);
        text += '"';
        return written;
    }

    bool WriteComment(const std::string& comment) {
        ++nodes;
        text += "<!--";
        text += comment;
        text += "-->";
        return comment.find("-->") == std::string::npos && comment.find('\0') == std::string::npos;
    }

    bool WriteName(char before, const std::string& name) {
        ++nodes;
        text += before;
        text += name;
        return IsXmlName(name);
    }

    bool WriteText(const std::string& value) {
        std::size_t begin = 0;
        // Other readers drop a text of nothing but blanks; one that is written by its number shows that it is meant.
        if (!value.empty() && value.find_first_not_of(' ') == std::string::npos) {
            text += "&#32;";
            begin = 1;
        }
        for (std::size_t i = begin; i < value.size(); ++i) {
            const std::string_view entity = EntityFor(value[i]);
            if (!entity.empty()) {
                text.append(value, begin, i - begin).append(entity);
                begin = i + 1;
            }
        }
        text.append(value, begin);
        return value.find('\0') == std::string::npos;
    }

    std::string& text;
    std::size_t nodes = 1; ///< the declaration counts as well
};

} // namespace

bool WriteXml(const Tree& tree, std::string& text) {
    return Writer(text).WriteDocument(tree);
}

} // namespace Vantor
