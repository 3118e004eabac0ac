// The whole program in this process, with a stand-in for the PC/SC library, which can be called anything.
#include "diag/Program.h"

#include "tests/fakes/FakePcsc.h"
#include "tests/support/Environment.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <reader.h>
#include <winscard.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <thread>

#include <sched.h>
#include <sys/mount.h>
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

namespace {

/// Somebody's login, real name, HOME and machine: wherever it stands it is known to be a secret.
constexpr char Persons[] = "Kanarienvogel";
/// Nobody's: what hides it is that it is no known word.
constexpr char Nobodys[] = "Quittenbaum";
constexpr char Serial[] = "SN-77-4711-AB";

std::string Hex(const std::string& text, const std::string& before) {
    std::string digits;
    for (const char c : text) {
        digits += before + "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
        digits += "0123456789abcdef"[static_cast<unsigned char>(c) & 0xF];
    }
    return digits;
}

std::string LowerCase(std::string text) {
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

/// How the serial number and the words could be written in an output.
std::vector<std::string> Traces() {
    std::vector<std::string> traces{"sn-77-4711", "sn774711", "77471", "53 4e 2d 37", "77 47 11"};
    for (const std::string word : {Persons, Nobodys}) {
        for (const std::string& start : {word.substr(0, 4), LowerCase(word).substr(0, 4)}) {
            traces.insert(traces.end(), {Hex(start, ""), Hex(start, " ").substr(1), Hex(start.substr(0, 1), "\\u00")});
        }
        traces.push_back(LowerCase(word).substr(1, 1) + "\\x00" + word.substr(2, 1) + "\\x00" + word.substr(3, 1));
        traces.push_back(LowerCase(word).substr(2));
    }
    return traces;
}

/// In every text that a reader, a file, the environment or the machine can bring in stands the word.
class CanaryTest : public ProgramTest, public testing::WithParamInterface<const char*> {
protected:
    CanaryTest() {
        MakeReaders();
        MakeMachine();
        MakeFiles();
    }

    /// The text with the word in the place of each "@".
    static std::string Planted(const std::string& text) {
        return std::regex_replace(text, std::regex("@"), GetParam());
    }

    static void MakeReaders() {
        const std::string word = GetParam();
        std::string wide;
        for (const char c : word) {
            wide += {c, '\0'};
        }
        FakePcsc::Reader reader{Planted("Cherry @ (") + Serial + ") 00 00"};
        reader.attributes = {{SCARD_ATTR_VENDOR_NAME, word},
                             {SCARD_ATTR_VENDOR_IFD_TYPE, "sn 77 4711 ab"},
                             {SCARD_ATTR_DEVICE_UNIT, word},
                             {SCARD_ATTR_VENDOR_IFD_SERIAL_NO, Serial},
                             {SCARD_ATTR_DEVICE_SYSTEM_NAME_A, wide},
                             {SCARD_ATTR_DEVICE_FRIENDLY_NAME_A, "Reader 53 4E 2D 37 37 " + LowerCase(word)},
                             {SCARD_ATTR_CHANNEL_ID, word}};
        reader.controls = {{CM_IOCTL_GET_FEATURE_REQUEST, std::string("\x06\x04\x42\x33\x00\x06") + word}};
        FakePcsc::AddReader(reader);
        FakePcsc::AddReader({"Reader SN774711AB " + Hex(word.substr(0, 2), "\\x") + word.substr(2) + " 01 00"});
        FakePcsc::AddReader({Planted("\x01 @\n 02 00")});
    }

    /// Accounts, this machine's name, USB.
    void MakeMachine() {
        std::ofstream("/etc/passwd", std::ios::app)
            << "kanarienvogel:x:4711:4711:Karla Kanarienvogel,,,:/srv/Kanarienvogel:/bin/sh\n";
        std::ofstream("/etc/group", std::ios::app) << Planted("kanarienvogel:x:4711:\n@:x:4712:\n");
        if (mount("made-up", "/sys/bus", "tmpfs", 0, nullptr) == 0) {
            const std::string device = "/sys/bus/usb/devices/1-1";
            fs::create_directories(device);
            fs::create_directories(device + ":1.0");
            test::WriteText(device + ":1.0/bInterfaceClass", "0b\n");
            fs::create_directory_symlink(Planted("/sys/@"), device + ":1.0/driver");
            for (const char* const file : {"manufacturer", "product", "idVendor", "idProduct"}) {
                test::WriteText(device + "/" + file, GetParam());
            }
            test::WriteText(device + "/serial", Serial);
            hasUsb = true;
        }
    }

    ~CanaryTest() override {
        if (hasUsb) {
            umount("/sys/bus");
        }
    }

    void MakeFiles() const {
        fs::create_directories("/etc/vantor/lumoclient");
        fs::create_directories("/etc/vantor/LumoMiniDriver/Log");
        test::WriteText(Planted("/etc/vantor/LumoMiniDriver/Log/@.log"), "x");
        fs::create_directories(home + "/.vantor/lumo Client/Trace");
        test::WriteText(home + Planted("/.vantor/lumo Client/Trace/lumop11_@.log"), "x");
        Store("<!-- @ --><config><lumo_Client>"
              "<Version>@</Version><@>1</@><Language>175</Language>"
              "<MakeDialogsStayOnTop>@</MakeDialogsStayOnTop>"
              "<Trace><LogLevel>128</LogLevel><LogMode>2</LogMode><Filename>/home/@/@.log"
              "</Filename><@/></Trace>"
              "<Reader@><Reader>@</Reader><ReaderName>@</ReaderName>"
              "<CTAPI>C:\\@\\lib@.so</CTAPI><@>2</@></"
              "Reader@>"
              "<Reader1><Reader>PCSC Reader</Reader><ReaderName>Away @ 04 00</ReaderName></Reader1>"
              "</lumo_Client></config>");
        static_cast<void>(chown(File, 4711, 4712));
        static_cast<void>(Support::run({"setfacl", Planted("--modify=group:@:rw"), File}));
    }

    static void Store(const std::string& text) { test::WriteText(File, Planted(text)); }

    static void ExpectNone(const std::string& text, const std::string& where) {
        EXPECT_FALSE(text.empty()) << where;
        for (const std::string& trace : Traces()) {
            EXPECT_THAT(LowerCase(text), Not(HasSubstr(trace))) << where;
        }
    }

    /// Every output there is.
    void ExpectNoneAnywhere(const std::string& when) {
        ExpectNone(Run({"--redact", "--lang=en"}).output, when + ": text");
        ExpectNone(Run({"--redact", "--lang=de"}).output, when + ": German text");
        ExpectNone(Run({"--redact", "--json"}).output, when + ": JSON");
        static_cast<void>(Run({"--redact", "--log=" + (folder / "report.log")}));
        ExpectNone(test::ReadText(folder / "report.log"), when + ": log");
    }

    static constexpr char File[] = "/etc/vantor/lumoclient/config";
    const std::string home = folder / Persons;
    const test::Variable homeVariable{"HOME", home};
    const test::Variable socket{"PCSCLITE_CSOCK_NAME", Planted("/run/@/pcscd.comm")};
    const test::Variable user{"LOGNAME", Persons};
    bool hasUsb = false;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Words, CanaryTest, testing::Values(Persons, Nobodys));

TEST_P(CanaryTest, WithoutRedactionTheWordIsEverywhere) {
    const std::string text = Run({"--lang=en"}).output;
    std::size_t count = 0;
    for (std::size_t at = text.find(GetParam()); at != std::string::npos; at = text.find(GetParam(), at + 1)) {
        ++count;
    }
    EXPECT_GT(count, 20U) << "or the tests prove nothing";
}

TEST_P(CanaryTest, NoTextOfOthersIsPassedOn) {
    ExpectNoneAnywhere("a configuration with faults");
    Store("<config>\n<@></lumo_@>\n</config>");
    ExpectNoneAnywhere("mismatched tags");
    Store("<config><@</config>");
    ExpectNoneAnywhere("a broken tag");
    Store("<!DOCTYPE config [<!ENTITY @ '@'>]><config>&@;</config>");
    ExpectNoneAnywhere("an entity");
    Store("<config @='1' @='2'/><@/>");
    ExpectNoneAnywhere("two roots and a double attribute");
    Store("<?xml version='1.0' encoding='@'?><config/>");
    ExpectNoneAnywhere("an encoding");
    Store("<?@ @?><config @='@'><lumo_Client @='@'>&@;</lumo_Client></config>");
    ExpectNoneAnywhere("an instruction and attributes");
    Store("<config>@<lumo_Client/></config>@");
    ExpectNoneAnywhere("loose text");
    fs::remove(File);
    fs::create_symlink(Planted("/srv/@/config"), File);
    ExpectNoneAnywhere("a link");
    ASSERT_EQ(lchown(File, 4711, 4711), 0);
    ExpectNoneAnywhere("a link of somebody else's");
}

TEST_P(CanaryTest, NoTextOfOthersIsPassedOnByTheWatch) {
    ExpectNone(Watch({"--redact", "--log=" + (folder / "watch.log")}).output, "watch");
    ExpectNone(test::ReadText(folder / "watch.log"), "log of the watch");
    ExpectNone(Watch({"--redact", "--json"}).output, "watch in JSON");
}

TEST_P(CanaryTest, WhatWasTypedIsNotRepeated) {
    ExpectNone(Run({"--redact", Planted("--log=/proc/@/x")}).errors, "log");
    ExpectNone(Run({"--redact", Planted("@")}).errors, "argument");
    ExpectNone(Run({"--redact", Planted("--lang=@")}).errors, "language");
    ExpectNone(Run({"--redact", Planted("--@=@")}).errors, "option");
}

TEST_P(CanaryTest, TheNameOfTheMachineIsNotPassedOn) {
    // given: a name of its own for this process, which is a reader's word, too
    if (unshare(CLONE_NEWUTS) != 0 || sethostname("contactless", 11) != 0) {
        GTEST_SKIP() << "this machine grants no private name";
    }
    FakePcsc::Readers()[0].name = "Contactless Reader";
    EXPECT_THAT(LowerCase(Run({"--json"}).output), HasSubstr("contactless"));
    EXPECT_THAT(LowerCase(Run({"--json", "--redact"}).output), Not(HasSubstr("contactless")));
    static_cast<void>(Run({"--redact", "--log=" + (folder / "host.log")}));
    EXPECT_THAT(LowerCase(test::ReadText(folder / "host.log")), Not(HasSubstr("contactless")));
}

TEST_P(CanaryTest, FindingsAndExitStatusAreThoseOfTheWholeReport) {
    const auto kinds = [](const std::string& output) {
        std::vector<std::string> ids;
        const auto document = nlohmann::json::parse(output);
        for (const auto& finding : document.at("findings")) {
            ids.push_back(finding.at("id"));
        }
        return ids;
    };
    const Outcome whole = Run({"--json"});
    const Outcome redacted = Run({"--json", "--redact"});
    EXPECT_EQ(kinds(whole.output), kinds(redacted.output));
    EXPECT_EQ(whole.status, redacted.status);
}
