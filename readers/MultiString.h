// The PC/SC form of a list of names: each ends in a zero byte, and an empty one ends the list.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace Vantor {

/// Appends the names of a multi-string in their order. The buffer's end counts as a missing terminator.
/// @param text  `length` bytes; nothing behind them is read
inline void AppendMultiString(const char* text, std::size_t length, std::vector<std::string>& names) {
    const char* const end = text + length;
    while (text != end && *text != '\0') {
        const void* const zero = std::memchr(text, '\0', static_cast<std::size_t>(end - text));
        const char* const last = zero != nullptr ? static_cast<const char*>(zero) : end;
        names.emplace_back(text, last);
        text = last != end ? last + 1 : end;
    }
}

} // namespace Vantor
