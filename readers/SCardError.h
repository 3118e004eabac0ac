// PC/SC result codes as text.
#pragma once

#include <string>

namespace Vantor {

/// Formats PC/SC result codes for log lines.
class LoggingHelper {
public:
    /// The suffix of an error line: " (0xCODE, CODE)", both lower-case hexadecimal without leading zeros.
    [[nodiscard]] static std::string SCardErrorToString(long code);
};

/// The symbolic name of a PC/SC result code, such as "SCARD_E_NO_SMARTCARD"; "Unknown Error" for a code without one.
[[nodiscard]] const char* SCardErrorName(long code);

} // namespace Vantor
