// The built program after a long day: many refreshes and many saves in one run.
#include "tests/support/Pcscd.h"
#include "tests/support/SimulatedReader.h"
#include "tests/system/Program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

namespace {

namespace fs = std::filesystem;

using Support::waitUntil;

namespace Pcscd = Support::Pcscd;

constexpr int kRefreshes = 1000;
constexpr int kSaves = 200;
constexpr int kWarmUp = 100;
constexpr long kToleratedGrowthKiB = 1024;

long residentKiB(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        long size = 0;
        if (word == "VmRSS:" && status >> size)
            return size;
    }
    return 0;
}

std::size_t openFiles(pid_t process) {
    const fs::directory_iterator files("/proc/" + std::to_string(process) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

// Freed memory goes back at once, or the sanitizer's store of it would look like growth.
Program longRunning() {
    return Program(
        Support::Process::Environment{{"ASAN_OPTIONS", "quarantine_size_mb=0:thread_local_quarantine_size_kb=0"}});
}

// What may not grow while the program works.
struct Holdings {
    explicit Holdings(pid_t process) : memoryKiB(residentKiB(process)), files(openFiles(process)) {}
    long memoryKiB;
    std::size_t files;
};

void expectNoGrowth(const Holdings& before, const Holdings& after) {
    std::cout << "memory " << before.memoryKiB << " KiB, then " << after.memoryKiB << " KiB\n";
    EXPECT_LE(after.memoryKiB, before.memoryKiB + kToleratedGrowthKiB);
    EXPECT_LE(after.files, before.files);
}

// What drivers may call their readers: characters that XML reserves, and bytes that are no UTF-8.
constexpr auto kReservedName = "K\xC3\xA4se & Brot <frisch>  'x'\n";
constexpr auto kReservedNameInFile = "K\xC3\xA4se &amp; Brot &lt;frisch&gt;  &apos;x&apos; 00 00";
constexpr auto kLatinName = "Latin \xE4\xF6\n";

TEST(Endurance, AThousandRefreshesLeaveNothingBehind) {
    const auto readers = Pcscd::serve(4);
    const auto& last = readers.back();
    Pcscd::stop();
    readers[0].write("name", kReservedName);
    readers[1].write("name", kLatinName);
    Pcscd::start();
    Program program = longRunning();
    program.showPage(Texts::kReaders);
    const auto button = program.control("push button", Texts::kRefresh).extents();
    const auto refresh = [&] {
        last.clearLog();
        program.desktop().click(button);
        return last.logged("IFDHPowerICC action=down");
    };
    // The log tells what the last reader was asked; only then does the program take its leave of the service.
    const auto rests = [] { return waitUntil([] { return Pcscd::openContexts() == 0; }); };
    for (int i = 0; i < kWarmUp; ++i)
        ASSERT_TRUE(refresh()) << i;
    ASSERT_TRUE(rests());
    const Holdings before(program.pid());
    for (int i = kWarmUp; i < kRefreshes; ++i)
        ASSERT_TRUE(refresh()) << i;
    EXPECT_TRUE(rests());
    expectNoGrowth(before, Holdings(program.pid()));
    program.press(Texts::kCancel);
    EXPECT_EQ(program.ending().errors, "");
}

TEST(Endurance, TwoHundredSavesLeaveNothingBehind) {
    Pcscd::stop();
    Support::SimulatedReader(0).write("name", kReservedName);
    Pcscd::start();
    Program program = longRunning();
    program.showPage(Texts::kReaders);
    const auto row = program.rowBoxArea(0);
    const auto button = program.control("push button", Texts::kApply).extents();
    const auto with = ConfigFile::withReaders(ConfigFile::reader(0, kReservedNameInFile));
    const auto without = ConfigFile::withReaders("<Reader0/>");
    const auto save = [&](int number) {
        program.desktop().click(row);
        program.desktop().click(button);
        const auto& expected = number % 2 == 0 ? with : without;
        return ConfigFile::contentOnce(expected) == expected;
    };
    for (int i = 0; i < kWarmUp; ++i)
        ASSERT_TRUE(save(i)) << i;
    const Holdings before(program.pid());
    for (int i = kWarmUp; i < kSaves; ++i)
        ASSERT_TRUE(save(i)) << i;
    expectNoGrowth(before, Holdings(program.pid()));
    EXPECT_EQ(std::distance(fs::directory_iterator("/etc/vantor/lumoclient"), {}), 1) << "left-over files";
    EXPECT_TRUE(waitUntil([] { return Pcscd::openContexts() == 0; }));
    program.press(Texts::kCancel);
    EXPECT_EQ(program.ending().errors, "");
}

} // namespace
