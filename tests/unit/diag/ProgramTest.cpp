// The whole program in this process, with a stand-in for the PC/SC library, which can be called anything.
#include "diag/Program.h"

#include "tests/fakes/FakePcsc.h"
#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <reader.h>
#include <winscard.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include <unistd.h>

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace fs = std::filesystem;

namespace {

struct Outcome {
    int status = 0;
    std::string output;
    std::string errors;
};

class ProgramTest : public testing::Test {
protected:
    ProgramTest() { FakePcsc::Reset(); }
    ~ProgramTest() override { fs::remove_all("/etc/vantor"); }

    static Outcome Run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "lumodiag");
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        Outcome outcome;
        outcome.status = Diag::Run(static_cast<int>(arguments.size()), argv.data());
        outcome.output = testing::internal::GetCapturedStdout();
        outcome.errors = testing::internal::GetCapturedStderr();
        return outcome;
    }

    /// Follows the readers for a moment.
    static Outcome Watch(std::vector<std::string> arguments) {
        arguments.emplace_back("--watch");
        std::signal(SIGTERM, SIG_IGN); // until the watch takes it
        std::atomic<bool> isOver{false};
        std::thread hand([&isOver] {
            do {
                std::this_thread::sleep_for(std::chrono::milliseconds(700));
                kill(getpid(), SIGTERM);
            } while (!isOver);
        });
        Outcome outcome = Run(std::move(arguments));
        isOver = true;
        hand.join();
        std::signal(SIGTERM, SIG_DFL);
        return outcome;
    }

    test::TemporaryFolder folder;
};

/// Begins a line of its own, clears the screen, and turns the direction of writing.
constexpr char Evil[] = "Evil\n2026-01-01 [ERROR]: forged\x1B[2J\xC2\x9B\xE2\x80\xAE";

void ExpectPrintable(const std::string& text, const std::string& where) {
    EXPECT_THAT(text, HasSubstr("Evil\\")) << where;
    for (const char* const raw : {"\n2026-01-01 [", "\x1B", "\xC2\x9B", "\xE2\x80\xAE"}) {
        EXPECT_THAT(text, Not(HasSubstr(raw))) << where;
    }
}

} // namespace

TEST_F(ProgramTest, NothingThatOthersNameReachesATerminalOrALogRaw) {
    // given: evil names of a reader, of the home directory, of the socket and of the log file
    FakePcsc::AddReader({Evil});
    FakePcsc::Readers()[0].attributes = {{SCARD_ATTR_VENDOR_NAME, Evil}};
    const std::string home = folder / "Evil\x1B[2J";
    fs::create_directory(home);
    const test::Variable homeVariable("HOME", home);
    const test::Variable socket("PCSCLITE_CSOCK_NAME", std::string("/run/") + Evil);
    // then
    for (const char* const form : {"--lang=en", "--json"}) {
        ExpectPrintable(Run({form}).output, form);
    }
    static_cast<void>(Run({"--log=" + (folder / "report.log")}));
    ExpectPrintable(test::ReadText(folder / "report.log"), "the log");
    ExpectPrintable(Watch({"--log=" + (folder / "watch.log")}).output, "--watch");
    ExpectPrintable(test::ReadText(folder / "watch.log"), "the log of the watch");
    ExpectPrintable(Watch({"--json"}).output, "--watch --json");
    ExpectPrintable(Run({std::string("--log=/proc/none/") + Evil}).errors, "a complaint about the log");
    ExpectPrintable(Run({Evil}).errors, "a complaint about an argument");
}
