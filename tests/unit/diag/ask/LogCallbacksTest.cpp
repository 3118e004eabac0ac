#include "diag/ask/LogCallbacks.h"

#include "config/Config.h"
#include "readers/Logging.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

Lines lines;

void TakeError(const char* text) {
    lines.push_back(std::string("error: ") + text);
}

void TakeNote(const char* text) {
    lines.push_back(std::string("note: ") + text);
}

void ReportFromEverywhere() {
    lines.clear();
    Vantor::LibReaderImpl::LogError("reader");
    Vantor::LibReaderImpl::LogMessage("reader");
    Vantor::LibReaderAndCard::LogError("card");
    Vantor::LibReaderAndCard::LogMessage("card");
    Vantor::LibConfig::LogError("configuration");
}

} // namespace

TEST(LogCallbacks, HearEveryPartOfTheFoundation) {
    Diag::InstallLogCallbacks(TakeError, TakeNote);
    ReportFromEverywhere();
    EXPECT_EQ(lines, (Lines{"error: reader", "note: reader", "error: card", "note: card", "error: configuration"}));
}

TEST(LogCallbacks, CanBeTakenAwayAgain) {
    Diag::InstallLogCallbacks(TakeError, TakeNote);
    Diag::InstallLogCallbacks(nullptr, nullptr);
    ReportFromEverywhere();
    EXPECT_TRUE(lines.empty());
}
