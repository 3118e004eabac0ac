// What the tests of the log engine share: a logger of its own in an empty folder, at a known time and place.
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "logging/Logging.h"
#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/logging/SystemCalls.h"

namespace test {

class LoggerTest : public testing::Test {
protected:
    LoggerTest() { tzset(); }

    /// Ready to write to `live`: initialised without rotation of old files, and enabled.
    void Open(unsigned int maxEntries = 10000) {
        log.Init(live, maxEntries, false);
        log.Enabled(true);
    }

    std::string Live() const { return ReadText(live); }
    /// The texts of a file's lines of type MESSAGE, without time and type.
    std::vector<std::string> Texts(const std::string& name) const {
        std::vector<std::string> texts;
        for (const auto& line : Lines(ReadText(folder / name))) {
            texts.push_back(line.substr(std::string("2026-03-01 14:05:09      MESSAGE ").size()));
        }
        return texts;
    }
    void LogTexts(const std::vector<std::string>& texts) {
        for (const auto& text : texts) {
            log.LogMessage(text);
        }
    }

    Variable timeZone{"TZ", centralEurope};
    Umask umask;
    Clock clock;
    TemporaryFolder folder;
    std::string live = folder / "trace.log";
    Vantor::LibLogging log{7};
};

} // namespace test
