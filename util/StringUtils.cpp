#include "util/StringUtils.h"

#include "util/Conversion.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>

namespace Vantor {

namespace {

constexpr const char* WHITE_SPACE = " \t\n\v\f\r";
constexpr unsigned int VALUES_COUNT = sizeof VALUES - 1;

char ToLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char ToUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool EqualNoCase(char a, char b) {
    return ToLower(a) == ToLower(b);
}

/// As std::string::find, which takes quadratic time where much nearly matches; the C library's search is linear.
std::size_t Find(const std::string& text, const std::string& what, std::size_t from) {
    if (from > text.size())
        return std::string::npos;
    const void* const match = memmem(text.data() + from, text.size() - from, what.data(), what.size());
    return match == nullptr ? std::string::npos
                            : static_cast<std::size_t>(static_cast<const char*>(match) - text.data());
}

} // namespace

int nocase_cmp(const std::string& a, const std::string& b, int n) {
    const auto limit = n > 0 ? static_cast<std::size_t>(n) : std::numeric_limits<std::size_t>::max();
    const char* left = a.c_str();
    const char* right = b.c_str();
    for (std::size_t i = 0; i < limit; ++i) {
        const auto l = static_cast<unsigned char>(ToLower(left[i]));
        const auto r = static_cast<unsigned char>(ToLower(right[i]));
        if (l != r || l == 0)
            return l - r;
    }
    return 0;
}

std::size_t nocase_find(const std::string& text, const std::string& what, std::size_t from) {
    return Find(Str2Lower(text), Str2Lower(what), from);
}

bool nocase_StartsWith(const std::string& text, const std::string& prefix) {
    return prefix.size() <= text.size() && std::equal(prefix.begin(), prefix.end(), text.begin(), EqualNoCase);
}

bool nocase_EndsWith(const std::string& text, const std::string& suffix) {
    return suffix.size() <= text.size() && std::equal(suffix.rbegin(), suffix.rend(), text.rbegin(), EqualNoCase);
}

std::string Str2Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), ToUpper);
    return text;
}

std::string Str2Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), ToLower);
    return text;
}

std::string stripXMLRequest(const std::string& text) {
    const std::size_t open = text.find('<');
    const std::size_t close = text.rfind('>');
    const std::size_t begin = open == std::string::npos ? 0 : open;
    const std::size_t end = close == std::string::npos ? text.size() : close + 1;
    return begin < end ? text.substr(begin, end - begin) : std::string();
}

std::string TrimSpaces(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(WHITE_SPACE);
    if (begin == std::string::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(WHITE_SPACE) + 1 - begin);
}

void RemoveTrailingSpaces(std::string& text) {
    text.erase(text.find_last_not_of(WHITE_SPACE) + 1);
}

std::string replaceAll(const std::string& text, const std::string& from, const std::string& to) {
    if (from.empty())
        return text;
    std::string result;
    std::size_t copied = 0;
    for (std::size_t match = 0; (match = Find(text, from, copied)) != std::string::npos; copied = match + from.size())
        result.append(text, copied, match - copied).append(to);
    return result.append(text, copied, std::string::npos);
}

std::string GenerateRandomString(int n) {
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
    std::string text;
    for (int i = 0; i < n; ++i)
        text.push_back(VALUES[static_cast<unsigned int>(std::rand()) % VALUES_COUNT]);
    return text;
}

std::string GenerateRandomString() {
    return GenerateRandomString(10);
}

long MyMemfind(const char* hay, long hayLen, const char* needle, long needleLen, long start) {
    const long first = std::max(start, 0L);
    if (hayLen < 0 || needleLen < 0 || first >= hayLen || needleLen > hayLen - first)
        return -1;
    if (needleLen == 0)
        return first;
    const void* const match =
        memmem(hay + first, static_cast<std::size_t>(hayLen - first), needle, static_cast<std::size_t>(needleLen));
    return match == nullptr ? -1 : static_cast<long>(static_cast<const char*>(match) - hay);
}

bool IsDigit(char c) {
    return isdigit(c);
}

bool IsAlpha(char c) {
    return isalpha(c);
}

bool StringContainsChar(const std::string& text, char c) {
    return text.find(c) != std::string::npos;
}

} // namespace Vantor
