// The alphabets of Base64 in the form that the codec works with. Not for others: they use util/Base64.h.
#pragma once

#include "util/Base64.h"

#include <array>
#include <cstdint>

namespace Vantor {

/// An alphabet laid out for whole groups: no shifting, masking or checking digit by digit.
struct Base64Alphabet {
    /// The two digits of each 12-bit value, one pair after the other.
    std::array<char, 8192> pairs;
    /// For each place in a group of four, from a character to its digit value shifted to that place of the 24 bits;
    /// NO_DIGIT for every character that is none.
    std::array<std::array<std::uint32_t, 256>, 4> places;

    static constexpr std::uint32_t NO_DIGIT = 1U << 24;
};

extern const Base64Alphabet Alphabet_BASE64_DEFAULT;
extern const Base64Alphabet Alphabet_BASE64_URL;
extern const Base64Alphabet Alphabet_BASE64_YUI;
extern const Base64Alphabet Alphabet_BASE64_XML_NAME_TOKEN;
extern const Base64Alphabet Alphabet_BASE64_XML_IDENTIFIER;
extern const Base64Alphabet Alphabet_BASE64_PROGRAM_IDENTIFIER_V1;
extern const Base64Alphabet Alphabet_BASE64_PROGRAM_IDENTIFIER_V2;
extern const Base64Alphabet Alphabet_BASE64_REGEX;
extern const Base64Alphabet Alphabet_BASE64_FREENET;

} // namespace Vantor
