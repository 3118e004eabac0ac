// Numbers to text and back, code points to UTF-8, byte order. Pure functions, independent of the locale.
#pragma once

#include <string>

namespace Vantor {

/// Value of a hex text as strtol with base 16 finds it: white space, a sign and "0x" may stand in front, the first
/// other character ends it, 0 without any digit (or text). Cut to an int.
[[nodiscard]] int hex2int(const char* s);

/// Binary digits of `n`, most significant first, no leading zeros. 0 gives the empty string.
[[nodiscard]] std::string int2bin(unsigned int n);

/// Value of a binary digit string, modulo 2^32. Nothing is rejected: decimal digits above 1 count with their value
/// ("12" is 4), all other characters as 0.
[[nodiscard]] int bin2int(const std::string& s);

/// Value of a binary digit string, modulo 2^32; -1 when it holds anything but '0' and '1', 0 when it is empty or null.
[[nodiscard]] int bin2dec(const char* s);

/// UTF-8 encoding (RFC 3629) of a code point. Surrogates are encoded like any other value, of a value above 0x1FFFFF
/// only the low 21 bits count, in four bytes; a negative value gives its low byte; 0 gives one zero byte.
[[nodiscard]] std::string int2str(int codepoint);

/// True for '0' to '9' only.
[[nodiscard]] bool isdigit(char c);

/// True for 'A' to 'Z' and 'a' to 'z' only.
[[nodiscard]] bool isalpha(char c);

/// Reverses `len` bytes in place; nothing happens for a length below 2.
void ReverseBytes(unsigned char* p, int len);

/// The low 32 bits of `v` with their four bytes in reverse order; higher bits of a 64-bit long are dropped.
[[nodiscard]] unsigned long SwitchEndian(unsigned long v);

} // namespace Vantor
