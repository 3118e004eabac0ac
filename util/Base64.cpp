#include "util/Base64.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

namespace Vantor {

namespace {

constexpr const char* CR_LF = "\r\n";
constexpr unsigned short PAD_VALUE = 64;
constexpr unsigned short NO_VALUE = 255;

} // namespace

/// An alphabet laid out for whole groups: no shifting, masking or checking digit by digit.
struct Base64Alphabet {
    static constexpr std::uint32_t NO_DIGIT = 1U << 24;

    constexpr Base64Alphabet(const char (&indexTable)[66], const Base64ReverseTable& reverseTable)
        : index(indexTable), reverse(reverseTable.data()) {
        for (std::size_t pair = 0; pair < 4096; ++pair) {
            pairs[2 * pair] = index[pair >> 6];
            pairs[2 * pair + 1] = index[pair & 0x3F];
        }
        for (std::size_t place = 0; place < 4; ++place)
            for (std::size_t c = 0; c < 256; ++c)
                places[place][c] = reverse[c] < PAD_VALUE ? std::uint32_t{reverse[c]} << (18 - 6 * place) : NO_DIGIT;
    }

    const char* index;
    const unsigned short* reverse;
    /// The two digits of each 12-bit value, one pair after the other.
    std::array<char, 8192> pairs{};
    /// For each place in a group of four, from a character to its digit value shifted to that place of the 24 bits;
    /// NO_DIGIT for every character that is none.
    std::array<std::array<std::uint32_t, 256>, 4> places{};
};

namespace {

#define ALPHABET(name) constexpr Base64Alphabet name(IndexTable_BASE64_##name, ReverseIndexTable_BASE64_##name)
ALPHABET(DEFAULT);
ALPHABET(URL);
ALPHABET(YUI);
ALPHABET(XML_NAME_TOKEN);
ALPHABET(XML_IDENTIFIER);
ALPHABET(PROGRAM_IDENTIFIER_V1);
ALPHABET(PROGRAM_IDENTIFIER_V2);
ALPHABET(REGEX);
ALPHABET(FREENET);
#undef ALPHABET

struct Settings {
    const Base64Alphabet& alphabet;
    unsigned int lineLength;
    bool padding;
    bool strict;
};

// In the order of eBase64Type.
constexpr Settings SETTINGS[] = {
    {DEFAULT, 64, true, true},
    {DEFAULT, 76, true, false},
    {DEFAULT, 0, true, true},
    {DEFAULT, 0, false, true},
    {URL, 0, true, true},
    {URL, 0, false, true},
    {YUI, 0, true, true},
    {XML_NAME_TOKEN, 0, false, true},
    {XML_IDENTIFIER, 0, false, true},
    {PROGRAM_IDENTIFIER_V1, 0, false, true},
    {PROGRAM_IDENTIFIER_V2, 0, false, true},
    {REGEX, 0, false, true},
    {FREENET, 0, true, true},
    {URL, 0, false, true},
};

const Settings& SettingsOf(eBase64Type type) {
    const auto index = static_cast<unsigned int>(type);
    return SETTINGS[index < std::size(SETTINGS) ? index : static_cast<unsigned int>(BASE64_DEFAULT)];
}

const unsigned char* AsBytes(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

std::uint32_t BigEndian32(const unsigned char* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
           static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
}

/// Writes the two digits of the low 12 bits.
void PutPair(const Base64Alphabet& alphabet, std::uint32_t bits, char* out) {
    std::memcpy(out, &alphabet.pairs[std::size_t{2} * (bits & 0xFFF)], 2);
}

/// Twelve bytes are three words and eight pairs of digits without a remainder.
void EncodeTwelve(const Base64Alphabet& alphabet, const unsigned char* bytes, char* out) {
    const std::uint32_t a = BigEndian32(bytes);
    const std::uint32_t b = BigEndian32(bytes + 4);
    const std::uint32_t c = BigEndian32(bytes + 8);
    PutPair(alphabet, a >> 20, out);
    PutPair(alphabet, a >> 8, out + 2);
    PutPair(alphabet, a << 4 | b >> 28, out + 4);
    PutPair(alphabet, b >> 16, out + 6);
    PutPair(alphabet, b >> 4, out + 8);
    PutPair(alphabet, b << 8 | c >> 24, out + 10);
    PutPair(alphabet, c >> 12, out + 12);
    PutPair(alphabet, c, out + 14);
}

void EncodeThree(const Base64Alphabet& alphabet, const unsigned char* bytes, char* out) {
    const std::uint32_t bits =
        static_cast<std::uint32_t>(bytes[0]) << 16 | static_cast<std::uint32_t>(bytes[1]) << 8 | bytes[2];
    PutPair(alphabet, bits >> 12, out);
    PutPair(alphabet, bits, out + 2);
}

/// The 24 bits of four characters; NO_DIGIT or more when one of them is no digit.
std::uint32_t DecodeFour(const Base64Alphabet& alphabet, const unsigned char* group) {
    const auto& places = alphabet.places;
    return places[0][group[0]] | places[1][group[1]] | places[2][group[2]] | places[3][group[3]];
}

/// Decodes groups of four characters as long as all are digits, and moves both pointers past them.
void DecodeRun(const Base64Alphabet& alphabet, const char*& text, const char* end, unsigned char*& out) {
    const unsigned char* from = AsBytes(text);
    unsigned char* to = out; // bytes could be anything, the pointers themselves included; copies are out of their way
    for (std::ptrdiff_t groups = (end - text) / 4; groups > 0; --groups, from += 4, to += 3) {
        const std::uint32_t bits = DecodeFour(alphabet, from);
        if (bits >= Base64Alphabet::NO_DIGIT)
            break;
        to[0] = static_cast<unsigned char>(bits >> 16);
        to[1] = static_cast<unsigned char>(bits >> 8);
        to[2] = static_cast<unsigned char>(bits);
    }
    text += from - AsBytes(text);
    out = to;
}

unsigned int LineLengthOf(unsigned int lineMode) {
    return lineMode == 1 ? 64 : lineMode == 2 ? 76 : 0;
}

/// Digits that `length` bytes take.
std::size_t DigitCount(std::size_t length) {
    constexpr std::array<std::size_t, 3> LAST_DIGITS = {0, 2, 3};
    return length / 3 * 4 + LAST_DIGITS[length % 3];
}

/// Room for the bytes of `length` characters, whichever of them count.
std::size_t DecodedBound(std::size_t length) {
    return length / 4 * 3 + length % 4;
}

} // namespace

Base64::Base64() : lineSeparator(CR_LF) {
    ResetParametersToEncodingTypeDefaults();
}

void Base64::Init(eBase64Type newType) {
    lineSeparator = CR_LF;
    type = newType;
    ResetParametersToEncodingTypeDefaults();
}

void Base64::SetEncodingType(eBase64Type newType) {
    type = newType;
}

eBase64Type Base64::GetEncodingType() const {
    return type;
}

void Base64::ResetParametersToEncodingTypeDefaults() {
    const Settings& settings = SettingsOf(type);
    outputFlag = settings.strict;
    padding = settings.padding;
    lineLength = settings.lineLength;
    indexTable = settings.alphabet.index;
    reverseIndexTable = settings.alphabet.reverse;
    alphabet = &settings.alphabet;
    if (type == BASE64_URL_ONE_LINE)
        lineSeparator.clear();
}

void Base64::SetLineLength(unsigned int characters) {
    lineLength = characters;
}

bool Base64::EncodeBlock(const unsigned char* bytes, std::size_t count, char* out) const {
    if (count < 1 || count > 3)
        return false;
    const unsigned int second = count > 1 ? bytes[1] : 0;
    const unsigned int third = count > 2 ? bytes[2] : 0;
    out[0] = indexTable[bytes[0] >> 2];
    out[1] = indexTable[(bytes[0] & 0x03U) << 4 | second >> 4];
    out[2] = indexTable[count > 1 ? (second & 0x0F) << 2 | third >> 6 : PAD_VALUE];
    out[3] = indexTable[count > 2 ? third & 0x3F : PAD_VALUE];
    return true;
}

Base64::Layout Base64::LayoutOf(std::size_t length) const {
    const std::size_t digits = DigitCount(length);
    const std::size_t flat = padding ? (digits + 3) / 4 * 4 : digits;
    if (lineLength == 0 || flat == 0)
        return {flat, 0, flat};
    // Without padding nothing follows the last digit, not even a separator.
    const std::size_t broken = padding ? flat : flat - 1;
    const std::size_t breaks = broken < lineLength ? 0 : broken / lineLength; // a division takes a while
    return {flat, breaks, flat + breaks * lineSeparator.size()};
}

void Base64::EncodeInto(const unsigned char* data, std::size_t length, char* out, const Layout& layout) const {
    if (layout.breaks != 0 && lineLength % 4 != 0) {
        EncodeInto(data, length, out + (layout.whole - layout.flat), {layout.flat, 0, layout.flat});
        BreakLines(out, layout);
        return;
    }
    // Lines of whole groups stand in their places at once.
    for (std::size_t breaks = layout.breaks;; --breaks) {
        const std::size_t bytes = breaks != 0 ? std::min(std::size_t{lineLength} / 4 * 3, length) : length;
        EncodeFlat(data, bytes, out);
        if (breaks == 0)
            return;
        data += bytes;
        length -= bytes;
        out += lineLength;
        for (const char c : lineSeparator)
            *out++ = c;
    }
}

void Base64::EncodeFlat(const unsigned char* data, std::size_t length, char* out) const {
    for (; length >= 12; length -= 12, data += 12, out += 16)
        EncodeTwelve(*alphabet, data, out);
    for (; length >= 3; length -= 3, data += 3, out += 4)
        EncodeThree(*alphabet, data, out);
    std::array<char, 4> last{};
    if (EncodeBlock(data, length, last.data()))
        std::copy_n(last.begin(), padding ? 4 : DigitCount(length), out);
}

/// Spreads a text that stands at the end of its buffer over lines. What is still to be moved stays ahead of what is
/// written, and the last line stands in its place already.
void Base64::BreakLines(char* text, const Layout& layout) const {
    const char* rest = text + (layout.whole - layout.flat);
    for (std::size_t i = 0; i < layout.breaks; ++i) {
        std::memmove(text, rest, lineLength);
        rest += lineLength;
        text += lineLength;
        for (const char c : lineSeparator)
            *text++ = c;
    }
}

std::string Base64::Encode(const std::vector<unsigned char>& data) const {
    const Layout layout = LayoutOf(data.size());
    std::string text(layout.whole, '\0');
    EncodeInto(data.data(), data.size(), text.data(), layout);
    return text;
}

bool Base64::Encode(const unsigned char* data, std::size_t length, char* out, std::size_t& size) const {
    const Layout layout = LayoutOf(length);
    const bool fits = out != nullptr && layout.whole <= size;
    size = layout.whole;
    if (fits)
        EncodeInto(data, length, out, layout);
    return fits || size == 0;
}

unsigned char* Base64::DecodeBlock(Group& group, unsigned char* out) {
    // A lenient variant takes 255 for a digit, so the parts may overlap: they are added, and the low 8 bits count.
    const unsigned int d0 = group.digits[0];
    const unsigned int d1 = group.digits[1];
    const unsigned int d2 = group.digits[2];
    const unsigned int d3 = group.digits[3];
    const std::array<unsigned int, 3> bytes = {(d0 << 2) + ((d1 & 0x30) >> 4), (d1 << 4) + ((d2 & 0x3F) >> 2),
                                               (d2 << 6) + d3};
    const std::size_t count = group.count;
    group = {};
    for (std::size_t i = 0; i < bytes.size() && (i == 0 || i + 1 < count); ++i)
        *out++ = static_cast<unsigned char>(bytes[i]);
    return out;
}

const char* Base64::SkipSeparators(const char* text, const char* end) const {
    const auto isSeparator = [this](char c) {
        for (const char separator : lineSeparator)
            if (c == separator)
                return true;
        return false;
    };
    while (text != end && isSeparator(*text))
        ++text;
    return text;
}

/// Takes a character that is no separator into the group, if it is a digit.
/// @return false when the variant refuses it
bool Base64::DecodeCharacter(char c, Group& group) const {
    const unsigned short value = reverseIndexTable[static_cast<unsigned char>(c)];
    if (outputFlag && (value == NO_VALUE || (value == PAD_VALUE && !padding)))
        return false;
    if (value != PAD_VALUE)
        group.digits[group.count++] = static_cast<unsigned char>(value);
    return true;
}

bool Base64::DecodeInto(const char* text, std::size_t length, unsigned char* out, std::size_t& size) const {
    const char* const end = text + length;
    unsigned char* write = out;
    Group group;
    size = 0;
    for (;;) {
        if (group.count == 0)
            DecodeRun(*alphabet, text, end, write);
        const char* const start = text;
        text = SkipSeparators(text, end);
        if (text == end)
            break;
        if (text != start)
            continue; // a line begins, and with it most likely a run
        if (!DecodeCharacter(*text++, group))
            return false;
        if (group.count == group.digits.size())
            write = DecodeBlock(group, write);
    }
    if (group.count > 0)
        write = DecodeBlock(group, write);
    size = static_cast<std::size_t>(write - out);
    return true;
}

std::vector<unsigned char> Base64::Decode(const std::string& text) const {
    std::vector<unsigned char> bytes(DecodedBound(text.size()));
    std::size_t size = 0;
    if (!DecodeInto(text.data(), text.size(), bytes.data(), size))
        return {};
    bytes.resize(size);
    return bytes;
}

bool Base64::Decode(const char* text, std::size_t length, unsigned char* out, std::size_t& size) const {
    const std::size_t room = size;
    if (out != nullptr && room >= DecodedBound(length))
        return DecodeInto(text, length, out, size);
    std::vector<unsigned char> bytes(DecodedBound(length));
    if (!DecodeInto(text, length, bytes.data(), size))
        return false;
    const bool fits = out != nullptr && size <= room;
    if (fits)
        std::copy_n(bytes.begin(), size, out);
    return fits || size == 0;
}

void b64encode(const std::vector<unsigned char>& data, std::string& out, unsigned int lineMode) {
    Base64 codec;
    codec.SetLineLength(LineLengthOf(lineMode));
    std::size_t size = out.size();
    const bool fits = codec.Encode(data.data(), data.size(), out.data(), size);
    out.resize(size);
    if (!fits)
        static_cast<void>(codec.Encode(data.data(), data.size(), out.data(), size));
}

void b64encode(const std::vector<unsigned char>& data, std::vector<unsigned char>& out, unsigned int lineMode) {
    std::string text;
    b64encode(data, text, lineMode);
    out.assign(text.begin(), text.end());
}

bool b64encode(const char* data, std::size_t length, char* out, std::size_t& size, unsigned int lineLength) {
    Base64 codec;
    codec.SetLineLength(lineLength);
    return codec.Encode(AsBytes(data), length, out, size);
}

void b64decode(const std::string& text, std::vector<unsigned char>& out) {
    out.resize(DecodedBound(text.size()));
    std::size_t size = out.size();
    static_cast<void>(Base64().Decode(text.data(), text.size(), out.data(), size)); // a bad text has the size 0
    out.resize(size);
}

void b64decode(const std::vector<unsigned char>& text, std::vector<unsigned char>& out) {
    b64decode(std::string(text.begin(), text.end()), out);
}

bool b64decode(const char* text, std::size_t length, char* out, std::size_t& size) {
    return Base64().Decode(text, length, reinterpret_cast<unsigned char*>(out), size);
}

} // namespace Vantor
