// A linear look at an XML text before the parser, which recurses, sees it.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace Vantor {

/// What a scan finds out about an XML text.
struct XmlScan {
    bool complete = false; ///< every piece of markup is closed and no more elements end than begin
    std::size_t depth = 0; ///< nesting of the deepest element; the root element counts 1
    std::size_t nodes = 0; ///< elements, attributes and other markup: what a tree of the text needs memory for, at most
    bool names = true;     ///< IsXmlName holds for all elements and attributes seen
    std::ptrdiff_t shortEnds =
        0; ///< bytes that the names in closing tags lack, in all: the parser does not compare them

    static constexpr std::size_t Nowhere = std::string_view::npos;
    std::size_t badName = Nowhere;   ///< where the first name is for which IsXmlName does not hold
    std::size_t looseText = Nowhere; ///< where the first CDATA section with a text outside all elements is
    std::size_t tooDeep = Nowhere;   ///< where the first element deeper than MaxXmlDepth begins
    std::size_t tooMany = Nowhere;   ///< where the piece of markup begins that makes the nodes more than MaxXmlNodes
};

/// Walks the markup from left to right, without recursion and without memory. Tells tags from comments, CDATA,
/// processing instructions and document types exactly as the property tree's parser does, so that its depth is never
/// less than the parser's. Markup that the parser would refuse ends the walk: not complete.
/// @param elements  if not null, set to where each element begins, in the order of the document
XmlScan ScanXml(std::string_view text, std::vector<std::size_t>* elements = nullptr);

/// Whether an XML 1.0 document can have an element of this name. Bytes from 0x80 on, which UTF-8 uses for letters
/// outside ASCII, are taken as letters.
bool IsXmlName(std::string_view name);

} // namespace Vantor
