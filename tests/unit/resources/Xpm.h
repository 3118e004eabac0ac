// A reader of XPM arrays that takes nothing for granted, for the tests of the pictures.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

/// A picture as the text of its XPM says, without any interpretation by the toolkit.
struct Xpm {
    std::size_t width = 0, height = 0, declaredColours = 0, keyLength = 0;
    std::vector<std::string> keys; ///< in the order of the table
    std::map<std::string, std::string> colours;
    std::vector<std::string> rows;

    /// "None" or "#RRGGBB"; throws std::out_of_range where the text has no such pixel.
    [[nodiscard]] const std::string& At(std::size_t x, std::size_t y) const;
    /// The colours that pixels really have.
    [[nodiscard]] std::set<std::string> UsedColours() const;
};

/// @param lines  the array, `count` strings; throws std::runtime_error when they are no well-formed XPM
Xpm ReadXpm(const char* const* lines, std::size_t count);

template <std::size_t Count>
Xpm ReadXpm(const char* const (&lines)[Count]) {
    return ReadXpm(lines, Count);
}
