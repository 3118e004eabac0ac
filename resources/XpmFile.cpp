#include "resources/XpmFile.h"

#include <cstddef>

std::optional<std::string_view> XpmFile::Next() {
    const std::size_t open = rest.find('"');
    if (open == std::string_view::npos)
        return std::nullopt;
    const std::size_t close = rest.find('"', open + 1);
    if (close == std::string_view::npos)
        return std::nullopt;
    const std::string_view string = rest.substr(open + 1, close - open - 1);
    rest.remove_prefix(close + 1);
    return string;
}
