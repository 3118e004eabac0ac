// Whole reports of a real machine: against golden files, against the schema, and against the clock.
#include "readers/EnumReaders.h"
#include "tests/support/Environment.h"
#include "tests/system/DiagTest.h"
#include "tests/system/PcscClient.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <regex>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

void date(const std::string& file, std::time_t time) {
    const timespec times[] = {{time, 0}, {time, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
}

// Something of everything: good and lying readers, one that the test holds, one on USB that is not listed, a
// configuration with faults, logs.
class WholeReport : public testing::Test {
protected:
    void SetUp() override {
        Lumodiag::installCatalogs();
        Pcscd::serve(4, "0,2");
        Pcscd::stop();
        makeReaders();
        Pcscd::start();
        makeUsb();
        makeConfiguration();
        ASSERT_EQ(other.emplace().connect("Office Reader 02 00", SCARD_SHARE_EXCLUSIVE), SCARD_S_SUCCESS);
    }

    static void makeReaders() {
        const SimulatedReader pinPad(0);
        pinPad.write("name", "REINER SCT cyberJack RFID standard (0987654321)\n");
        pinPad.write("serial-number", "0987654321\n");
        pinPad.write("features", "06 04 42 33 00 06  07 04 42 33 00 07  0A 04 42 33 00 0A\n");
        const SimulatedReader keyboard(1);
        keyboard.write("name", "Cherry SmartBoard XX44\n");
        keyboard.write("attributes", "00010100 -> length 5000 41\n00010101 -> 1B 5B 32 4A\n");
        SimulatedReader(2).write("name", "Office Reader\n");
        SimulatedReader(3).write("name", "Käse & Söhne\n");
    }

    static void makeUsb() {
        ASSERT_EQ(Support::run({"mount", "-t", "tmpfs", "made-up", "/sys/bus"}).status, 0);
        fs::create_directories("/sys/bus/usb/devices/1-1");
        fs::create_directories("/sys/bus/usb/devices/1-1:1.0");
        test::WriteText("/sys/bus/usb/devices/1-1:1.0/bInterfaceClass", "0b\n");
        test::WriteText("/sys/bus/usb/devices/1-1/idVendor", "08e6\n");
        test::WriteText("/sys/bus/usb/devices/1-1/idProduct", "3437\n");
        test::WriteText("/sys/bus/usb/devices/1-1/product", "Forgotten Reader\n");
        test::WriteText("/sys/bus/usb/devices/1-1/serial", "GEM77777\n");
    }

    static void makeConfiguration() {
        const std::string config = kFile;
        store("<config>\n  <lumo_Client>\n    <Language>175</Language>\n    <Lanugage>58</Lanugage>\n"
              "    <MakeDialogsStayOnTop>Maybe</MakeDialogsStayOnTop>\n"
              "    <Trace><LogLevel>128</LogLevel><LogMode>2</LogMode><Filename>" +
              std::string(kClientLogs) +
              "/lumop11.log</Filename></Trace>\n"
              "    <Reader0><Reader>PCSC Reader</Reader><ReaderName>Käse &amp; Söhne 03 00</ReaderName>"
              "</Reader0>\n"
              "    <Reader1><Reader>PCSC Reader</Reader><ReaderName>Away (5550001) 04 00</ReaderName>"
              "</Reader1>\n  </lumo_Client>\n</config>\n");
        test::WriteText(config + ".unreadable", "<config");
        fs::create_directories(kClientLogs);
        test::WriteText(std::string(kClientLogs) + "/lumop11.log", std::string(1500, 'x'));
        fs::permissions(config, fs::perms(0664));
        date(config, 1772373909); // 2026-03-01 14:05:09 UTC
        date(std::string(kClientLogs) + "/lumop11.log", 1772373909);
    }

    std::optional<PcscClient> other; // holds a reader
    test::Variable zone{"TZ", "UTC"};
};

std::string replaced(const std::string& text, const char* pattern, const char* with) {
    return std::regex_replace(text, std::regex(pattern), with);
}

// Only what differs from run to run: version and time of the report, the daemon's process, the age of old files.
std::string stableText(std::string text) {
    text = replaced(text, "^lumodiag [0-9.]+, [-+:T0-9]+\n", "lumodiag VERSION, TIME\n");
    text = replaced(text, "( {2}(?:Prozess|Process) +)[0-9]+ \\([A-Z]\\)\n", "$1PROCESS\n");
    return replaced(text, "  [0-9]+ [A-Za-z]+  1.5 KiB", "  AGE  1.5 KiB");
}

std::string stableJson(std::string text) {
    text = replaced(text, "(\"version\": )\"[0-9.]+\"", "$1\"VERSION\"");
    text = replaced(text, "\n  (\"time\": )\"[-+:T0-9]+\"", "\n  $1\"TIME\"");
    text = replaced(text, "(\"process\": )[0-9]+", "$1\"PROCESS\"");
    text = replaced(text, "(\"processState\": )\"[A-Z]\"", "$1\"STATE\"");
    return replaced(text, "(\"age\": )[0-9]+", "$1\"AGE\"");
}

// Compares byte for byte; LUMOADMIN_UPDATE_GOLDEN writes the file anew.
void expectGolden(const std::string& name, const std::string& actual) {
    const auto path = std::string(GOLDEN_FOLDER "/") + name;
    if (std::getenv("LUMOADMIN_UPDATE_GOLDEN") != nullptr)
        test::WriteText(path, actual);
    EXPECT_EQ(actual, test::ReadText(path));
}

TEST_F(WholeReport, IsInGermanAndEnglishAsInTheGoldenFiles) {
    for (const std::string language : {"de", "en"}) {
        const auto ending = Lumodiag::run({"--lang", language});
        EXPECT_EQ(ending.status, 1);
        EXPECT_EQ(ending.errors, "");
        expectGolden("lumodiag." + language + ".txt", stableText(ending.output));
    }
}

TEST_F(WholeReport, IsInJsonAsInTheGoldenFiles) {
    expectGolden("lumodiag.json", stableJson(Lumodiag::run({"--json", "--lang=en"}).output));
    expectGolden("lumodiag.redacted.json", stableJson(Lumodiag::run({"--json", "--redact", "--lang=en"}).output));
}

TEST_F(WholeReport, KeepsTheSchemaInEveryState) {
    const test::TemporaryFolder folder;
    std::vector<std::string> check{SOURCE_FOLDER "/scripts/check-report"};
    const auto keep = [&](const std::string& name, const std::vector<std::string>& command) {
        test::WriteText(folder / name, Support::run(command).output);
        check.push_back(folder / name);
    };
    keep("whole", Lumodiag::command({"--json"}));
    keep("redacted", Lumodiag::command({"--json", "--redact", "--lang=de"}));
    keep("without-rights", Lumodiag::commandWithoutRights({"--json"}));
    other.reset();
    SimulatedReader(1).write("controls", "42000D48 -> error COMMUNICATION_ERROR\n");
    SimulatedReader(3).write("unplugged", "");
    store("<config>\n<broken</config>");
    keep("broken", Lumodiag::command({"--json"}));
    fs::remove_all(kFolder);
    Pcscd::kill();
    keep("killed", Lumodiag::command({"--json"}));
    Pcscd::serve(0);
    keep("no-readers", Lumodiag::command({"--json"}));
    const auto ending = Support::run(check);
    EXPECT_EQ(ending.status, 0) << ending.output << ending.errors;
}

using Clock = std::chrono::steady_clock;

template <typename Action>
double milliseconds(Action action) {
    const auto start = Clock::now();
    action();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

// The window's refresh, in this process.
void refresh() {
    std::vector<Vantor::PCSCReaderConfig> readers;
    ASSERT_TRUE(Vantor::ListPCSCReaders(readers));
    ASSERT_EQ(readers.size(), 16U);
}

TEST(ReportOfSixteenReaders, TakesAboutAsLongAsStartingAndOneRefresh) {
    Pcscd::serve(16);
    std::vector<double> refreshes;
    std::vector<double> starts;
    std::vector<double> reports;
    for (int round = 0; round < 5; ++round) {
        refreshes.push_back(milliseconds(refresh));
        starts.push_back(milliseconds([] { static_cast<void>(Lumodiag::run({"--version"})); }));
        reports.push_back(milliseconds([] { static_cast<void>(Lumodiag::run({"--json"})); }));
    }
    RecordProperty("refresh_ms", std::to_string(median(refreshes)));
    RecordProperty("start_ms", std::to_string(median(starts)));
    RecordProperty("report_ms", std::to_string(median(reports)));
    // Generous, for machines under load; a report that connects twice or waits anywhere is beyond it all the same.
    EXPECT_LT(median(reports), 3 * (median(refreshes) + median(starts)))
        << "refresh " << median(refreshes) << " ms, start " << median(starts) << " ms";
}

} // namespace
