#include "readers/SCardError.h"

#include <winscard.h>

#include <gtest/gtest.h>

using Vantor::LoggingHelper;

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
