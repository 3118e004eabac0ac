#include "util/Conversion.h"

#include <algorithm>
#include <cstdlib>

namespace Vantor {

namespace {

/// One byte of a UTF-8 sequence: the marker bits in front, below them the lowest free bits of `value`.
char SequenceByte(unsigned int marker, unsigned int freeBits, unsigned int value) {
    return static_cast<char>(marker | (value & ((1U << freeBits) - 1)));
}

char ContinuationByte(unsigned int value) {
    return SequenceByte(0x80, 6, value);
}

} // namespace

int hex2int(const char* s) {
    return s == nullptr ? 0 : static_cast<int>(std::strtol(s, nullptr, 16));
}

std::string int2bin(unsigned int n) {
    std::string digits;
    for (; n != 0; n >>= 1)
        digits.push_back((n & 1) != 0 ? '1' : '0');
    std::reverse(digits.begin(), digits.end());
    return digits;
}

int bin2int(const std::string& s) {
    unsigned int value = 0;
    for (const char c : s)
        value = 2 * value + (isdigit(c) ? static_cast<unsigned int>(c - '0') : 0);
    return static_cast<int>(value);
}

int bin2dec(const char* s) {
    unsigned int value = 0;
    for (; s != nullptr && *s != '\0'; ++s) {
        if (*s != '0' && *s != '1')
            return -1;
        value = 2 * value + static_cast<unsigned int>(*s - '0');
    }
    return static_cast<int>(value);
}

std::string int2str(int codepoint) {
    const auto value = static_cast<unsigned int>(codepoint);
    if (codepoint <= 0x7F)
        return {static_cast<char>(value & 0xFF)};
    if (codepoint <= 0x7FF)
        return {SequenceByte(0xC0, 5, value >> 6), ContinuationByte(value)};
    if (codepoint <= 0xFFFF)
        return {SequenceByte(0xE0, 4, value >> 12), ContinuationByte(value >> 6), ContinuationByte(value)};
    return {SequenceByte(0xF0, 3, value >> 18), ContinuationByte(value >> 12), ContinuationByte(value >> 6),
            ContinuationByte(value)};
}

bool isdigit(char c) {
    return c >= '0' && c <= '9';
}

bool isalpha(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

void ReverseBytes(unsigned char* p, int len) {
    if (len >= 2)
        std::reverse(p, p + len);
}

unsigned long SwitchEndian(unsigned long v) {
    return (v & 0xFF) << 24 | (v & 0xFF00) << 8 | (v >> 8 & 0xFF00) | (v >> 24 & 0xFF);
}

} // namespace Vantor
