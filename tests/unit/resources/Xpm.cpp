#include "tests/unit/resources/Xpm.h"

#include <sstream>
#include <stdexcept>

namespace {

void Require(bool condition, const std::string& what) {
    if (!condition)
        throw std::runtime_error(what);
}

bool IsColour(const std::string& text) {
    return text == "None" ||
           (text.size() == 7 && text[0] == '#' && text.find_first_not_of("0123456789ABCDEF", 1) == std::string::npos);
}

void ReadColour(Xpm& xpm, const std::string& line) {
    const std::string key = line.substr(0, xpm.keyLength);
    Require(line.compare(xpm.keyLength, 3, " c ") == 0, "colour line: " + line);
    const std::string colour = line.substr(xpm.keyLength + 3);
    Require(IsColour(colour), "colour: " + line);
    Require(xpm.colours.emplace(key, colour).second, "key used twice: " + key);
    xpm.keys.push_back(key);
}

} // namespace

const std::string& Xpm::At(std::size_t x, std::size_t y) const {
    return colours.at(rows.at(y).substr(x * keyLength, keyLength));
}

std::set<std::string> Xpm::UsedColours() const {
    std::set<std::string> used;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x)
            used.insert(At(x, y));
    }
    return used;
}

Xpm ReadXpm(const char* const* lines, std::size_t count) {
    Xpm xpm;
    std::istringstream header(lines[0]);
    header >> xpm.width >> xpm.height >> xpm.declaredColours >> xpm.keyLength;
    Require(header.eof() && !header.fail(), std::string("header: ") + lines[0]);
    Require(count == 1 + xpm.declaredColours + xpm.height, "number of lines");
    for (std::size_t i = 1; i <= xpm.declaredColours; ++i)
        ReadColour(xpm, lines[i]);
    for (std::size_t i = 1 + xpm.declaredColours; i < count; ++i) {
        xpm.rows.emplace_back(lines[i]);
        Require(xpm.rows.back().size() == xpm.width * xpm.keyLength, "length of row: " + xpm.rows.back());
    }
    return xpm;
}
