// The built program from outside: how it starts, and how it refuses to.
#include "tests/support/Pcscd.h"
#include "tests/system/Program.h"
#include "util/InstanceLock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>

#include <sys/mount.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using Support::Process;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

// A home where nothing is, with the lock of this user's copy.
std::string lockFile() {
    return std::string(std::getenv("HOME")) + "/LumoAdmin-root";
}

// Tells whether a program shows a window before it ends.
bool opensWindow(Process& process, const Support::Desktop& desktop) {
    bool shown = false;
    Support::waitUntil([&] {
        shown = shown || !desktop.windows(process.pid()).empty();
        return shown || !process.running();
    });
    return shown;
}

TEST(ProgramStart, ShowsItsWindowWithVersionAndFixedProcessorName) {
    EXPECT_EQ(Program().title(), "Administrative Funktionen (, x86)");
    ConfigFile::write(ConfigFile::document("<Version>2.0 \xC3\xA4</Version>"));
    EXPECT_EQ(Program().title(), "Administrative Funktionen (2.0 \xC3\xA4, x86)");
}

TEST(ProgramStart, FitsTheSmallestDisplay) {
    Program program;
    EXPECT_LE(program.extents().width, 800);
    EXPECT_LE(program.extents().height, 480);
}

TEST(ProgramStart, SaysNothingAndEndsWithSuccessOfThePersonsWill) {
    Program program;
    program.press(Texts::kCancel);
    const auto ending = program.ending();
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output, "");
    EXPECT_EQ(ending.errors, "");
}

TEST(ProgramStart, WritesNothingByItself) {
    Program program;
    program.closeByWindowManager();
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_FALSE(fs::exists("/etc/vantor/lumoclient/config"));
}

TEST(ProgramStart, MarksAnyReaderOnlyWhenTheConfigurationSaysSo) {
    {
        Program program;
        program.showPage(Texts::kReaders);
        EXPECT_FALSE(program.control("radio button", Texts::kAnyReader).checked());
        EXPECT_TRUE(program.control("radio button", Texts::kSelectedReaders).checked());
    }
    ConfigFile::write(ConfigFile::document(ConfigFile::reader(0, "*")));
    Program program;
    program.showPage(Texts::kReaders);
    EXPECT_TRUE(program.control("radio button", Texts::kAnyReader).checked());
    EXPECT_FALSE(program.control("radio button", Texts::kSelectedReaders).checked());
}

TEST(SecondCopy, EndsAtOnceAndSilently) {
    Program first;
    Process second({Program::path()}, Program::environment());
    EXPECT_FALSE(opensWindow(second, first.desktop()));
    const auto ending = second.wait();
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->signal, 0);
    EXPECT_NE(ending->status, 0);
    EXPECT_EQ(ending->output, "");
    EXPECT_EQ(ending->errors, "");
    EXPECT_TRUE(first.running());
}

TEST(SecondCopy, StartsOnceTheFirstHasEnded) {
    {
        Program first;
        EXPECT_TRUE(fs::exists(lockFile()));
        first.press(Texts::kCancel);
        EXPECT_EQ(first.ending().status, 0);
    }
    EXPECT_FALSE(fs::exists(lockFile()));
    EXPECT_THAT(Program().title(), HasSubstr("x86"));
}

TEST(SecondCopy, StartsAfterTheFirstWasKilled) {
    {
        Program first;
        EXPECT_TRUE(fs::exists(lockFile()));
    }
    EXPECT_TRUE(fs::exists(lockFile())) << "a killed copy leaves its lock";
    Program second;
    second.press(Texts::kCancel);
    EXPECT_EQ(second.ending().status, 0);
}

// As a power cut leaves it: the number belongs to some other process by now.
void leaveLock() {
    std::ofstream(lockFile()) << getpid() << '\0';
    fs::permissions(lockFile(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST(SecondCopy, StartsAfterAPowerCut) {
    leaveLock();
    Program program;
    program.press(Texts::kCancel);
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_FALSE(fs::exists(lockFile()));
}

TEST(SecondCopy, OfManyStartsAtOnceOneStays) {
    const Support::Desktop desktop;
    for (int round = 0; round < 5; ++round) {
        leaveLock();
        std::vector<std::unique_ptr<Process>> starts;
        for (int i = 0; i < 4; ++i)
            starts.push_back(
                std::make_unique<Process>(std::vector<std::string>{Program::path()}, Program::environment()));
        const auto running = [&] {
            return std::count_if(starts.begin(), starts.end(), [](const auto& start) { return start->running(); });
        };
        EXPECT_TRUE(Support::waitUntil([&] { return running() <= 1; })) << running() << " are running";
        const auto stayed =
            std::find_if(starts.begin(), starts.end(), [](const auto& start) { return start->running(); });
        ASSERT_NE(stayed, starts.end());
        EXPECT_TRUE(desktop.window((*stayed)->pid()).has_value());
        EXPECT_EQ(Vantor::FindRunningCopy(lockFile())->process, (*stayed)->pid());
    }
}

TEST(SecondCopy, OfAnotherUserOpensItsWindow) {
    // A mapped root has no second user to become.
    std::ifstream map("/proc/self/uid_map");
    unsigned long inside = 0;
    unsigned long outside = 0;
    unsigned long count = 0;
    map >> inside >> outside >> count;
    if (getuid() != 0 || count < 65535)
        GTEST_SKIP() << "this machine has one user only";
    Program first;
    const std::string home = std::getenv("HOME");
    fs::permissions(home, fs::perms::all);
    fs::permissions(fs::path(home).parent_path(), fs::perms::all);
    // The same home: only the names of the locks keep the two apart.
    Process second({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", Program::path()},
                   Program::environment({{"NO_AT_BRIDGE", "1"}, {"DBUS_SESSION_BUS_ADDRESS", "disabled:"}}));
    EXPECT_TRUE(opensWindow(second, first.desktop())) << second.errors();
    EXPECT_TRUE(fs::exists(home + "/LumoAdmin-nobody"));
    EXPECT_TRUE(first.running());
}

// With a display that is there, GTK would see nothing wrong with it.
constexpr auto kThisDisplay = "--display=";

class Arguments : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(Arguments, OpenNoWindow) {
    Support::Desktop desktop;
    std::vector<std::string> command{Program::path()};
    for (const auto& argument : GetParam())
        command.push_back(argument == kThisDisplay ? argument + std::getenv("DISPLAY") : argument);
    Process process(command, Program::environment());
    EXPECT_FALSE(opensWindow(process, desktop));
    const auto ending = process.wait();
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->signal, 0);
    EXPECT_NE(ending->status, 0);
    EXPECT_FALSE(fs::exists("/etc/vantor/lumoclient/config"));
}

INSTANTIATE_TEST_SUITE_P(All, Arguments,
                         testing::Values(std::vector<std::string>{"-h"}, std::vector<std::string>{"--help"},
                                         std::vector<std::string>{"--verbose"}, std::vector<std::string>{"file"},
                                         std::vector<std::string>{"-x", "y"}, std::vector<std::string>{"--"},
                                         std::vector<std::string>{""}));

// The desktop's toolkit has options of its own and would take them out of the command line.
INSTANTIATE_TEST_SUITE_P(OfTheDesktop, Arguments,
                         testing::Values(std::vector<std::string>{kThisDisplay}, std::vector<std::string>{"--sync"},
                                         std::vector<std::string>{"--gtk-debug=misc"},
                                         std::vector<std::string>{"--gdk-debug=misc"},
                                         std::vector<std::string>{"--g-fatal-warnings"},
                                         std::vector<std::string>{"--name=lumo", "--class=lumo"}));

TEST(Surroundings, WithoutAServiceShowAnEmptyListUntilItRuns) {
    Support::Pcscd::stop();
    Program program;
    program.showPage(Texts::kReaders);
    const auto empty = program.rowPicture(0);
    Support::Pcscd::start();
    program.press(Texts::kRefresh);
    EXPECT_TRUE(Support::waitUntil([&] { return program.rowPicture(0) != empty; }));
    EXPECT_TRUE(program.control("push button", Texts::kRefresh).enabled());
}

TEST(Surroundings, WithoutAHomeOpenTheWindow) {
    Program program(Process::Environment{{"HOME", ""}});
    EXPECT_THAT(program.title(), HasSubstr("x86"));
    program.press(Texts::kApply);
    EXPECT_EQ(ConfigFile::contentOnce(ConfigFile::withReaders("")), ConfigFile::withReaders(""));
}

TEST(Surroundings, WithAHomeThatCannotBeWrittenOpenTheWindow) {
    Program program(Process::Environment{{"HOME", "/proc/self/nowhere"}});
    EXPECT_EQ(program.title(), "Administrative Funktionen (, x86)");
    program.press(Texts::kApply);
    EXPECT_EQ(ConfigFile::contentOnce(ConfigFile::withReaders("")), ConfigFile::withReaders(""));
}

TEST(Surroundings, WhereTheDirectoryIsMissingAndCannotBeMadeOpenTheWindow) {
    fs::remove_all("/etc/vantor");
    ASSERT_EQ(mount("/etc", "/etc", "", MS_BIND, nullptr), 0);
    ASSERT_EQ(mount("", "/etc", "", MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    Program program;
    EXPECT_EQ(program.title(), "Administrative Funktionen (, x86)");
    program.press("OK");
    const auto ending = program.ending();
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.errors, "");
    EXPECT_FALSE(fs::exists("/etc/vantor"));
}

TEST(Surroundings, WithAFileInPlaceOfTheDirectoryOpenTheWindow) {
    fs::remove_all("/etc/vantor");
    std::ofstream("/etc/vantor") << "no directory";
    Program program;
    EXPECT_THAT(program.title(), HasSubstr("x86"));
    program.press("OK");
    const auto ending = program.ending();
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.errors, "");
}

TEST(Surroundings, WithAMalformedFileShowThePresets) {
    ConfigFile::write("<config><lumo_Client><Version>3.1</Version>");
    Program program;
    EXPECT_EQ(program.title(), "Administrative Funktionen (, x86)");
}

// With the message catalogues installed; the German texts are the message ids.
class Language : public testing::Test {
protected:
    void SetUp() override {
        for (const char* language : {"de", "en"}) {
            const auto folder = std::string("/etc/lumoclient/I18N/") + language + "/LC_MESSAGES";
            fs::create_directories(folder);
            fs::copy_file(std::string(LUMOADMIN_CATALOGUES) + "/" + language + "/LC_MESSAGES/LumoClient.mo",
                          folder + "/LumoClient.mo");
        }
    }

    static Process::Environment locale(const std::string& name) {
        return {{"LANG", name}, {"LOCPATH", name.size() > 7 ? TEST_LOCALES : ""}};
    }
};

TEST_F(Language, IsThatOfTheMachineAtFirst) {
    EXPECT_THAT(Program(locale("de_DE.UTF-8")).title(), HasSubstr("Administrative Funktionen"));
    EXPECT_THAT(Program(locale("en_GB.UTF-8")).title(), Not(HasSubstr("Funktionen")));
    EXPECT_THAT(Program(locale("C")).title(), Not(HasSubstr("Funktionen")));
}

TEST_F(Language, ThatWasChosenCountsFromTheNextStartOn) {
    {
        Program program(locale("de_DE.UTF-8"));
        program.showPage(Texts::kFurther);
        program.chooseLanguage("Englisch");
        program.press("OK");
        EXPECT_EQ(program.ending().status, 0);
    }
    EXPECT_THAT(ConfigFile::content(), HasSubstr("<Language>58</Language>"));
    Program english(locale("de_DE.UTF-8"));
    EXPECT_THAT(english.title(), Not(HasSubstr("Funktionen")));
    EXPECT_NO_THROW(static_cast<void>(english.control("push button", "Apply")));
}

class Locales : public testing::TestWithParam<const char*> {};

TEST_P(Locales, CarryAReaderFromWindowToFileAndBack) {
    Support::Pcscd::stop();
    Support::SimulatedReader(0).write("name", "Käse\n");
    Support::Pcscd::start();
    const std::string name = GetParam();
    const Process::Environment environment{{"LANG", name}, {"LOCPATH", name.size() > 7 ? TEST_LOCALES : ""}};
    std::vector<unsigned long> ticked;
    const auto expected = ConfigFile::withReaders(ConfigFile::reader(0, "Käse 00 00"));
    {
        Program program(environment);
        program.showPage(Texts::kReaders);
        program.tickRow(0);
        ticked = program.rowBox(0);
        program.press(Texts::kApply);
        EXPECT_EQ(ConfigFile::contentOnce(expected), expected);
        program.press(Texts::kCancel);
        const auto ending = program.ending();
        EXPECT_EQ(ending.status, 0);
        EXPECT_EQ(ending.errors, "");
    }
    Program program(environment);
    program.showPage(Texts::kReaders);
    EXPECT_TRUE(Support::waitUntil([&] { return program.rowBox(0) == ticked; }));
}

INSTANTIATE_TEST_SUITE_P(All, Locales, testing::Values("C", "C.UTF-8", "de_DE.UTF-8"));

} // namespace
