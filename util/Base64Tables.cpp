#include "util/Base64Tables.h"

#include <cstddef>

namespace Vantor {

namespace {

constexpr Base64ReverseTable MakeReverse(const char* index) {
    Base64ReverseTable reverse{};
    for (auto& value : reverse)
        value = 255;
    for (unsigned short value = 0; value < 65; ++value)
        reverse[static_cast<unsigned char>(index[value])] = value;
    return reverse;
}

constexpr std::uint32_t PlaceValue(std::uint32_t value, std::size_t place) {
    return value < 64 ? value << (18 - 6 * place) : Base64Alphabet::NO_DIGIT;
}

constexpr Base64Alphabet MakeAlphabet(const char* index, const Base64ReverseTable& reverse) {
    Base64Alphabet alphabet{};
    for (std::size_t pair = 0; pair < 4096; ++pair) {
        alphabet.pairs[2 * pair] = index[pair >> 6];
        alphabet.pairs[2 * pair + 1] = index[pair & 0x3F];
    }
    for (std::size_t place = 0; place < 4; ++place)
        for (std::size_t c = 0; c < 256; ++c)
            alphabet.places[place][c] = PlaceValue(reverse[c], place);
    return alphabet;
}

} // namespace

#define LETTERS_AND_DIGITS                                                                                             \
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ"                                                                                       \
    "abcdefghijklmnopqrstuvwxyz"                                                                                       \
    "0123456789"

// clang-format off
constexpr char IndexTable_BASE64_DEFAULT[66]               = LETTERS_AND_DIGITS "+/=";
constexpr char IndexTable_BASE64_URL[66]                   = LETTERS_AND_DIGITS "-_=";
constexpr char IndexTable_BASE64_YUI[66]                   = LETTERS_AND_DIGITS "._-";
constexpr char IndexTable_BASE64_XML_NAME_TOKEN[66]        = LETTERS_AND_DIGITS ".- ";
constexpr char IndexTable_BASE64_XML_IDENTIFIER[66]        = LETTERS_AND_DIGITS "_: ";
constexpr char IndexTable_BASE64_PROGRAM_IDENTIFIER_V1[66] = LETTERS_AND_DIGITS "_- ";
constexpr char IndexTable_BASE64_PROGRAM_IDENTIFIER_V2[66] = LETTERS_AND_DIGITS "._ ";
constexpr char IndexTable_BASE64_REGEX[66]                 = LETTERS_AND_DIGITS "!- ";
constexpr char IndexTable_BASE64_FREENET[66]               = LETTERS_AND_DIGITS "~-=";

constexpr Base64ReverseTable ReverseIndexTable_BASE64_DEFAULT = MakeReverse(IndexTable_BASE64_DEFAULT);
constexpr Base64ReverseTable ReverseIndexTable_BASE64_URL = MakeReverse(IndexTable_BASE64_URL);
constexpr Base64ReverseTable ReverseIndexTable_BASE64_YUI = MakeReverse(IndexTable_BASE64_YUI);
constexpr Base64ReverseTable ReverseIndexTable_BASE64_XML_NAME_TOKEN = MakeReverse(IndexTable_BASE64_XML_NAME_TOKEN);
constexpr Base64ReverseTable ReverseIndexTable_BASE64_XML_IDENTIFIER = MakeReverse(IndexTable_BASE64_XML_IDENTIFIER);
constexpr Base64ReverseTable ReverseIndexTable_BASE64_PROGRAM_IDENTIFIER_V1 = MakeReverse(IndexTable_BASE64_PROGRAM_IDENTIFIER_V1);
constexpr Base64ReverseTable ReverseIndexTable_BASE64_PROGRAM_IDENTIFIER_V2 = MakeReverse(IndexTable_BASE64_PROGRAM_IDENTIFIER_V2);
constexpr Base64ReverseTable ReverseIndexTable_BASE64_REGEX = MakeReverse(IndexTable_BASE64_REGEX);
constexpr Base64ReverseTable ReverseIndexTable_BASE64_FREENET = MakeReverse(IndexTable_BASE64_FREENET);

constexpr Base64Alphabet Alphabet_BASE64_DEFAULT = MakeAlphabet(IndexTable_BASE64_DEFAULT, ReverseIndexTable_BASE64_DEFAULT);
constexpr Base64Alphabet Alphabet_BASE64_URL = MakeAlphabet(IndexTable_BASE64_URL, ReverseIndexTable_BASE64_URL);
constexpr Base64Alphabet Alphabet_BASE64_YUI = MakeAlphabet(IndexTable_BASE64_YUI, ReverseIndexTable_BASE64_YUI);
constexpr Base64Alphabet Alphabet_BASE64_XML_NAME_TOKEN = MakeAlphabet(IndexTable_BASE64_XML_NAME_TOKEN, ReverseIndexTable_BASE64_XML_NAME_TOKEN);
constexpr Base64Alphabet Alphabet_BASE64_XML_IDENTIFIER = MakeAlphabet(IndexTable_BASE64_XML_IDENTIFIER, ReverseIndexTable_BASE64_XML_IDENTIFIER);
constexpr Base64Alphabet Alphabet_BASE64_PROGRAM_IDENTIFIER_V1 = MakeAlphabet(IndexTable_BASE64_PROGRAM_IDENTIFIER_V1, ReverseIndexTable_BASE64_PROGRAM_IDENTIFIER_V1);
constexpr Base64Alphabet Alphabet_BASE64_PROGRAM_IDENTIFIER_V2 = MakeAlphabet(IndexTable_BASE64_PROGRAM_IDENTIFIER_V2, ReverseIndexTable_BASE64_PROGRAM_IDENTIFIER_V2);
constexpr Base64Alphabet Alphabet_BASE64_REGEX = MakeAlphabet(IndexTable_BASE64_REGEX, ReverseIndexTable_BASE64_REGEX);
constexpr Base64Alphabet Alphabet_BASE64_FREENET = MakeAlphabet(IndexTable_BASE64_FREENET, ReverseIndexTable_BASE64_FREENET);
// clang-format on

#undef LETTERS_AND_DIGITS

} // namespace Vantor
