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

constexpr unsigned int NO_DIGIT = 0x100;

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

/// From a character to its value as a hex digit, shifted; NO_DIGIT or more for every character that is none.
constexpr std::array<unsigned short, 256> MakeDigitValues(unsigned int shift) {
    std::array<unsigned short, 256> values{};
    for (auto& value : values)
        value = NO_DIGIT;
    for (unsigned int digit = 0; digit < 16; ++digit) {
        const auto value = static_cast<unsigned short>(digit << shift);
        values[static_cast<unsigned char>(LOWER_DIGITS[digit])] = value;
        values[static_cast<unsigned char>(UPPER_DIGITS[digit])] = value;
    }
    return values;
}

constexpr auto LOWER_PAIRS = MakeDigitPairs(LOWER_DIGITS);
constexpr auto UPPER_PAIRS = MakeDigitPairs(UPPER_DIGITS);
constexpr auto HIGH_DIGITS = MakeDigitValues(4);
constexpr auto LOW_DIGITS = MakeDigitValues(0);

/// The value of two hex digits, NO_DIGIT or more when they are not both digits.
unsigned int DigitsValue(char high, char low) {
    return HIGH_DIGITS[static_cast<unsigned char>(high)] | LOW_DIGITS[static_cast<unsigned char>(low)];
}

bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// What strtol makes of two characters that are not both digits: a blank or a sign may precede a digit.
unsigned int LoosePairValue(char first, char second) {
    const unsigned int digit = LOW_DIGITS[static_cast<unsigned char>(first)];
    if (digit < NO_DIGIT) // the second character ends the number, and "0x" is a prefix without digits
        return digit;
    const unsigned int next = LOW_DIGITS[static_cast<unsigned char>(second)];
    if (next >= NO_DIGIT)
        return 0;
    if (first == '-')
        return 0U - next;
    return first == '+' || IsBlank(first) ? next : 0;
}

unsigned char PairValue(char first, char second) {
    const unsigned int value = DigitsValue(first, second);
    return static_cast<unsigned char>(value < NO_DIGIT ? value : LoosePairValue(first, second));
}

/// Reads pairs of digits as long as nothing else comes, each with one blank in front or each with none, and moves both
/// pointers past them. Fewer than three characters are left alone.
template <bool Spaced>
void ReadRun(const char*& in, const char* end, unsigned char*& out) {
    constexpr std::size_t BLANKS = Spaced ? 1 : 0;
    for (; end - in >= 3; in += BLANKS + 2) {
        const unsigned int value = DigitsValue(in[BLANKS], in[BLANKS + 1]);
        if (value >= NO_DIGIT || (Spaced && *in != ' '))
            return;
        *out++ = static_cast<unsigned char>(value);
    }
}

/// Reads the last characters, behind which zeros count.
unsigned char* ReadLastPairs(std::string text, unsigned char* out) {
    const std::size_t length = text.size();
    text.append(2, '\0');
    for (std::size_t i = 0; i < length; i += 2) {
        if (text[i] == ' ')
            ++i;
        *out++ = PairValue(text[i], text[i + 1]);
    }
    return out;
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
    const char* in = text.data();
    const char* const end = in + text.size();
    const std::size_t oldSize = size();
    resize(oldSize + (text.size() + 1) / 2); // every byte takes two characters, only the last may have to do with one
    unsigned char* out = data() + oldSize;
    while (end - in >= 3) {
        ReadRun<false>(in, end, out);
        ReadRun<true>(in, end, out);
        if (end - in < 3)
            break;
        if (*in == ' ')
            ++in;
        *out++ = PairValue(in[0], in[1]);
        in += 2;
    }
    if (in != end)
        out = ReadLastPairs({in, end}, out);
    resize(static_cast<std::size_t>(out - data()));
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
