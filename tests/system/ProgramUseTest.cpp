// The built program from outside: what each control does, and what the configuration file holds afterwards.
#include "tests/support/Pcscd.h"
#include "tests/support/SimulatedReader.h"
#include "tests/system/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

using ConfigFile::contentOnce;
using ConfigFile::reader;
using ConfigFile::withReaders;
using Support::SimulatedReader;
using Support::waitUntil;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace Pcscd = Support::Pcscd;

std::string home() {
    return std::getenv("HOME");
}

std::string readerElements(const std::vector<int>& numbers) {
    std::string elements;
    int place = 0;
    for (const int number : numbers)
        elements += reader(place++, simulatedName(number));
    return elements;
}

class Readers : public testing::TestWithParam<int> {};

TEST_P(Readers, AreListedTickedAndSavedInTheirOrder) {
    const int count = GetParam();
    Pcscd::serve(count, "0,2,5");
    std::vector<int> all(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number)
        all[static_cast<std::size_t>(number)] = number;
    Program program;
    program.resize(800, 1000);
    program.showPage(Texts::kReaders);
    for (const int row : all)
        program.tickRow(row);
    program.clickRowBox(count);
    program.press("OK");
    const auto ending = program.ending();
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.errors, "");
    EXPECT_EQ(ConfigFile::content(), withReaders(readerElements(all)));
}

INSTANTIATE_TEST_SUITE_P(Counts, Readers, testing::Values(0, 1, 4, 16));

TEST(ReaderPage, ShowsWhatAnEarlierRunHasSaved) {
    Pcscd::serve(4, "none");
    std::vector<std::vector<unsigned long>> boxes;
    {
        Program program;
        program.showPage(Texts::kReaders);
        program.tickRow(1);
        program.tickRow(3);
        for (int row = 0; row < 4; ++row)
            boxes.push_back(program.rowBox(row));
        EXPECT_NE(boxes[0], boxes[1]);
        program.press("OK");
        EXPECT_EQ(program.ending().status, 0);
    }
    EXPECT_EQ(ConfigFile::content(), withReaders(readerElements({1, 3})));
    Program program;
    program.showPage(Texts::kReaders);
    for (int row = 0; row < 4; ++row)
        EXPECT_TRUE(waitUntil([&] { return program.rowBox(row) == boxes[static_cast<std::size_t>(row)]; })) << row;
    program.tickRow(1);
    program.press("OK");
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_EQ(ConfigFile::content(), withReaders(reader(0, simulatedName(3)) + "<Reader1/>"));
}

TEST(ReaderPage, KeepsOnlyTheAnyReaderEntryWhenAnyReaderMayBeUsed) {
    Program program;
    program.showPage(Texts::kReaders);
    program.tickRow(0);
    program.tickRow(1);
    program.toggle("radio button", Texts::kAnyReader);
    program.press(Texts::kApply);
    const auto expected = withReaders(reader(0, "*"));
    EXPECT_EQ(contentOnce(expected), expected);
}

TEST(ReaderPage, TakesNoMarksWhileAnyReaderMayBeUsed) {
    Program program;
    program.showPage(Texts::kReaders);
    program.toggle("radio button", Texts::kAnyReader);
    program.clickRowBox(0);
    program.toggle("radio button", Texts::kSelectedReaders);
    program.tickRow(1);
    program.press(Texts::kApply);
    const auto expected = withReaders(reader(0, simulatedName(1)));
    EXPECT_EQ(contentOnce(expected), expected);
}

TEST(ReaderPage, ForgetsUnsavedMarksAtARefresh) {
    Program program;
    program.showPage(Texts::kReaders);
    const auto unmarked = program.rowBox(0);
    program.tickRow(0);
    program.press(Texts::kRefresh);
    EXPECT_TRUE(waitUntil([&] { return program.rowBox(0) == unmarked; }));
}

TEST(ReaderPage, ListsAtARefreshWhatIsThereNow) {
    Program program;
    program.showPage(Texts::kReaders);
    const auto second = program.rowPicture(1);
    const auto none = program.rowPicture(2);
    EXPECT_NE(second, none);
    Pcscd::serve(1);
    program.press(Texts::kRefresh);
    EXPECT_TRUE(waitUntil([&] { return program.rowPicture(1) == none; }));
    Pcscd::serve(3);
    program.press(Texts::kRefresh);
    EXPECT_TRUE(waitUntil([&] { return program.rowPicture(1) == second && program.rowPicture(2) != none; }));
    program.tickRow(2);
    program.press("OK");
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_EQ(ConfigFile::content(), withReaders(readerElements({2})));
}

TEST(ReaderPage, SurvivesAServiceThatIsKilledDuringARefresh) {
    SimulatedReader first(0);
    Program program;
    program.showPage(Texts::kReaders);
    const auto listed = program.rowPicture(1);
    first.write("hang", "IFDHGetCapabilities\n");
    first.clearLog();
    program.press(Texts::kRefresh);
    EXPECT_TRUE(first.logged("IFDHGetCapabilities hangs"));
    Pcscd::kill();
    first.remove("hang");
    // Both readers stay listed, since their names were known; then there is nobody to ask.
    program.tickRow(1);
    program.press(Texts::kRefresh);
    EXPECT_TRUE(waitUntil([&] { return program.rowPicture(0) == program.rowPicture(5); }));
    Pcscd::start();
    program.press(Texts::kRefresh);
    EXPECT_TRUE(waitUntil([&] { return program.rowPicture(1) == listed; }));
    program.press(Texts::kCancel);
    EXPECT_EQ(program.ending().errors, "");
}

TEST(ReaderPage, LeavesNoContextOpenAtTheService) {
    Pcscd::serve(4, "0,2");
    Program program;
    program.showPage(Texts::kReaders);
    EXPECT_TRUE(waitUntil([] { return Pcscd::openContexts() == 0; }));
    SimulatedReader third(2);
    for (int round = 0; round < 5; ++round) {
        third.clearLog();
        program.press(Texts::kRefresh);
        ASSERT_TRUE(third.logged("IFDHPowerICC action=down"));
    }
    EXPECT_TRUE(waitUntil([] { return Pcscd::openContexts() == 0; }));
}

// Ticks the first reader in one run and saves untouched in a second: both leave the expected name in the file.
void expectNameInFile(const std::string& nameInFile) {
    const auto expected = withReaders(reader(0, nameInFile));
    {
        Program program;
        program.showPage(Texts::kReaders);
        program.tickRow(0);
        program.press("OK");
        EXPECT_EQ(program.ending().status, 0);
        EXPECT_EQ(ConfigFile::content(), expected);
    }
    Program program;
    program.press("OK");
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_EQ(ConfigFile::content(), expected) << "the second run did not know the reader again";
}

TEST(ReaderPage, SavesNamesWithCharactersThatXmlReserves) {
    Pcscd::stop();
    std::ofstream("/run/simreader/name-suffix") << " \"'";
    SimulatedReader(0).write("name", "Käse & Brot <frisch>\n");
    Pcscd::start();
    expectNameInFile("K\xC3\xA4se &amp; Brot &lt;frisch&gt; &quot;&apos; 00 00");
}

TEST(ReaderPage, SavesNamesThatAreNotUtf8ByteForByte) {
    Pcscd::stop();
    SimulatedReader(0).write("name", "Latin \xE4\xF6\n");
    Pcscd::start();
    expectNameInFile("Latin \xE4\xF6 00 00");
    // The driver's fault makes a file that strict XML readers refuse; it is not to be held against the schema.
    fs::remove("/etc/vantor/lumoclient/config");
}

TEST(Buttons, OkSavesAndCloses) {
    Program program;
    program.press("OK");
    const auto ending = program.ending();
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.errors, "");
    EXPECT_EQ(ConfigFile::content(), withReaders(""));
}

TEST(Buttons, ApplySavesAndStays) {
    Program program;
    program.press(Texts::kApply);
    EXPECT_EQ(contentOnce(withReaders("")), withReaders(""));
    program.showPage(Texts::kReaders);
    EXPECT_TRUE(program.running());
}

TEST(Buttons, CancelClosesWithoutSaving) {
    Program program;
    program.showPage(Texts::kReaders);
    program.tickRow(0);
    program.press(Texts::kCancel);
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_FALSE(fs::exists("/etc/vantor/lumoclient/config"));
}

TEST(Buttons, OfTheWindowManagerClosesWithoutSaving) {
    const auto before = withReaders(reader(0, simulatedName(1)));
    ConfigFile::write(before);
    Program program;
    program.showPage(Texts::kReaders);
    program.tickRow(0);
    program.showPage(Texts::kLogging);
    program.toggle("check box", Texts::kLoggingOn, 0);
    program.closeByWindowManager();
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_EQ(ConfigFile::content(), before);
}

TEST(Buttons, OfTheWindowsPageDoNothingHere) {
    Program program;
    program.showPage(Texts::kWindows);
    EXPECT_FALSE(program.control("push button", "Dienst installieren").enabled());
    program.press("Dienst installieren");
    program.press("Dienst neustarten");
    program.press(Texts::kCancel);
    const auto ending = program.ending();
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.errors, "");
    EXPECT_FALSE(fs::exists("/etc/vantor/lumoclient/config"));
}

TEST(LoggingPage, ShowsTheDirectoriesWhileLoggingIsOn) {
    Program program;
    program.showPage(Texts::kLogging);
    const auto shown = [&](std::size_t field) { return program.textFields().at(field).text(); };
    EXPECT_EQ(shown(0), "");
    EXPECT_EQ(shown(1), "");
    for (int round = 0; round < 2; ++round) {
        program.toggle("check box", Texts::kLoggingOn, 0);
        program.toggle("check box", Texts::kLoggingOn, 1);
        EXPECT_EQ(shown(0), home() + "/.vantor/lumo Client/Trace/");
        EXPECT_EQ(shown(1), "/etc/vantor/LumoMiniDriver/Log/");
        program.toggle("check box", Texts::kLoggingOn, 0);
        EXPECT_EQ(shown(0), "");
        program.toggle("check box", Texts::kLoggingOn, 1);
        EXPECT_EQ(shown(1), "");
    }
    EXPECT_TRUE(fs::is_directory(home() + "/.vantor/lumo Client/Trace"));
    EXPECT_TRUE(fs::is_directory("/etc/vantor/LumoMiniDriver/Log"));
}

std::string withLogging(int mode, int level, const std::string& fileName, int miniDriver) {
    return ConfigFile::document("<Trace><LogMode>" + std::to_string(mode) + "</LogMode><LogLevel>" +
                                    std::to_string(level) + "</LogLevel><Filename>" + fileName +
                                    "</Filename></Trace><CleanCertsOnRefresh>false</CleanCertsOnRefresh>"
                                    "<MakeDialogsStayOnTop>NO</MakeDialogsStayOnTop><Language>89</Language>",
                                "<EnableLogging>" + std::to_string(miniDriver) + "</EnableLogging>");
}

TEST(LoggingPage, SavesTheSwitchesAndKeepsTheFileNameWhenTheyAreOff) {
    const auto fileName = home() + "/.vantor/lumo Client/Trace/lumop11.log";
    Program program;
    program.showPage(Texts::kLogging);
    program.toggle("check box", Texts::kLoggingOn, 0);
    program.toggle("check box", Texts::kLoggingOn, 1);
    program.press(Texts::kApply);
    const auto on = withLogging(2, 128, fileName, 1);
    EXPECT_EQ(contentOnce(on), on);
    program.toggle("check box", Texts::kLoggingOn, 0);
    program.toggle("check box", Texts::kLoggingOn, 1);
    program.press(Texts::kApply);
    const auto off = withLogging(0, 0, fileName, 0);
    EXPECT_EQ(contentOnce(off), off);
}

TEST(LoggingPage, ShowsWhatAnEarlierRunHasSaved) {
    ConfigFile::write(withLogging(2, 128, "/somewhere/else", 1));
    Program program;
    program.showPage(Texts::kLogging);
    EXPECT_TRUE(program.control("check box", Texts::kLoggingOn, 0).checked());
    EXPECT_TRUE(program.control("check box", Texts::kLoggingOn, 1).checked());
    EXPECT_EQ(program.textFields().at(0).text(), home() + "/.vantor/lumo Client/Trace/");
    EXPECT_EQ(program.textFields().at(1).text(), "/etc/vantor/LumoMiniDriver/Log/");
}

// A file manager that writes down what it is asked to open.
class FileManager : public testing::Test {
protected:
    void SetUp() override { fs::create_directories(folder); }

    void install(const std::string& name, int status = 0) const {
        std::ofstream(folder + "/" + name)
            << "#!/bin/sh\nprintf '%s %s|\\n' " << name << " \"$*\" >>" << record << "\nexit " << status << "\n";
        fs::permissions(folder + "/" + name, fs::perms::owner_all);
    }
    [[nodiscard]] Support::Process::Environment environment() const { return {{"PATH", folder}}; }
    [[nodiscard]] std::string opened() const {
        std::ifstream stream(record);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    [[nodiscard]] std::string openedOnce(const std::string& expected) const {
        waitUntil([&] { return opened() == expected; });
        return opened();
    }

    const std::string folder = home() + "/commands";
    const std::string record = home() + "/opened";
    const std::string trace = home() + "/.vantor/lumo Client/Trace/";
    static constexpr auto miniDriver = "/etc/vantor/LumoMiniDriver/Log/";
};

TEST_F(FileManager, IsLeftAloneWhileLoggingIsOff) {
    install("gnome-open");
    Program program(environment());
    program.showPage(Texts::kLogging);
    for (const std::size_t box : {0U, 1U})
        program.desktop().click(program.control("push button", Texts::kOpenDirectory, box).extents());
    program.press(Texts::kCancel);
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_EQ(opened(), "");
}

TEST_F(FileManager, OpensTheDirectoryOfItsBox) {
    install("gnome-open", 3);
    install("nautilus");
    Program program(environment());
    program.showPage(Texts::kLogging);
    program.toggle("check box", Texts::kLoggingOn, 0);
    program.toggle("check box", Texts::kLoggingOn, 1);
    program.desktop().click(program.control("push button", Texts::kOpenDirectory, 0).extents());
    EXPECT_EQ(openedOnce("gnome-open " + trace + "|\n"), "gnome-open " + trace + "|\n");
    program.desktop().click(program.control("push button", Texts::kOpenDirectory, 1).extents());
    const auto both = "gnome-open " + trace + "|\ngnome-open " + miniDriver + "|\n";
    EXPECT_EQ(openedOnce(both), both);
}

TEST_F(FileManager, MayBeTheOtherOne) {
    install("nautilus");
    Program program(environment());
    program.showPage(Texts::kLogging);
    program.toggle("check box", Texts::kLoggingOn, 1);
    program.desktop().click(program.control("push button", Texts::kOpenDirectory, 1).extents());
    const auto expected = std::string("nautilus ") + miniDriver + "|\n";
    EXPECT_EQ(openedOnce(expected), expected);
}

TEST_F(FileManager, IsMissedInOneMessage) {
    Program program(environment());
    program.showPage(Texts::kLogging);
    program.toggle("check box", Texts::kLoggingOn, 0);
    program.desktop().click(program.control("push button", Texts::kOpenDirectory, 0).extents());
    const auto box = program.desktop().window(program.pid(), "Fehler");
    ASSERT_TRUE(box.has_value());
    EXPECT_NO_THROW(static_cast<void>(
        program.control("label", "Verzeichnis konnte nicht geöffnet werden (gnome-open und/oder nautilus Befehle nicht "
                                 "vorhanden)")));
    EXPECT_THAT(program.desktop().windows(program.pid()), SizeIs(2));
    program.press(*box, "Return");
    EXPECT_TRUE(waitUntil([&] { return program.desktop().windows(program.pid()).size() == 1; }));
}

TEST(Switches, OfTheWindowsPageAreSavedAndShownAgain) {
    {
        Program program;
        program.showPage(Texts::kWindows);
        program.toggle("check box", Texts::kCleanCertificates);
        program.toggle("check box", Texts::kDialogsOnTop);
        program.press("OK");
        EXPECT_EQ(program.ending().status, 0);
    }
    EXPECT_THAT(ConfigFile::content(), HasSubstr("<CleanCertsOnRefresh>true</CleanCertsOnRefresh>"
                                                 "<MakeDialogsStayOnTop>YES</MakeDialogsStayOnTop>"));
    Program program;
    program.showPage(Texts::kWindows);
    EXPECT_TRUE(program.control("check box", Texts::kCleanCertificates).checked());
    EXPECT_TRUE(program.control("check box", Texts::kDialogsOnTop).checked());
    program.toggle("check box", Texts::kCleanCertificates);
    program.press("OK");
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_THAT(ConfigFile::content(), HasSubstr("<CleanCertsOnRefresh>false</CleanCertsOnRefresh>"
                                                 "<MakeDialogsStayOnTop>YES</MakeDialogsStayOnTop>"));
}

TEST(Switches, OfTheLanguageAreSavedAndShownAgain) {
    {
        Program program;
        program.showPage(Texts::kFurther);
        EXPECT_EQ(program.textFields().at(0).text(), "Deutsch");
        program.chooseLanguage("Englisch");
        program.press("OK");
        EXPECT_EQ(program.ending().status, 0);
    }
    EXPECT_THAT(ConfigFile::content(), HasSubstr("<Language>58</Language>"));
    Program program;
    program.showPage(Texts::kFurther);
    EXPECT_EQ(program.textFields().at(0).text(), "Englisch");
    program.chooseLanguage("Deutsch");
    program.press("OK");
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_THAT(ConfigFile::content(), HasSubstr("<Language>89</Language>"));
}

TEST(Saving, KeepsWhatTheFileHoldsBesides) {
    ConfigFile::write(
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<config><lumo_Client><InstallDir>/opt/x</InstallDir>"
        "<Reader_Settings><Kept>1</Kept></Reader_Settings></lumo_Client><Other>&lt;2&gt;</Other></config>");
    Program program;
    program.press("OK");
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_EQ(
        ConfigFile::content(),
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<config><lumo_Client><InstallDir>/opt/x</InstallDir>"
        "<Reader_Settings><Kept>1</Kept></Reader_Settings><Trace><LogMode>0</LogMode><LogLevel>0</LogLevel></Trace>"
        "<CleanCertsOnRefresh>false</CleanCertsOnRefresh><MakeDialogsStayOnTop>NO</MakeDialogsStayOnTop>"
        "<Language>89</Language></lumo_Client><Other>&lt;2&gt;</Other>"
        "<LumoMiniDriver><EnableLogging>0</EnableLogging></LumoMiniDriver></config>");
}

TEST(Saving, ReplacesAllReadersThatWereThere) {
    std::string six;
    for (int number = 0; number < 6; ++number)
        six += reader(number, "Old " + std::to_string(number));
    ConfigFile::write(withReaders(six));
    Program program;
    program.showPage(Texts::kReaders);
    program.tickRow(0);
    program.tickRow(1);
    program.press("OK");
    EXPECT_EQ(program.ending().status, 0);
    EXPECT_EQ(ConfigFile::content(), withReaders(readerElements({0, 1}) + "<Reader2/><Reader3/><Reader4/><Reader5/>"));
}

} // namespace
