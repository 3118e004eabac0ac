// What a simulated reader says to one request, and the text form in which tests write it down.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace SimReader {

using Bytes = std::vector<std::uint8_t>;

/// One answer of the driver.
struct Answer {
    Bytes data;                     ///< bytes copied into the caller's buffer
    long code = 0;                  ///< IFD handler response code, IFD_SUCCESS (0) unless the text says "error"
    unsigned delayMilliseconds = 0; ///< pause before answering
    std::optional<std::size_t> claimedLength; ///< length reported instead of the true one: a lie
};

/// Reads hexadecimal digits in either case; blanks, tabs and colons between them count for nothing.
/// @return the bytes; nothing if the text holds another character or an odd number of digits
[[nodiscard]] std::optional<Bytes> parseHex(std::string_view text);

/// Upper-case hexadecimal digits without separators.
[[nodiscard]] std::string toHex(const std::uint8_t* data, std::size_t length);
[[nodiscard]] std::string toHex(const Bytes& data);

/// Reads "[delay MS] [length N] [error NAME] [HEX... | text TEXT | textz TEXT]"; an empty text is a success without
/// bytes. "text" takes the rest of the line as UTF-8, "textz" adds a terminating zero; NAME as in responseCodeByName.
/// @return nothing if a word is not understood
[[nodiscard]] std::optional<Answer> parseAnswer(std::string_view text);

/// Response code for the name of an IFD_ constant, also without its "IFD_" ("NO_SUCH_DEVICE") or "IFD_ERROR_" ("TAG"),
/// or for a decimal number. NOT_SUPPORTED is IFD_NOT_SUPPORTED.
[[nodiscard]] std::optional<long> responseCodeByName(std::string_view name);

/// "IFD_SUCCESS" and so on; the decimal number for codes without a name.
[[nodiscard]] std::string responseCodeName(long code);

/// Reads names and hexadecimal values of keys of a PIN pad: DIGIT OK CANCEL CLEAR CORRECTION ABORT, NONE for a poll
/// without a key, or the byte's two digits. One entry a poll; NONE is an empty one.
/// @return nothing if a word is not understood
[[nodiscard]] std::optional<std::vector<Bytes>> parseKeys(std::string_view text);

/// @return the text without blanks, tabs and line ends at both ends
[[nodiscard]] std::string_view trimmed(std::string_view text);

} // namespace SimReader
