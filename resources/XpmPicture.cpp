#include "resources/XpmPicture.h"

#include "resources/XpmFile.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

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
        return width - 1 < 32768 && height - 1 < 32768 && colours - 1 < (1U << 22) && keyLength - 1 < MaxKeyLength;
    }
};

// The strings of a picture in memory, one after the other as XpmFile has them.
class XpmArray {
public:
    explicit XpmArray(const char* const* rows) : next(rows) {}
    std::optional<std::string_view> Next() { return *next++; }

private:
    const char* const* next;
};

std::optional<Header> ReadHeader(std::optional<std::string_view> row) {
    Header header;
    const int fields = std::sscanf(std::string(row.value_or("")).c_str(), "%u %u %u %u", &header.width, &header.height,
                                   &header.colours, &header.keyLength); // NOLINT(cert-err34-c): limits follow
    if (fields != 4 || !header.IsSane())
        return std::nullopt;
    return header;
}

// The value of each hexadecimal digit; sixteen, a bit that no digit has, for any other character.
constexpr unsigned char NoDigit = 16;

constexpr std::array<unsigned char, 256> MakeDigits() {
    std::array<unsigned char, 256> digits{};
    for (auto& digit : digits)
        digit = NoDigit;
    for (unsigned char i = 0; i < 16; ++i) {
        digits[static_cast<unsigned char>("0123456789ABCDEF"[i])] = i;
        digits[static_cast<unsigned char>("0123456789abcdef"[i])] = i;
    }
    return digits;
}

constexpr auto Digits = MakeDigits();

std::optional<Colour> ReadRgb(std::string_view text) {
    Colour colour = 0;
    unsigned seen = 0;
    for (const char c : text) {
        const unsigned digit = Digits[static_cast<unsigned char>(c)];
        seen |= digit;
        colour = colour << 4 | digit;
    }
    if ((seen & NoDigit) != 0)
        return std::nullopt;
    return Opaque | colour;
}

// What follows the key: the colour for colour displays, "c".
std::optional<Colour> ReadColour(std::string_view text) {
    if (text.size() < 4 || (text[0] != ' ' && text[0] != '\t') || text[1] != 'c' || text[2] != ' ')
        return std::nullopt;
    if (text[3] == '#' && text.size() == 10)
        return ReadRgb(text.substr(4));
    if (text.substr(3) == "None")
        return Transparent;
    return std::nullopt;
}

struct Entry {
    std::array<char, MaxKeyLength> key{};
    Colour colour = 0;
};

// The colour of each possible key in one table. A key's position is the number that its characters write in a system
// that has a digit for each character which keys have at that place.
class Palette {
public:
    explicit Palette(unsigned length) : keyLength(length) {
        for (auto& characters : weights)
            characters.fill(MaxKeys);
    }

    // False when too many keys are possible.
    bool Fill(const std::vector<Entry>& entries) {
        for (const Entry& entry : entries)
            NoteCharacters(entry);
        if (!MakeTable())
            return false;
        for (const Entry& entry : entries)
            table[PositionOf(entry.key.data())] = entry.colour;
        return true;
    }

    Colour Find(const char* key) const {
        const std::size_t position = PositionOf(key);
        return position < table.size() ? table[position] : Unknown;
    }

private:
    // Keeps a damaged picture from asking for gigabytes; also the weight of characters that no key has.
    static constexpr std::uint32_t MaxKeys = 1U << 22;

    static std::size_t Index(char c) { return static_cast<unsigned char>(c); }

    void NoteCharacters(const Entry& entry) {
        for (unsigned i = 0; i < keyLength; ++i)
            weights[i][Index(entry.key[i])] = 0;
    }

    bool MakeTable() {
        std::uint32_t keys = 1;
        for (unsigned i = 0; i < keyLength; ++i) {
            std::uint32_t digits = 0;
            for (auto& weight : weights[i])
                if (weight == 0)
                    weight = keys * digits++;
            keys *= digits;
            if (keys > MaxKeys)
                return false;
        }
        table.assign(keys, Unknown);
        return true;
    }

    std::size_t PositionOf(const char* key) const {
        std::size_t position = weights[0][Index(key[0])];
        switch (keyLength) {
        case 4:
            position += weights[3][Index(key[3])];
            [[fallthrough]];
        case 3:
            position += weights[2][Index(key[2])];
            [[fallthrough]];
        case 2:
            position += weights[1][Index(key[1])];
            [[fallthrough]];
        default:
            return position;
        }
    }

    unsigned keyLength;
    std::array<std::array<std::uint32_t, 256>, MaxKeyLength> weights{};
    std::vector<Colour> table;
};

std::optional<Entry> ReadEntry(std::optional<std::string_view> row, unsigned keyLength) {
    if (!row || row->size() < keyLength)
        return std::nullopt;
    const auto colour = ReadColour(row->substr(keyLength));
    if (!colour)
        return std::nullopt;
    Entry entry;
    row->copy(entry.key.data(), keyLength);
    entry.colour = *colour;
    return entry;
}

template <typename Strings>
std::optional<std::vector<Entry>> ReadEntries(const Header& header, Strings& strings) {
    std::vector<Entry> entries;
    entries.reserve(std::min(header.colours, 1U << 16)); // a damaged header may promise more than the file has
    for (unsigned i = 0; i < header.colours; ++i) {
        const auto entry = ReadEntry(strings.Next(), header.keyLength);
        if (!entry)
            return std::nullopt;
        entries.push_back(*entry);
    }
    return entries;
}

bool HasTransparency(const std::vector<Entry>& entries) {
    return std::any_of(entries.begin(), entries.end(), [](const Entry& entry) { return entry.colour == Transparent; });
}

using Line = std::vector<Colour>;

// Fills the line, as many pixels as it is long.
bool ReadLine(std::optional<std::string_view> row, unsigned keyLength, const Palette& palette, Line& line) {
    if (!row || row->size() < line.size() * keyLength)
        return false;
    const char* key = row->data();
    for (Colour& pixel : line) {
        pixel = palette.Find(key);
        key += keyLength;
    }
    return std::find(line.begin(), line.end(), Unknown) == line.end();
}

void CopyColours(const Line& line, std::uint8_t* rgb) {
    for (const Colour colour : line) {
        *rgb++ = static_cast<std::uint8_t>(colour >> 16);
        *rgb++ = static_cast<std::uint8_t>(colour >> 8);
        *rgb++ = static_cast<std::uint8_t>(colour);
    }
}

void CopyAlpha(const Line& line, std::uint8_t* alpha) {
    for (const Colour colour : line)
        *alpha++ = static_cast<std::uint8_t>(colour >> 24);
}

XpmPicture EmptyPicture(const Header& header, bool hasAlpha) {
    XpmPicture picture;
    picture.width = header.width;
    picture.height = header.height;
    const std::size_t pixels = picture.width * picture.height;
    picture.rgb.resize(pixels * 3);
    picture.alpha.resize(hasAlpha ? pixels : 0);
    return picture;
}

template <typename Strings>
std::optional<XpmPicture> Decode(Strings strings) {
    const auto header = ReadHeader(strings.Next());
    if (!header)
        return std::nullopt;
    const auto entries = ReadEntries(*header, strings);
    Palette palette(header->keyLength);
    if (!entries || !palette.Fill(*entries))
        return std::nullopt;
    XpmPicture picture = EmptyPicture(*header, HasTransparency(*entries));
    Line line(picture.width);
    for (std::size_t y = 0; y < picture.height; ++y) {
        if (!ReadLine(strings.Next(), header->keyLength, palette, line))
            return std::nullopt;
        CopyColours(line, picture.rgb.data() + y * line.size() * 3);
        if (!picture.alpha.empty())
            CopyAlpha(line, picture.alpha.data() + y * line.size());
    }
    return picture;
}

} // namespace

std::optional<XpmPicture> DecodeXpm(const char* const* rows) {
    return Decode(XpmArray(rows));
}

std::optional<XpmPicture> DecodeXpm(std::string_view file) {
    return Decode(XpmFile(file));
}
