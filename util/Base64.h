// Base64 (RFC 4648) in fourteen variants of alphabet, line layout and padding.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace Vantor {

/// The variants. Any other value behaves like BASE64_DEFAULT.
enum eBase64Type : int {
    BASE64_PEM = 0,              ///< lines of 64 characters (RFC 7468)
    BASE64_MIME = 1,             ///< lines of 76 characters (RFC 2045); foreign characters do not stop the decoder
    BASE64_DEFAULT = 2,          ///< one line, padded (RFC 4648 section 4)
    BASE64_DEFAULT_UNPADDED = 3, ///< one line without padding, as are all from here on that do not say otherwise
    BASE64_URL_PADDED = 4,       ///< URL and file name alphabet (RFC 4648 section 5), padded
    BASE64_URL_UNPADDED = 5,
    BASE64_YUI = 6, ///< padded with "-"
    BASE64_XML_NAME_TOKEN = 7,
    BASE64_XML_IDENTIFIER = 8,
    BASE64_PROGRAM_IDENTIFIER_V1 = 9,
    BASE64_PROGRAM_IDENTIFIER_V2 = 10,
    BASE64_REGEX = 11,
    BASE64_FREENET = 12,      ///< padded
    BASE64_URL_ONE_LINE = 13, ///< as BASE64_URL_UNPADDED, but the decoder refuses line breaks
};

/// From a character to its digit value 0 to 63; 64 for the pad character, 255 for all others.
using Base64ReverseTable = std::array<unsigned short, 256>;

/// The reverse of an index table.
constexpr Base64ReverseTable MakeBase64ReverseTable(const char (&index)[66]) {
    Base64ReverseTable reverse{};
    for (auto& value : reverse)
        value = 255;
    for (unsigned short value = 0; value < 65; ++value)
        reverse[static_cast<unsigned char>(index[value])] = value;
    return reverse;
}

#define LETTERS_AND_DIGITS "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"

/// Index tables: the 64 digits in the order of their values, then the pad character; 65 characters and a terminating
/// zero. All begin with A-Z, a-z, 0-9. Each has its reverse table.
// clang-format off
inline constexpr char IndexTable_BASE64_DEFAULT[66]               = LETTERS_AND_DIGITS "+/=";
inline constexpr char IndexTable_BASE64_URL[66]                   = LETTERS_AND_DIGITS "-_=";
inline constexpr char IndexTable_BASE64_YUI[66]                   = LETTERS_AND_DIGITS "._-";
inline constexpr char IndexTable_BASE64_XML_NAME_TOKEN[66]        = LETTERS_AND_DIGITS ".- ";
inline constexpr char IndexTable_BASE64_XML_IDENTIFIER[66]        = LETTERS_AND_DIGITS "_: ";
inline constexpr char IndexTable_BASE64_PROGRAM_IDENTIFIER_V1[66] = LETTERS_AND_DIGITS "_- ";
inline constexpr char IndexTable_BASE64_PROGRAM_IDENTIFIER_V2[66] = LETTERS_AND_DIGITS "._ ";
inline constexpr char IndexTable_BASE64_REGEX[66]                 = LETTERS_AND_DIGITS "!- ";
inline constexpr char IndexTable_BASE64_FREENET[66]               = LETTERS_AND_DIGITS "~-=";

#undef LETTERS_AND_DIGITS

inline constexpr Base64ReverseTable ReverseIndexTable_BASE64_DEFAULT               = MakeBase64ReverseTable(IndexTable_BASE64_DEFAULT);
inline constexpr Base64ReverseTable ReverseIndexTable_BASE64_URL                   = MakeBase64ReverseTable(IndexTable_BASE64_URL);
inline constexpr Base64ReverseTable ReverseIndexTable_BASE64_YUI                   = MakeBase64ReverseTable(IndexTable_BASE64_YUI);
inline constexpr Base64ReverseTable ReverseIndexTable_BASE64_XML_NAME_TOKEN        = MakeBase64ReverseTable(IndexTable_BASE64_XML_NAME_TOKEN);
inline constexpr Base64ReverseTable ReverseIndexTable_BASE64_XML_IDENTIFIER        = MakeBase64ReverseTable(IndexTable_BASE64_XML_IDENTIFIER);
inline constexpr Base64ReverseTable ReverseIndexTable_BASE64_PROGRAM_IDENTIFIER_V1 = MakeBase64ReverseTable(IndexTable_BASE64_PROGRAM_IDENTIFIER_V1);
inline constexpr Base64ReverseTable ReverseIndexTable_BASE64_PROGRAM_IDENTIFIER_V2 = MakeBase64ReverseTable(IndexTable_BASE64_PROGRAM_IDENTIFIER_V2);
inline constexpr Base64ReverseTable ReverseIndexTable_BASE64_REGEX                 = MakeBase64ReverseTable(IndexTable_BASE64_REGEX);
inline constexpr Base64ReverseTable ReverseIndexTable_BASE64_FREENET               = MakeBase64ReverseTable(IndexTable_BASE64_FREENET);
// clang-format on

struct Base64Alphabet;

/// Encoder and decoder of one variant. A value class without shared state: one object may serve several threads as long
/// as none changes its settings.
class Base64 {
public:
    /// BASE64_DEFAULT.
    Base64();

    /// Selects a variant with all its settings; the line separator becomes CR LF where the variant has no other.
    void Init(eBase64Type newType);

    /// Stores the variant only; its settings come into force with ResetParametersToEncodingTypeDefaults.
    void SetEncodingType(eBase64Type newType);
    [[nodiscard]] eBase64Type GetEncodingType() const;

    /// Applies the settings of the stored variant. The line separator is left as it is, except that BASE64_URL_ONE_LINE
    /// empties it.
    void ResetParametersToEncodingTypeDefaults();

    /// Characters on a line of the encoded text, any number; 0 for one line.
    void SetLineLength(unsigned int characters);

    /// The text of the bytes. The line separator follows every full line, the last one too; a variant without padding
    /// ends with a digit.
    [[nodiscard]] std::string Encode(const std::vector<unsigned char>& data) const;
    /// The same into a buffer that does not overlap `data`, without a terminating zero.
    /// @param size  in: characters that `out` has room for; out: characters of the text
    /// @return false when `out` is too small or null: `size` then tells what is needed, and `out` is unchanged
    [[nodiscard]] bool Encode(const unsigned char* data, std::size_t length, char* out, std::size_t& size) const;

    /// The bytes of a text. Characters of the line separator are skipped wherever they stand, and so is the pad
    /// character where padding is allowed. A text may end within a group of four: one digit left over gives one byte,
    /// as two do.
    /// @return empty also when the text holds a character that the variant refuses
    [[nodiscard]] std::vector<unsigned char> Decode(const std::string& text) const;
    /// The same into a buffer that does not overlap `text`. Quickest when it has room for three bytes for every four
    /// characters, however many of them turn out not to count.
    /// @param size  in: bytes that `out` has room for; out: bytes of the result
    /// @return false when the variant refuses a character: `size` is 0 then, and the bytes in `out` mean nothing; also
    /// when
    ///         `out` is too small or null: `size` then tells what is needed
    [[nodiscard]] bool Decode(const char* text, std::size_t length, unsigned char* out, std::size_t& size) const;

protected:
    /// Digits that wait for their group of four to fill up. Those not there yet have the value 0.
    struct Group {
        std::array<unsigned char, 4> digits{};
        std::size_t count = 0;
    };

    /// Writes 1 to 3 bytes as four characters, padded.
    /// @return false for any other count; nothing is written then
    [[nodiscard]] bool EncodeBlock(const unsigned char* bytes, std::size_t count, char* out) const;

    /// Writes the bytes of a group and empties it: one byte for 1 or 2 digits, two for 3, three for 4.
    /// @return the end of what was written
    static unsigned char* DecodeBlock(Group& group, unsigned char* out);

private:
    /// A text before and after it is broken into lines.
    struct Layout {
        std::size_t flat;   // characters without separators
        std::size_t breaks; // separators
        std::size_t whole;  // characters with them
    };

    [[nodiscard]] Layout LayoutOf(std::size_t length) const;
    void EncodeInto(const unsigned char* data, std::size_t length, char* out, const Layout& layout) const;
    void EncodeFlat(const unsigned char* data, std::size_t length, char* out) const;
    void BreakLines(char* text, const Layout& layout) const;
    [[nodiscard]] const char* SkipSeparators(const char* text, const char* end) const;
    [[nodiscard]] bool DecodeInto(const char* text, std::size_t length, unsigned char* out, std::size_t& size) const;
    [[nodiscard]] bool DecodeCharacter(char c, Group& group) const;

    bool outputFlag = true; // strict decoding
    bool padding = true;
    std::string lineSeparator;
    unsigned int lineLength = 0;
    eBase64Type type = BASE64_DEFAULT;
    const char* indexTable = nullptr;
    const unsigned short* reverseIndexTable = nullptr;
    const Base64Alphabet* alphabet = nullptr; // the same tables in the form that is quickest to use
};

/// Encodes with BASE64_DEFAULT, in lines of 64 characters for `lineMode` 1, of 76 for 2, in one line for any other.
/// `out` is replaced; it may be the same object as `data`.
void b64encode(const std::vector<unsigned char>& data, std::string& out, unsigned int lineMode);
void b64encode(const std::vector<unsigned char>& data, std::vector<unsigned char>& out, unsigned int lineMode);

/// Decodes with BASE64_DEFAULT. `out` is replaced, by nothing when the text holds a character that is neither digit,
/// pad character nor line break; it may be the same object as `text`.
void b64decode(const std::string& text, std::vector<unsigned char>& out);
void b64decode(const std::vector<unsigned char>& text, std::vector<unsigned char>& out);

/// Base64::Encode of `length` bytes at `data` into a buffer, with BASE64_DEFAULT in lines of `lineLength` characters, 0
/// for one line.
[[nodiscard]] bool b64encode(const char* data, std::size_t length, char* out, std::size_t& size,
                             unsigned int lineLength);

/// Base64::Decode of `length` characters at `text` into a buffer, with BASE64_DEFAULT.
[[nodiscard]] bool b64decode(const char* text, std::size_t length, char* out, std::size_t& size);

} // namespace Vantor
