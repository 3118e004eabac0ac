#include "config/XmlScan.h"

#include "config/XmlDocument.h"

#include <algorithm>
#include <array>

namespace Vantor {

namespace {

constexpr std::size_t None = std::string_view::npos;

/// A set of bytes with a quick look-up: a document consists of names for the most part.
class ByteSet {
public:
    constexpr explicit ByteSet(std::string_view bytes) {
        for (const char byte : bytes) {
            members[static_cast<unsigned char>(byte)] = true;
        }
    }

    constexpr explicit ByteSet(bool (*isMember)(char)) {
        for (std::size_t i = 0; i < members.size(); ++i) {
            members[i] = isMember(static_cast<char>(i));
        }
    }

    constexpr bool Has(char byte) const { return members[static_cast<unsigned char>(byte)]; }

private:
    std::array<bool, 256> members = {};
};

constexpr ByteSet Blanks(" \n\r\t");
// What ends a name for the parser; everything else is a part of it, quotes included.
constexpr ByteSet ElementNameEnd(" \n\r\t/>?");
constexpr ByteSet AttributeNameEnd(" \n\r\t/<>=?!");

constexpr bool IsNameStart(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == ':' ||
           static_cast<unsigned char>(c) >= 0x80;
}

constexpr bool IsNameCharacter(char c) {
    return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

constexpr ByteSet NameStarts(IsNameStart);
constexpr ByteSet NameCharacters(IsNameCharacter);

enum class Markup { Open, Close, Empty, Other, Broken };

bool StartsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

/// Reads one piece of markup after another. `rest` always begins behind the piece just read.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest(text), size(text.size()) {}

    /// Where `rest` begins.
    std::size_t Place() const { return size - rest.size(); }

    /// Moves to the next "<"; false at the end of the text.
    bool FindMarkup() {
        rest.remove_prefix(std::min(rest.find('<'), rest.size()));
        return !rest.empty();
    }

    Markup ReadMarkup() {
        rest.remove_prefix(1);
        if (rest.empty()) {
            return Markup::Broken;
        }
        switch (rest.front()) {
        case '!':
            return ReadDeclaration();
        case '?':
            return SkipBehind("?>", 1);
        case '/':
            rest.remove_prefix(1);
            return ReadClosingTag();
        default:
            return ReadTag();
        }
    }

    std::size_t CountAttributes() const { return attributes; }
    std::size_t BadName() const { return badName; }
    std::ptrdiff_t ShortEnds() const { return shortEnds; }

private:
    /// Skips up to and including the end mark, which does not begin before `from`.
    Markup SkipBehind(std::string_view mark, std::size_t from) {
        const std::size_t found = rest.find(mark, from);
        if (found == None) {
            return Markup::Broken;
        }
        rest.remove_prefix(found + mark.size());
        return Markup::Other;
    }

    Markup ReadDeclaration() {
        if (StartsWith(rest, "!--")) {
            return SkipBehind("-->", 3);
        }
        if (StartsWith(rest, "![CDATA[")) {
            return SkipBehind("]]>", 8);
        }
        if (StartsWith(rest, "!DOCTYPE") && rest.size() > 8 && Blanks.Has(rest[8])) {
            return SkipDocumentType();
        }
        return SkipBehind(">", 1);
    }

    /// The internal subset stands in brackets and may hold ">".
    Markup SkipDocumentType() {
        std::size_t brackets = 0;
        for (std::size_t i = 9; i < rest.size(); ++i) {
            const char c = rest[i];
            if (c == '[') {
                ++brackets;
            } else if (c == ']' && brackets > 0) {
                --brackets;
            } else if (c == '>' && brackets == 0) {
                rest.remove_prefix(i + 1);
                return Markup::Other;
            }
        }
        return Markup::Broken;
    }

    void SkipBlanks() {
        while (!rest.empty() && Blanks.Has(rest.front())) {
            rest.remove_prefix(1);
        }
    }

    /// Returns the length of the name, 0 when there is none.
    std::size_t SkipName(const ByteSet& end) {
        std::size_t length = 0;
        while (length < rest.size() && NameCharacters.Has(rest[length])) {
            ++length;
        }
        if (length == 0 || !NameStarts.Has(rest.front()) || (length < rest.size() && !end.Has(rest[length]))) {
            badName = std::min(badName, Place());
            while (length < rest.size() && !end.Has(rest[length])) {
                ++length;
            }
        }
        rest.remove_prefix(length);
        return length;
    }

    bool Skip(char expected) {
        if (rest.empty() || rest.front() != expected) {
            return false;
        }
        rest.remove_prefix(1);
        return true;
    }

    bool SkipQuoted() {
        if (rest.empty() || (rest.front() != '"' && rest.front() != '\'')) {
            return false;
        }
        const std::size_t end = rest.find(rest.front(), 1);
        if (end == None) {
            return false;
        }
        rest.remove_prefix(end + 1);
        return true;
    }

    bool SkipAttributes() {
        SkipBlanks();
        while (!rest.empty() && !AttributeNameEnd.Has(rest.front())) {
            SkipName(AttributeNameEnd);
            SkipBlanks();
            if (!Skip('=')) {
                return false;
            }
            SkipBlanks();
            if (!SkipQuoted()) {
                return false;
            }
            SkipBlanks();
            ++attributes;
        }
        return true;
    }

    Markup ReadTag() {
        const std::size_t length = SkipName(ElementNameEnd);
        if (length == 0 || !SkipAttributes()) {
            return Markup::Broken;
        }
        const bool empty = Skip('/');
        if (!Skip('>')) {
            return Markup::Broken;
        }
        if (empty) {
            return Markup::Empty;
        }
        shortEnds += static_cast<std::ptrdiff_t>(length);
        return Markup::Open;
    }

    Markup ReadClosingTag() {
        const std::size_t badNameSoFar = badName; // this name goes nowhere
        shortEnds -= static_cast<std::ptrdiff_t>(SkipName(ElementNameEnd));
        badName = badNameSoFar;
        SkipBlanks();
        return Skip('>') ? Markup::Close : Markup::Broken;
    }

    std::string_view rest;
    std::size_t size;
    std::size_t attributes = 0;
    std::size_t badName = XmlScan::Nowhere;
    std::ptrdiff_t shortEnds = 0;
};

/// What the parser would put into the tree outside of its root element.
bool IsLooseText(std::string_view markup) {
    constexpr std::string_view begin = "<![CDATA[";
    return StartsWith(markup, begin) && !StartsWith(markup.substr(begin.size()), "]]>");
}

void Note(std::size_t& first, std::size_t place) {
    first = std::min(first, place); // Nowhere is the largest
}

} // namespace

XmlScan ScanXml(std::string_view text, std::vector<std::size_t>* elements) {
    XmlScan result;
    std::size_t level = 0;
    if (elements != nullptr) {
        elements->clear();
    }
    Scanner scanner(text);
    while (scanner.FindMarkup()) {
        const std::size_t place = scanner.Place();
        const Markup markup = scanner.ReadMarkup();
        if (markup == Markup::Broken || (markup == Markup::Close && level == 0)) {
            return result;
        }
        if (markup == Markup::Open || markup == Markup::Empty) {
            result.depth = std::max(result.depth, level + 1);
            if (elements != nullptr) {
                elements->push_back(place);
            }
            if (level + 1 > MaxXmlDepth) {
                Note(result.tooDeep, place);
            }
        }
        if (markup == Markup::Other && level == 0 && IsLooseText(text.substr(place))) {
            Note(result.looseText, place);
        }
        result.nodes += markup == Markup::Close ? 0 : 1;
        if (result.nodes + scanner.CountAttributes() > MaxXmlNodes) {
            Note(result.tooMany, place);
        }
        level += markup == Markup::Open ? 1 : 0;
        level -= markup == Markup::Close ? 1 : 0;
    }
    result.nodes += scanner.CountAttributes();
    result.badName = scanner.BadName();
    result.names = result.badName == XmlScan::Nowhere;
    result.shortEnds = scanner.ShortEnds();
    result.complete = level == 0;
    return result;
}

bool IsXmlName(std::string_view name) {
    return !name.empty() && NameStarts.Has(name.front()) &&
           std::all_of(name.begin(), name.end(), [](char c) { return NameCharacters.Has(c); });
}

} // namespace Vantor
