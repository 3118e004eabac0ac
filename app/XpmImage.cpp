#include "app/XpmImage.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

namespace {

using Colour = std::uint32_t; // 0xAARRGGBB

constexpr Colour Transparent = 0x00000000;
constexpr Colour Opaque = 0xff000000;
constexpr Colour Unknown = 0x01000000; // no colour of a picture: neither transparent nor opaque

constexpr unsigned MaxKeyLength = 4;

struct Header {
    unsigned width = 0;
    unsigned height = 0;
    unsigned colours = 0;
    unsigned keyLength = 0;

    // The limits keep a damaged header from asking for gigabytes; no picture of a program comes near them.
    bool IsSane() const {
        return width - 1 < 32768 && height - 1 < 32768 && colours - 1 < (1U << 24) && keyLength - 1 < MaxKeyLength;
    }
};

std::optional<Header> ReadHeader(const char* row) {
    Header header;
    const int fields = std::sscanf(row, "%u %u %u %u", &header.width, &header.height, &header.colours,
                                   &header.keyLength); // NOLINT(cert-err34-c): the limits are checked below
    if (fields != 4 || !header.IsSane())
        return std::nullopt;
    return header;
}

// Value of a hexadecimal digit; sixteen and more for any other character.
constexpr unsigned HexDigit(char c) {
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a' + 10);
    return 16;
}

// Exactly six digits. The loop ends at the text's terminating zero, which is no digit.
std::optional<Colour> ReadRgb(const char* digits) {
    Colour colour = 0;
    for (int i = 0; i < 6; ++i) {
        const unsigned digit = HexDigit(digits[i]);
        if (digit > 15)
            return std::nullopt;
        colour = colour << 4 | digit;
    }
    if (digits[6] != '\0')
        return std::nullopt;
    return Opaque | colour;
}

std::optional<Colour> ReadColour(const char* text) {
    const bool visual = (text[0] == ' ' || text[0] == '\t') && text[1] == 'c' && text[2] == ' ';
    if (!visual)
        return std::nullopt;
    if (text[3] == '#')
        return ReadRgb(text + 4);
    if (std::strcmp(text + 3, "None") == 0)
        return Transparent;
    return std::nullopt;
}

// The colour of each possible key in one table. A key's position is the number that its characters write in a system
// that has a digit for each character which keys have at that place.
class Palette {
public:
    // Also what keeps a damaged picture from asking for gigabytes: colours beyond it are refused.
    static constexpr std::size_t MaxKeys = std::size_t{1} << 22;

    explicit Palette(unsigned length) : keyLength(length) {
        for (auto& digits : weights)
            digits.fill(MaxKeys);
    }

    // First all keys, then the table, then the colours.
    void AddKey(const char* key) {
        for (unsigned i = 0; i < keyLength; ++i)
            weights[i][Index(key[i])] = 0;
    }

    bool MakeTable() {
        std::size_t keys = 1;
        for (unsigned i = 0; i < keyLength; ++i) {
            const std::size_t weight = keys;
            std::size_t digit = 0;
            for (auto& place : weights[i])
                if (place == 0)
                    place = weight * digit++;
            keys *= digit;
            if (keys > MaxKeys)
                return false;
        }
        table.assign(keys, Unknown);
        return true;
    }

    void SetColour(const char* key, Colour colour) { table[PositionOf(key)] = colour; }

    Colour Find(const char* key) const {
        const std::size_t position = PositionOf(key);
        return position < table.size() ? table[position] : Unknown;
    }

private:
    static std::size_t Index(char c) { return static_cast<unsigned char>(c); }

    std::size_t PositionOf(const char* key) const {
        std::size_t position = 0;
        for (unsigned i = 0; i < keyLength; ++i)
            position += weights[i][Index(key[i])];
        return position;
    }

    unsigned keyLength;
    std::array<std::array<std::size_t, 256>, MaxKeyLength> weights;
    std::vector<Colour> table;
};

struct Colours {
    Palette palette;
    bool transparency = false;
};

std::optional<Colours> ReadColours(const Header& header, const char* const* rows) {
    Colours colours{Palette(header.keyLength)};
    for (unsigned i = 0; i < header.colours; ++i) {
        if (strnlen(rows[i], header.keyLength) != header.keyLength)
            return std::nullopt;
        colours.palette.AddKey(rows[i]);
    }
    if (!colours.palette.MakeTable())
        return std::nullopt;
    for (unsigned i = 0; i < header.colours; ++i) {
        const auto colour = ReadColour(rows[i] + header.keyLength);
        if (!colour)
            return std::nullopt;
        colours.palette.SetColour(rows[i], *colour);
        colours.transparency = colours.transparency || *colour == Transparent;
    }
    return colours;
}

// Where the pixels of the image go; the alpha channel is optional.
class Pixels {
public:
    explicit Pixels(wxImage& image) : rgb(image.GetData()), alpha(image.HasAlpha() ? image.GetAlpha() : nullptr) {}

    void Append(Colour colour) {
        *rgb++ = static_cast<unsigned char>(colour >> 16);
        *rgb++ = static_cast<unsigned char>(colour >> 8);
        *rgb++ = static_cast<unsigned char>(colour);
        if (alpha != nullptr)
            *alpha++ = static_cast<unsigned char>(colour >> 24);
    }

private:
    unsigned char* rgb;
    unsigned char* alpha;
};

bool ReadRow(const char* row, const Header& header, const Palette& palette, Pixels& pixels) {
    if (std::strlen(row) < std::size_t{header.width} * header.keyLength)
        return false;
    for (unsigned x = 0; x < header.width; ++x, row += header.keyLength) {
        const Colour colour = palette.Find(row);
        if (colour == Unknown)
            return false;
        pixels.Append(colour);
    }
    return true;
}

} // namespace

wxImage ImageFromXpm(const char* const* rows) {
    const auto header = ReadHeader(rows[0]);
    if (!header)
        return {};
    const auto colours = ReadColours(*header, rows + 1);
    if (!colours)
        return {};
    wxImage image(static_cast<int>(header->width), static_cast<int>(header->height), false);
    if (colours->transparency)
        image.InitAlpha();
    Pixels pixels(image);
    for (unsigned y = 0; y < header->height; ++y)
        if (!ReadRow(rows[1 + header->colours + y], *header, colours->palette, pixels))
            return {};
    return image;
}
