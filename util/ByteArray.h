// The byte buffer for APDUs, answers to reset, PIN blocks and control transfers.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace Vantor {

/// A growable, contiguous sequence of bytes: a standard vector with hex text, slicing, trimming and padding added.
/// It adds no state to the vector's, so either may be handed to code that expects the other.
class ByteArray : public std::vector<unsigned char> {
public:
    /// Flags of ToHexString; they may be or-ed.
    static constexpr unsigned short UPPERCASE = 1;  ///< hex digits A-F instead of a-f
    static constexpr unsigned short NOT_SPACED = 2; ///< no blank between two bytes

    ByteArray() = default;
    /// The bytes of the string as they are, zero bytes included; hex text is not parsed.
    ByteArray(const std::string& bytes);
    /// Two bytes a character, low byte first: its low 16 bits as one UTF-16LE code unit. Higher bits are dropped, so a
    /// character outside the basic plane does not become a surrogate pair.
    ByteArray(const std::wstring& text);
    ByteArray(std::vector<unsigned char> bytes);
    /// A copy of `len` bytes at `data`, which may be null when `len` is 0.
    ByteArray(const unsigned char* data, unsigned long len);
    /// `n` zero bytes.
    explicit ByteArray(unsigned int n);

    bool operator==(const ByteArray& other) const;
    bool operator!=(const ByteArray& other) const;
    bool operator==(const std::vector<unsigned char>& other) const;
    bool operator!=(const std::vector<unsigned char>& other) const;

    /// Appends the bytes of a hex text, two digits a byte, each pair with at most one blank in front. Nothing is
    /// rejected: a pair has the value, cut to a byte, that strtol with base 16 finds in it ("zz" 0, "5z" 5, "-1" 255),
    /// and characters past the end count as zero ("abc" gives AB 0C, "0A " gives 0A 00).
    void FromHexString(const std::string& text);

    /// Two hex digits a byte, by default in lower case with one blank between bytes; never a blank at the end.
    /// @throws std::out_of_range when the array is empty
    [[nodiscard]] std::string ToHexString(unsigned short flags) const;

    /// Appends the bytes, which may be the array's own.
    void Add(const std::vector<unsigned char>& bytes);
    /// Appends `len` bytes at `data`, which may point into the array itself and may be null when `len` is 0.
    void Add(const unsigned char* data, unsigned long len);

    /// The bytes from index `start` up to, not including, `start + length` or the end, whichever comes first; empty
    /// when nothing lies between. The sum is taken modulo 2^32.
    [[nodiscard]] ByteArray SubArray(unsigned int start, unsigned int length) const;
    /// The bytes from index `start` to the end; empty when `start` is at or past the end.
    [[nodiscard]] ByteArray SubArray(unsigned int start) const;

    /// The bytes as they are, one a character, zero bytes included.
    [[nodiscard]] std::string ToString() const;

    /// Removes all bytes equal to `b` at the end, at the front, or at both.
    void RTrim(unsigned char b);
    void LTrim(unsigned char b);
    void Trim(unsigned char b);

    /// Reverses the order of the bytes in place.
    void Reverse();

    /// Adds bytes `b` at the end, or at the front, up to a size of `n`; a longer array stays as it is.
    void PadRight(unsigned int n, unsigned char b);
    void Padleft(unsigned int n, unsigned char b);
};

/// Writes the bytes unformatted, whatever width or base is set on the stream.
std::ostream& operator<<(std::ostream& out, const ByteArray& bytes);

/// Appends characters read by formatted extraction (white space is skipped) while fewer have been read than the array
/// then holds: an empty array reads nothing, any other reads until extraction fails. Kept for old callers; new code
/// should not build on it.
std::istream& operator>>(std::istream& in, ByteArray& bytes);

/// Appends the content of a file to `out`. A read error ends the reading as the end of the file does.
/// @return false when the file cannot be opened; `out` is unchanged then
[[nodiscard]] bool LoadFromFile(const std::string& path, ByteArray& out);

} // namespace Vantor
