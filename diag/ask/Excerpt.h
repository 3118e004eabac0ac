// Texts of others, as far as they are worth showing.
#pragma once

#include <cstddef>
#include <string>

namespace Diag {

/// The text itself, or its first bytes and "..." for more than `longest`. No character of UTF-8 is cut in two.
[[nodiscard]] inline std::string Excerpt(const std::string& text, std::size_t longest = 40) {
    std::size_t end = longest;
    while (end < text.size() && end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) {
        --end;
    }
    return text.size() <= longest ? text : text.substr(0, end) + "...";
}

} // namespace Diag
