#include "readers/SCardError.h"

#include <winscard.h>

#include <vector>

#include <gtest/gtest.h>

using Vantor::LoggingHelper;
using Vantor::SCardErrorName;

TEST(SCardError, ShowsTheCodeTwiceInLowerCaseHexadecimal) {
    EXPECT_EQ(LoggingHelper::SCardErrorToString(SCARD_E_NO_SMARTCARD), " (0x8010000c, 8010000c)");
    EXPECT_EQ(LoggingHelper::SCardErrorToString(SCARD_W_REMOVED_CARD), " (0x80100069, 80100069)");
}

TEST(SCardError, WritesNoLeadingZeros) {
    EXPECT_EQ(LoggingHelper::SCardErrorToString(0), " (0x0, 0)");
    EXPECT_EQ(LoggingHelper::SCardErrorToString(6), " (0x6, 6)");
}

TEST(SCardError, ShowsANegativeCodeAsUnsignedLong) {
    const std::string digits(2 * sizeof(long), 'f');
    EXPECT_EQ(LoggingHelper::SCardErrorToString(-1), " (0x" + digits + ", " + digits + ")");
}

TEST(SCardErrorName, IsTheSymbolOfEachCodeThatHasOne) {
    struct CodeName {
        unsigned long code;
        const char* name;
    };
    const std::vector<CodeName> cases = {{0, "Success"},
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
                                         // without a name: codes that came later, gaps, neighbours
                                         {static_cast<unsigned long>(SCARD_E_NO_READERS_AVAILABLE), "Unknown Error"},
                                         {0x8010001F, "Unknown Error"},
                                         {0x80100064, "Unknown Error"},
                                         {0x8010006A, "Unknown Error"},
                                         {0x80100000, "Unknown Error"},
                                         {1, "Unknown Error"},
                                         {5, "Unknown Error"},
                                         {7, "Unknown Error"}};
    for (const auto& [code, name] : cases) {
        EXPECT_STREQ(SCardErrorName(static_cast<long>(code)), name) << std::hex << code;
    }
}

TEST(SCardErrorName, FitsTheCodesOfThePcscHeaders) {
    EXPECT_STREQ(SCardErrorName(SCARD_E_SERVICE_STOPPED), "SCARD_E_SERVICE_STOPPED");
}
