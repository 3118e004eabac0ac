#include "util/ByteArray.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace Vantor {

namespace {

constexpr unsigned char NO_DIGIT = 0xFF;

constexpr char LOWER_DIGITS[] = "0123456789abcdef";
constexpr char UPPER_DIGITS[] = "0123456789ABCDEF";

/// The two hex digits of each byte value, one pair after the other.
constexpr std::array<char, 512> MakeDigitPairs(const char* digits) {
    std::array<char, 512> pairs{};
    for (std::size_t value = 0; value < 256; ++value) {
        pairs[2 * value] = digits[value >> 4];
        pairs[2 * value + 1] = digits[value & 0x0F];
    }
    return pairs;
}

constexpr std::array<unsigned char, 256> MakeDigitValues() {
    std::array<unsigned char, 256> values{};
    for (auto& value : values)
        value = NO_DIGIT;
    for (unsigned char digit = 0; digit < 16; ++digit) {
        values[static_cast<unsigned char>(LOWER_DIGITS[digit])] = digit;
        values[static_cast<unsigned char>(UPPER_DIGITS[digit])] = digit;
    }
    return values;
}

constexpr auto LOWER_PAIRS = MakeDigitPairs(LOWER_DIGITS);
constexpr auto UPPER_PAIRS = MakeDigitPairs(UPPER_DIGITS);
constexpr auto DIGIT_VALUES = MakeDigitValues();

unsigned char DigitValue(char c) {
    return DIGIT_VALUES[static_cast<unsigned char>(c)];
}

bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// What strtol makes of two characters that are not both digits: blanks and a sign may precede a digit.
unsigned char LoosePairValue(char first, char second) {
    const unsigned char high = DigitValue(first);
    const unsigned char low = DigitValue(second);
    if (high != NO_DIGIT) // a foreign second character ends the number; "0x" is a prefix without digits, so 0 as well
        return high;
    if (low == NO_DIGIT)
        return 0;
    if (first == '-')
        return static_cast<unsigned char>(-low);
    return first == '+' || IsBlank(first) ? low : 0;
}

unsigned char PairValue(char first, char second) {
    const unsigned char high = DigitValue(first);
    const unsigned char low = DigitValue(second);
    if ((high | low) < 16)
        return static_cast<unsigned char>(high << 4 | low);
    return LoosePairValue(first, second);
}

} // namespace

ByteArray::ByteArray(const std::string& bytes) : std::vector<unsigned char>(bytes.begin(), bytes.end()) {}

ByteArray::ByteArray(const std::wstring& text) {
    reserve(2 * text.size());
    for (const wchar_t c : text) {
        push_back(static_cast<unsigned char>(c & 0xFF));
        push_back(static_cast<unsigned char>((c >> 8) & 0xFF));
    }
}

ByteArray::ByteArray(std::vector<unsigned char> bytes) : std::vector<unsigned char>(std::move(bytes)) {}

ByteArray::ByteArray(const unsigned char* data, unsigned long len) : std::vector<unsigned char>(data, data + len) {}

ByteArray::ByteArray(unsigned int n) : std::vector<unsigned char>(n) {}

bool ByteArray::operator==(const ByteArray& other) const {
    return *this == static_cast<const std::vector<unsigned char>&>(other);
}

bool ByteArray::operator!=(const ByteArray& other) const {
    return !(*this == other);
}

bool ByteArray::operator==(const std::vector<unsigned char>& other) const {
    return this == &other || (size() == other.size() && std::equal(begin(), end(), other.begin()));
}

bool ByteArray::operator!=(const std::vector<unsigned char>& other) const {
    return !(*this == other);
}

void ByteArray::FromHexString(const std::string& text) {
    const std::size_t length = text.size();
    const auto at = [&](std::size_t position) { return position < length ? text[position] : '\0'; };
    std::size_t used = size();
    resize(used + (length + 1) / 2); // every byte takes two characters, only the last may have to do with one
    for (std::size_t i = 0; i < length; i += 2) {
        if (text[i] == ' ')
            ++i;
        (*this)[used++] = PairValue(at(i), at(i + 1));
    }
    resize(used);
}

std::string ByteArray::ToHexString(unsigned short flags) const {
    if (empty())
        throw std::out_of_range("ByteArray::ToHexString: no bytes");
    const auto& pairs = (flags & UPPERCASE) != 0 ? UPPER_PAIRS : LOWER_PAIRS;
    const std::size_t step = (flags & NOT_SPACED) != 0 ? 2 : 3;
    std::string text(step * (size() - 1) + 2, ' ');
    char* out = text.data();
    for (const unsigned char byte : *this) {
        std::memcpy(out, &pairs[std::size_t{2} * byte], 2);
        out += step;
    }
    return text;
}

void ByteArray::Add(const std::vector<unsigned char>& bytes) {
    Add(bytes.data(), bytes.size());
}

void ByteArray::Add(const unsigned char* data, unsigned long len) {
    if (len == 0)
        return;
    const std::less<const unsigned char*> before;
    const unsigned char* const old = this->data();
    const bool own = !before(data, old) && before(data, old + size());
    const std::size_t oldSize = size();
    const std::size_t offset = own ? static_cast<std::size_t>(data - old) : 0;
    resize(oldSize + len);
    const unsigned char* const source = own ? this->data() + offset : data;
    std::memcpy(this->data() + oldSize, source, len);
}

ByteArray ByteArray::SubArray(unsigned int start, unsigned int length) const {
    const unsigned int sum = start + length;
    const std::size_t end = std::min<std::size_t>(size(), sum);
    if (start >= end)
        return {};
    return {data() + start, static_cast<unsigned long>(end - start)};
}

ByteArray ByteArray::SubArray(unsigned int start) const {
    return SubArray(start, static_cast<unsigned int>(size()) - start);
}

std::string ByteArray::ToString() const {
    return {begin(), end()};
}

void ByteArray::RTrim(unsigned char b) {
    while (!empty() && back() == b)
        pop_back();
}

void ByteArray::LTrim(unsigned char b) {
    erase(begin(), std::find_if(begin(), end(), [b](unsigned char byte) { return byte != b; }));
}

void ByteArray::Trim(unsigned char b) {
    RTrim(b);
    LTrim(b);
}

void ByteArray::Reverse() {
    std::reverse(begin(), end());
}

void ByteArray::PadRight(unsigned int n, unsigned char b) {
    if (size() < n)
        resize(n, b);
}

void ByteArray::Padleft(unsigned int n, unsigned char b) {
    if (size() < n)
        insert(begin(), n - size(), b);
}

std::ostream& operator<<(std::ostream& out, const ByteArray& bytes) {
    return out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::istream& operator>>(std::istream& in, ByteArray& bytes) {
    char c = 0;
    for (std::size_t count = 0; count < bytes.size() && in >> c; ++count)
        bytes.push_back(static_cast<unsigned char>(c));
    return in;
}

bool LoadFromFile(const std::string& path, ByteArray& out) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file)
        return false;
    std::array<unsigned char, 1024> chunk{};
    for (std::size_t count = chunk.size(); count == chunk.size();) {
        count = std::fread(chunk.data(), 1, chunk.size(), file.get());
        out.Add(chunk.data(), count);
    }
    return true;
}

} // namespace Vantor
