#include "util/Base64.h"

#include "util/Base64Tables.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

namespace Vantor {

namespace {

constexpr unsigned short PAD_VALUE = 64;
constexpr unsigned short NO_VALUE = 255;

struct Settings {
    const Base64Alphabet* alphabet;
    unsigned int lineLength;
    bool padding;
    bool strict;
};

// In the order of eBase64Type.
constexpr Settings SETTINGS[] = {
    {&Alphabet_BASE64_DEFAULT, 64, true, true},
    {&Alphabet_BASE64_DEFAULT, 76, true, false},
    {&Alphabet_BASE64_DEFAULT, 0, true, true},
    {&Alphabet_BASE64_DEFAULT, 0, false, true},
    {&Alphabet_BASE64_URL, 0, true, true},
    {&Alphabet_BASE64_URL, 0, false, true},
    {&Alphabet_BASE64_YUI, 0, true, true},
    {&Alphabet_BASE64_XML_NAME_TOKEN, 0, false, true},
    {&Alphabet_BASE64_XML_IDENTIFIER, 0, false, true},
    {&Alphabet_BASE64_PROGRAM_IDENTIFIER_V1, 0, false, true},
    {&Alphabet_BASE64_PROGRAM_IDENTIFIER_V2, 0, false, true},
    {&Alphabet_BASE64_REGEX, 0, false, true},
    {&Alphabet_BASE64_FREENET, 0, true, true},
    {&Alphabet_BASE64_URL, 0, false, true},
};

const Settings& SettingsOf(eBase64Type type) {
    const auto index = static_cast<unsigned int>(type);
    return SETTINGS[index < std::size(SETTINGS) ? index : static_cast<unsigned int>(BASE64_DEFAULT)];
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

/// Decodes groups of four characters as long as all are digits, and moves both pointers past them.
void DecodeRun(const Base64Alphabet& alphabet, const unsigned char*& text, const unsigned char* end,
               unsigned char*& out) {
    const auto& places = alphabet.places;
    for (; end - text >= 4; text += 4, out += 3) {
        const std::uint32_t bits = places[0][text[0]] | places[1][text[1]] | places[2][text[2]] | places[3][text[3]];
        if (bits >= Base64Alphabet::NO_DIGIT)
            return;
        out[0] = static_cast<unsigned char>(bits >> 16);
        out[1] = static_cast<unsigned char>(bits >> 8);
        out[2] = static_cast<unsigned char>(bits);
    }
}

unsigned int LineLengthOf(unsigned int lineMode) {
    switch (lineMode) {
    case 1:
        return 64;
    case 2:
        return 76;
    default:
        return 0;
    }
}

std::string EncodeDefault(const unsigned char* data, std::size_t length, unsigned int lineLength) {
    Base64 codec;
    codec.SetLineLength(lineLength);
    return codec.Encode(data, length);
}

const char* AsText(const std::vector<unsigned char>& bytes) {
    return reinterpret_cast<const char*>(bytes.data());
}

/// Copies a result to a caller's buffer of `size` characters, if it fits; `size` becomes the size of the result.
template <class Result>
bool CopyOut(const Result& result, char* out, std::size_t& size) {
    const std::size_t room = out == nullptr ? 0 : size;
    size = result.size();
    if (size > room)
        return false;
    std::copy(result.begin(), result.end(), out);
    return true;
}

} // namespace

Base64::Base64() {
    Init(BASE64_DEFAULT);
}

void Base64::Init(eBase64Type newType) {
    lineSeparator = "\r\n";
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
    alphabet = settings.alphabet;
    indexTable = alphabet->indexTable;
    reverseIndexTable = alphabet->reverseIndexTable->data();
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

bool Base64::EncodeFlat(const unsigned char* data, std::size_t length, char* out) const {
    for (; length >= 12; length -= 12, data += 12, out += 16)
        EncodeTwelve(*alphabet, data, out);
    for (; length >= 3; length -= 3, data += 3, out += 4)
        EncodeThree(*alphabet, data, out);
    return length == 0 || EncodeBlock(data, length, out);
}

/// Spreads a text that stands at the end of its buffer over lines. What is still to be moved stays ahead of what is
/// written.
void Base64::BreakLines(char* text, std::size_t textLength, std::size_t flatLength) const {
    const char* rest = text + (textLength - flatLength);
    for (; flatLength >= lineLength; flatLength -= lineLength) {
        std::memmove(text, rest, lineLength);
        rest += lineLength;
        text = std::copy(lineSeparator.begin(), lineSeparator.end(), text + lineLength);
    }
    std::memmove(text, rest, flatLength);
}

void Base64::StripPadding(std::string& text) const {
    text.erase(text.find_last_not_of(lineSeparator + indexTable[PAD_VALUE]) + 1);
}

std::string Base64::Encode(const std::vector<unsigned char>& data) const {
    return Encode(data.data(), data.size());
}

std::string Base64::Encode(const unsigned char* data, std::size_t length) const {
    const std::size_t flatLength = length / 3 * 4 + (length % 3 == 0 ? 0 : 4);
    const std::size_t breaks = lineLength == 0 ? 0 : flatLength / lineLength;
    std::string text(flatLength + breaks * lineSeparator.size(), '\0');
    if (!EncodeFlat(data, length, text.data() + (text.size() - flatLength)))
        return {};
    if (breaks != 0)
        BreakLines(text.data(), text.size(), flatLength);
    if (!padding)
        StripPadding(text);
    return text;
}

unsigned char* Base64::DecodeBlock(Group& group, unsigned char* out) {
    // A lenient variant takes 255 for a digit, so the parts may overlap: they are added, and the low 8 bits count.
    const unsigned int d0 = group.digits[0];
    const unsigned int d1 = group.digits[1];
    const unsigned int d2 = group.digits[2];
    const unsigned int d3 = group.digits[3];
    const std::array<unsigned int, 3> bytes = {(d0 << 2) + ((d1 & 0x30) >> 4), (d1 << 4) + ((d2 & 0x3F) >> 2),
                                               (d2 << 6) + d3};
    const std::size_t used = group.count <= 2 ? 1 : group.count - 1;
    group = {};
    for (std::size_t i = 0; i < used; ++i)
        *out++ = static_cast<unsigned char>(bytes[i]);
    return out;
}

/// Takes one character into the group, if it is one that counts.
/// @return false when the variant refuses it
bool Base64::DecodeCharacter(unsigned char c, Group& group) const {
    if (lineSeparator.find(static_cast<char>(c)) != std::string::npos)
        return true;
    const unsigned short value = reverseIndexTable[c];
    if (outputFlag && (value == NO_VALUE || (value == PAD_VALUE && !padding)))
        return false;
    if (value != PAD_VALUE)
        group.digits[group.count++] = static_cast<unsigned char>(value);
    return true;
}

bool Base64::Decode(const char* text, std::size_t length, std::vector<unsigned char>& out) const {
    std::vector<unsigned char> bytes(length / 4 * 3 + length % 4);
    unsigned char* write = bytes.data();
    const auto* read = reinterpret_cast<const unsigned char*>(text);
    const unsigned char* const end = read + length;
    Group group;
    while (read != end) {
        if (group.count == 0)
            DecodeRun(*alphabet, read, end, write);
        if (read != end && !DecodeCharacter(*read++, group)) {
            out.clear();
            return false;
        }
        if (group.count == group.digits.size())
            write = DecodeBlock(group, write);
    }
    if (group.count > 0)
        write = DecodeBlock(group, write);
    bytes.resize(static_cast<std::size_t>(write - bytes.data()));
    out = std::move(bytes);
    return true;
}

std::vector<unsigned char> Base64::Decode(const std::string& text) const {
    std::vector<unsigned char> bytes;
    // A refused text gives no bytes, which is all that this form can tell.
    static_cast<void>(Decode(text.data(), text.size(), bytes));
    return bytes;
}

void b64encode(const std::vector<unsigned char>& data, std::string& out, unsigned int lineMode) {
    out = EncodeDefault(data.data(), data.size(), LineLengthOf(lineMode));
}

void b64encode(const std::vector<unsigned char>& data, std::vector<unsigned char>& out, unsigned int lineMode) {
    const std::string text = EncodeDefault(data.data(), data.size(), LineLengthOf(lineMode));
    out.assign(text.begin(), text.end());
}

bool b64encode(const char* data, std::size_t length, char* out, std::size_t& size, unsigned int lineLength) {
    return CopyOut(EncodeDefault(reinterpret_cast<const unsigned char*>(data), length, lineLength), out, size);
}

void b64decode(const std::string& text, std::vector<unsigned char>& out) {
    out = Base64().Decode(text);
}

void b64decode(const std::vector<unsigned char>& text, std::vector<unsigned char>& out) {
    std::vector<unsigned char> bytes;
    static_cast<void>(Base64().Decode(AsText(text), text.size(), bytes));
    out = std::move(bytes);
}

bool b64decode(const char* text, std::size_t length, char* out, std::size_t& size) {
    std::vector<unsigned char> bytes;
    if (!Base64().Decode(text, length, bytes)) {
        size = 0;
        return false;
    }
    return CopyOut(bytes, out, size);
}

} // namespace Vantor
