#include "config/XmlWriter.h"

#include "config/XmlDocument.h"
#include "config/XmlScan.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <streambuf>
#include <string>
#include <utility>

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
        return depth <= MaxXmlDepth && NamePasses(name) && ChildrenPass(node, depth + 1);
    }

    bool AttributesPass(const Tree& attributes) {
        return std::all_of(attributes.begin(), attributes.end(),
                           [&](const auto& attribute) { return NamePasses(attribute.first); });
    }

    bool CommentPasses(const std::string& comment) {
        ++nodes;
        return comment.find("-->") == std::string::npos;
    }

    bool NamePasses(const std::string& name) {
        ++nodes;
        return IsXmlName(name);
    }

    std::size_t nodes = 1; ///< the declaration counts as well
};

/// Takes a text piece by piece and gives it away without copying it.
class TextCollector : public std::streambuf {
public:
    TextCollector() { Grow(); }

    std::string Take() {
        text.resize(Length());
        return std::move(text);
    }

protected:
    int_type overflow(int_type next) override {
        Grow();
        return traits_type::eq_int_type(next, traits_type::eof()) ? traits_type::not_eof(next)
                                                                  : sputc(traits_type::to_char_type(next));
    }

private:
    static constexpr std::size_t FirstSize = 16384;

    [[nodiscard]] std::size_t Length() const { return static_cast<std::size_t>(pptr() - text.data()); }

    void Grow() {
        const std::size_t length = text.empty() ? 0 : Length();
        text.resize(std::max(FirstSize, 2 * text.size()));
        setp(text.data() + length, text.data() + text.size());
    }

    std::string text;
};

} // namespace

bool WriteXml(const Tree& tree, std::string& text) {
    if (!Check().Passes(tree)) {
        return false;
    }
    TextCollector collector;
    std::ostream stream(&collector);
    boost::property_tree::write_xml(stream, tree,
                                    boost::property_tree::xml_writer_settings<std::string>(' ', 0, "utf-8"));
    text = collector.Take();
    // A NUL byte of a value could never be read again.
    return text.size() <= MaxXmlSize && text.find('\0') == std::string::npos;
}

} // namespace Vantor
