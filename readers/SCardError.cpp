#include "readers/SCardError.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace Vantor {

namespace {

struct ErrorName {
    unsigned long code;
    const char* name;
};

// The names that log readers know. Codes that PC/SC got later have none.
constexpr ErrorName errorNames[] = {
    {0, "Success"},
    {6, "ERROR_INVALID_HANDLE"},
    {0x80100001, "SCARD_F_INTERNAL_ERROR"},
    {0x80100002, "SCARD_E_CANCELLED"},
    {0x80100003, "SCARD_E_INVALID_HANDLE"},
    {0x80100004, "SCARD_E_INVALID_PARAMETER"},
    {0x80100005, "SCARD_E_INVALID_TARGET"},
    {0x80100006, "SCARD_E_NO_MEMORY"},
    {0x80100007, "SCARD_F_WAITED_TOO_LONG"},
    {0x80100008, "SCARD_E_INSUFFICIENT_BUFFER"},
    {0x80100009, "SCARD_E_UNKNOWN_READER"},
    {0x8010000A, "SCARD_E_TIMEOUT"},
    {0x8010000B, "SCARD_E_SHARING_VIOLATION"},
    {0x8010000C, "SCARD_E_NO_SMARTCARD"},
    {0x8010000D, "SCARD_E_UNKNOWN_CARD"},
    {0x8010000E, "SCARD_E_CANT_DISPOSE"},
    {0x8010000F, "SCARD_E_PROTO_MISMATCH"},
    {0x80100010, "SCARD_E_NOT_READY"},
    {0x80100011, "SCARD_E_INVALID_VALUE"},
    {0x80100012, "SCARD_E_SYSTEM_CANCELLED"},
    {0x80100013, "SCARD_F_COMM_ERROR"},
    {0x80100014, "SCARD_F_UNKNOWN_ERROR"},
    {0x80100015, "SCARD_E_INVALID_ATR"},
    {0x80100016, "SCARD_E_NOT_TRANSACTED"},
    {0x80100017, "SCARD_E_READER_UNAVAILABLE"},
    {0x80100018, "SCARD_P_SHUTDOWN"},
    {0x80100019, "SCARD_E_PCI_TOO_SMALL"},
    {0x8010001A, "SCARD_E_READER_UNSUPPORTED"},
    {0x8010001B, "SCARD_E_DUPLICATE_READER"},
    {0x8010001C, "SCARD_E_CARD_UNSUPPORTED"},
    {0x8010001D, "SCARD_E_NO_SERVICE"},
    {0x8010001E, "SCARD_E_SERVICE_STOPPED"},
    {0x80100065, "SCARD_W_UNSUPPORTED_CARD"},
    {0x80100066, "SCARD_W_UNRESPONSIVE_CARD"},
    {0x80100067, "SCARD_W_UNPOWERED_CARD"},
    {0x80100068, "SCARD_W_RESET_CARD"},
    {0x80100069, "SCARD_W_REMOVED_CARD"},
};

} // namespace

std::string LoggingHelper::SCardErrorToString(long code) {
    const auto bits = static_cast<unsigned long>(code);
    std::array<char, sizeof(" (0xffffffffffffffff, ffffffffffffffff)")> text{};
    // Log readers know both numbers as hexadecimal, the second one without its prefix.
    const int length = std::snprintf(text.data(), text.size(), " (0x%lx, %lx)", bits, bits);
    return {text.data(), static_cast<std::size_t>(length)};
}

const char* SCardErrorName(long code) {
    const auto* const known = std::find_if(std::begin(errorNames), std::end(errorNames), [=](const auto& row) {
        return row.code == static_cast<unsigned long>(code);
    });
    return known != std::end(errorNames) ? known->name : "Unknown Error";
}

} // namespace Vantor
