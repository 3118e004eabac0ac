// Bytes of drivers and files as text that is safe to print.
#pragma once

#include <string>
#include <string_view>

namespace Diag {

/// Upper-case hexadecimal pairs with a blank between them.
[[nodiscard]] std::string HexBytes(std::string_view bytes);

/// The bytes as UTF-8 text: terminating zeros are left out; control characters, which could steer a terminal or begin a
/// line of a log, characters that are not seen or turn the direction of writing, and bytes that are no UTF-8 become
/// "\xNN". What goes out is made printable where it goes out, by whatever writes a report, a line or a complaint; a
/// text that is printable stays as it is.
[[nodiscard]] std::string Printable(std::string_view bytes);

/// Whether Printable has nothing to replace.
[[nodiscard]] bool IsPrintable(std::string_view bytes);

} // namespace Diag
