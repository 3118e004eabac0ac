#include "diag/record/Printable.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace Diag {

namespace {

unsigned Byte(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

bool IsContinuation(std::string_view text, std::size_t at) {
    return at < text.size() && (Byte(text, at) & 0xC0U) == 0x80;
}

/// Bytes of the well-formed UTF-8 character at the start (RFC 3629); 0 for none.
std::size_t CharacterLength(std::string_view text) {
    const unsigned first = Byte(text, 0);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    for (std::size_t i = 1; i < length; ++i) {
        if (!IsContinuation(text, i)) {
            return 0;
        }
    }
    if (length >= 3) {
        const unsigned second = Byte(text, 1);
        const bool overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
        const bool outside = (first == 0xED && second > 0x9F) || (first == 0xF4 && second > 0x8F);
        return overlong || outside ? 0 : length;
    }
    return length;
}

/// What steers a terminal, is not seen, or turns the direction of writing, so that a name could pretend to be another.
constexpr struct {
    char32_t first;
    char32_t last;
} NotPrintable[] = {
    {0x00, 0x1F},       // C0 controls
    {0x7F, 0x9F},       // delete, C1 controls
    {0xAD, 0xAD},       // soft hyphen
    {0x61C, 0x61C},     // Arabic letter mark
    {0x180E, 0x180E},   // Mongolian vowel separator
    {0x200B, 0x200F},   // zero width; left-to-right and right-to-left mark
    {0x2028, 0x202E},   // line and paragraph separator; embeddings and overrides
    {0x2060, 0x206F},   // invisible operators, isolates
    {0xFEFF, 0xFEFF},   // zero width no-break space
    {0xFFF9, 0xFFFB},   // interlinear annotation
    {0xE0000, 0xE007F}, // tags
};

/// @param character  well-formed UTF-8
char32_t CodePoint(std::string_view character) {
    const unsigned first = Byte(character, 0);
    char32_t code = character.size() == 1 ? first : first & (0xFFU >> (character.size() + 1));
    for (std::size_t i = 1; i < character.size(); ++i) {
        code = code << 6 | (Byte(character, i) & 0x3FU);
    }
    return code;
}

bool SteersTerminal(std::string_view character) {
    const char32_t code = CodePoint(character);
    return std::any_of(std::begin(NotPrintable), std::end(NotPrintable),
                       [code](const auto& range) { return range.first <= code && code <= range.last; });
}

std::string_view WithoutZeros(std::string_view bytes) {
    const std::size_t last = bytes.find_last_not_of('\0');
    return bytes.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

std::string Escaped(unsigned byte) {
    std::array<char, 5> text{};
    std::snprintf(text.data(), text.size(), "\\x%02X", byte);
    return text.data();
}

} // namespace

std::string HexBytes(std::string_view bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += text.empty() ? "" : " ";
        text += digits[byte / 16];
        text += digits[byte % 16];
    }
    return text;
}

std::string Printable(std::string_view bytes) {
    std::string text;
    std::string_view rest = WithoutZeros(bytes);
    while (!rest.empty()) {
        const std::size_t length = CharacterLength(rest);
        const std::string_view character = rest.substr(0, std::max<std::size_t>(length, 1));
        if (length == 0 || SteersTerminal(character)) {
            for (std::size_t i = 0; i < character.size(); ++i) {
                text += Escaped(Byte(character, i));
            }
        } else {
            text += character;
        }
        rest.remove_prefix(character.size());
    }
    return text;
}

bool IsPrintable(std::string_view bytes) {
    return Printable(bytes) == WithoutZeros(bytes);
}

} // namespace Diag
