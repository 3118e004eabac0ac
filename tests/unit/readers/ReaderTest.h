// What the tests of the reader code share: a fresh simulated machine, and both log sinks in its record.
#pragma once

#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "readers/Logging.h"
#include "tests/fakes/FakePcsc.h"
#include "util/ByteArray.h"

/// Log lines stand in the record of calls as "error: …" and "message: …"; those of the sink for identification and
/// status words as "card error: …" and "card message: …".
class ReaderTest : public ::testing::Test {
protected:
    ReaderTest() {
        FakePcsc::Reset();
        Vantor::LibReaderImpl::SetErrorLoggingFunc([](const char* text) { Note("error: ", text); });
        Vantor::LibReaderImpl::SetMessageLoggingFunc([](const char* text) { Note("message: ", text); });
        Vantor::LibReaderAndCard::SetErrorLoggingFunc([](const char* text) { Note("card error: ", text); });
        Vantor::LibReaderAndCard::SetMessageLoggingFunc([](const char* text) { Note("card message: ", text); });
    }

    ~ReaderTest() override {
        EXPECT_TRUE(FakePcsc::ScriptIsUsedUp()) << "an answer was prepared for a call that was never made";
        RemoveCallbacks();
        Vantor::LibReaderImpl::EnableLogging();
    }

    static void RemoveCallbacks() {
        Vantor::LibReaderImpl::SetErrorLoggingFunc(nullptr);
        Vantor::LibReaderImpl::SetMessageLoggingFunc(nullptr);
        Vantor::LibReaderAndCard::SetErrorLoggingFunc(nullptr);
        Vantor::LibReaderAndCard::SetMessageLoggingFunc(nullptr);
    }

    /// The record's form of an error line with a PC/SC code: "error: TEXT  (0xCODE, CODE)".
    static std::string ErrorLine(const std::string& text, long code) {
        std::ostringstream line;
        line << "error: " << text << "  (0x" << std::hex << static_cast<unsigned long>(code) << ", "
             << static_cast<unsigned long>(code) << ")";
        return line.str();
    }

    static Vantor::ByteArray Bytes(const std::string& bytes) { return Vantor::ByteArray(bytes); }

private:
    static void Note(const char* kind, const char* text) { FakePcsc::Note(std::string(kind) + text); }
};
