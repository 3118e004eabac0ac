#include "app/XpmImage.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

namespace {

using Key = std::uint32_t;    // the characters of a pixel, first one highest
using Colour = std::uint32_t; // 0xAARRGGBB

constexpr Colour Transparent = 0x00000000;
constexpr Colour Opaque = 0xff000000;

struct Header {
    unsigned width = 0;
    unsigned height = 0;
    unsigned colours = 0;
    unsigned keyLength = 0;

    // The limits keep a damaged header from asking for gigabytes; no picture of a program comes near them.
    bool IsSane() const {
        return width - 1 < 32768 && height - 1 < 32768 && colours - 1 < (1U << 24) && keyLength - 1 < sizeof(Key);
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

Key ReadKey(const char* characters, unsigned length) {
    Key key = 0;
    for (unsigned i = 0; i < length; ++i)
        key = key << 8 | static_cast<unsigned char>(characters[i]);
    return key;
}

std::optional<Colour> ReadColour(const char* text) {
    if (std::strncmp(text, " c ", 3) != 0 && std::strncmp(text, "\tc ", 3) != 0)
        return std::nullopt;
    text += 3;
    if (std::strcmp(text, "None") == 0)
        return Transparent;
    if (*text != '#' || std::strspn(text + 1, "0123456789abcdefABCDEF") != 6 || text[7] != '\0')
        return std::nullopt;
    return Opaque | static_cast<Colour>(std::strtoul(text + 1, nullptr, 16));
}

// Finds a colour by its key: open addressing in a table that is never more than half full.
class Palette {
public:
    explicit Palette(std::size_t colours) {
        while (std::size_t{1} << bits < colours * 2)
            ++bits;
        slots.resize(std::size_t{1} << bits);
    }

    void Add(Key key, Colour colour) { slots[PlaceOf(key)] = {true, key, colour}; }

    const Colour* Find(Key key) const {
        const Slot& slot = slots[PlaceOf(key)];
        return slot.used ? &slot.colour : nullptr;
    }

    bool HasTransparency() const { return transparency; }
    void NoteTransparency(Colour colour) { transparency = transparency || colour == Transparent; }

private:
    struct Slot {
        bool used = false;
        Key key = 0;
        Colour colour = 0;
    };

    std::size_t PlaceOf(Key key) const {
        std::size_t place = static_cast<std::uint32_t>(key * 0x9e3779b1U) >> (32 - bits);
        while (slots[place].used && slots[place].key != key)
            place = (place + 1) & (slots.size() - 1);
        return place;
    }

    unsigned bits = 1;
    std::vector<Slot> slots;
    bool transparency = false;
};

std::optional<Palette> ReadPalette(const Header& header, const char* const* rows) {
    Palette palette(header.colours);
    for (unsigned i = 0; i < header.colours; ++i) {
        if (strnlen(rows[i], header.keyLength) != header.keyLength)
            return std::nullopt;
        const auto colour = ReadColour(rows[i] + header.keyLength);
        if (!colour)
            return std::nullopt;
        palette.Add(ReadKey(rows[i], header.keyLength), *colour);
        palette.NoteTransparency(*colour);
    }
    return palette;
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
    Key known = 0;
    const Colour* colour = nullptr;
    for (unsigned x = 0; x < header.width; ++x, row += header.keyLength) {
        // Neighbours are often alike.
        const Key key = ReadKey(row, header.keyLength);
        if (colour == nullptr || key != known)
            colour = palette.Find(key);
        if (colour == nullptr)
            return false;
        known = key;
        pixels.Append(*colour);
    }
    return true;
}

} // namespace

wxImage ImageFromXpm(const char* const* rows) {
    const auto header = ReadHeader(rows[0]);
    if (!header)
        return {};
    const auto palette = ReadPalette(*header, rows + 1);
    if (!palette)
        return {};
    wxImage image(static_cast<int>(header->width), static_cast<int>(header->height), false);
    if (palette->HasTransparency())
        image.InitAlpha();
    Pixels pixels(image);
    for (unsigned y = 0; y < header->height; ++y)
        if (!ReadRow(rows[1 + header->colours + y], *header, *palette, pixels))
            return {};
    return image;
}
