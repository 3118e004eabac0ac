// String helpers. Letter case, blanks and digits are those of ASCII, whatever locale is set; other bytes stay as they
// are.
#pragma once

#include <cstddef>
#include <string>

namespace Vantor {

/// What GenerateRandomString draws from: A-Z, a-z and 1-9, 61 characters. There is no 0, so that nobody reads it as an
/// O.
inline constexpr char VALUES[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                 "abcdefghijklmnopqrstuvwxyz"
                                 "123456789";

/// Compares without regard to case: the first `n` characters when `n` is positive, else all. Like strncmp and strcmp it
/// ends at a zero byte.
/// @return negative, 0 or positive
[[nodiscard]] int nocase_cmp(const std::string& a, const std::string& b, int n = 0);

/// Position of the first `what` in `text` at or after `from`, without regard to case; std::string::npos when there is
/// none. An empty `what` is found at `from`, up to the end of the text.
[[nodiscard]] std::size_t nocase_find(const std::string& text, const std::string& what, std::size_t from = 0);

/// Does the text begin, or end, with these characters, without regard to case? With no characters the answer is yes.
[[nodiscard]] bool nocase_StartsWith(const std::string& text, const std::string& prefix);
[[nodiscard]] bool nocase_EndsWith(const std::string& text, const std::string& suffix);

[[nodiscard]] std::string Str2Upper(std::string text);
[[nodiscard]] std::string Str2Lower(std::string text);

/// Drops everything before the first "<" and everything after the last ">". A missing mark cuts nothing on its side; a
/// text whose last ">" stands before its first "<" leaves nothing.
[[nodiscard]] std::string stripXMLRequest(const std::string& text);

/// The text without white space (blank, \t \n \v \f \r) at both ends.
[[nodiscard]] std::string TrimSpaces(const std::string& text);
/// Removes white space at the end in place.
void RemoveTrailingSpaces(std::string& text);

/// Replaces every `from`, left to right; what was inserted is not searched again. An empty `from` replaces nothing.
[[nodiscard]] std::string replaceAll(const std::string& text, const std::string& from, const std::string& to);

/// `n` characters of VALUES, none for `n` below 1. For names, not for secrets: the C library's generator is seeded with
/// the time in seconds on every call, so two calls within a second return the same text.
[[nodiscard]] std::string GenerateRandomString(int n);
/// GenerateRandomString(10).
[[nodiscard]] std::string GenerateRandomString();

/// Offset from `hay` of the first `needle` at or after `start` (a negative start counts as 0); lengths in bytes, zero
/// bytes are ordinary. An empty needle is found at `start`.
/// @return -1 when there is no match, a length is negative, or `start` is not below `hayLen`
[[nodiscard]] long MyMemfind(const char* hay, long hayLen, const char* needle, long needleLen, long start);

/// The tests of isdigit and isalpha in util/Conversion.h.
[[nodiscard]] bool IsDigit(char c);
[[nodiscard]] bool IsAlpha(char c);

[[nodiscard]] bool StringContainsChar(const std::string& text, char c);

} // namespace Vantor
