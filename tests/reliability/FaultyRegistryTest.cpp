// Settings that are changed through the registry while the file system fails.

#include "config/Config.h"
#include "config/ConfigImpl_XML.h"
#include "config/ProgramConfig.h"
#include "tests/reliability/Faults.h"
#include "tests/support/Saver.h"
#include "tests/unit/config/ConfigFiles.h"

#include <iostream>
#include <optional>
#include <tuple>

#include <sys/mount.h>

using namespace Vantor;
using namespace test;
using namespace reliability;
using Support::Action;

namespace {

const std::string Old = std::string(3000, 'o');
const std::string New = std::string(7000, 'n');

// What one process tells of a change, as bits of its result.
constexpr int Reported = 1;      // the change returned true
constexpr int InMemory = 2;      // it can be read back
constexpr int FileIsOld = 4;     // byte for byte
constexpr int FileIsNew = 8;     // byte for byte
constexpr int WrittenLater = 16; // the next change put both into the file

std::string Element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + text + "</" + name + ">";
}

/// A change of one setting.
struct Change {
    const char* name;
    std::function<bool(Config&)> make;
    std::function<bool(Config&)> isMade;
    std::string element; ///< in the file after it
};

void PrintTo(const Change& change, std::ostream* out) {
    *out << change.name;
}

class FaultyRegistry : public testing::TestWithParam<std::tuple<Change, Who>> {
protected:
    void SetUp() override {
        const Who who = std::get<Who>(GetParam());
        if (Saver::IsMissing(who)) {
            GTEST_SKIP() << "needs a second user; this machine maps only one";
        }
        saver.emplace(who);
        saver->Restore("<config/>");
        const auto acting = saver->Act();
        GenerateConfig();
        config = Config::GetHandle(0);
        EXPECT_TRUE(config->SetString(ConfigId::Filename, Old));
        oldFile = ReadFile(MachineFile);
        InAnotherProcess([&] { return Wanted().make(*config); });
        newFile = ReadFile(MachineFile);
        EXPECT_NE(newFile, oldFile);
    }

    static const Change& Wanted() { return std::get<Change>(GetParam()); }

    FaultyRun ChangeWithFault(std::size_t index, const Action& fault, long& spoilt) const {
        saver->Restore(oldFile);
        const auto acting = saver->Act();
        const auto change = [this] {
            const bool reported = Wanted().make(*config);
            return (reported ? Reported : 0) | (Wanted().isMade(*config) ? InMemory : 0);
        };
        const auto spoil = [&](const Call& call) {
            if (call.index != index) {
                return Action{};
            }
            spoilt = call.number;
            return fault;
        };
        return RunWithFaults(change, spoil, [this](int result) { return result | LookAtFile(); });
    }

    int LookAtFile() const {
        const std::string found = ReadFile(MachineFile);
        const bool next = config->SetString(ConfigId::Version, "next");
        const std::string later = ReadFile(MachineFile);
        const bool both = next && later.find(Element("Version", "next")) != std::string::npos &&
                          later.find(Wanted().element) != std::string::npos;
        return (found == oldFile ? FileIsOld : 0) | (found == newFile ? FileIsNew : 0) | (both ? WrittenLater : 0);
    }

    std::optional<Saver> saver;
    Config* config = nullptr;
    std::string oldFile;
    std::string newFile;
};

} // namespace

TEST_P(FaultyRegistry, KeepsTheChangeInMemoryAndAWholeFileWhateverFails) {
    int cases = 0;
    int refused = 0;
    int kept = 0;
    int torn = 0;
    for (const Fault& fault : Faults) {
        long spoilt = -1;
        const FaultyRun whole = ChangeWithFault(SIZE_MAX, {}, spoilt);
        ASSERT_EQ(whole.result, Reported | InMemory | FileIsNew | WrittenLater);
        for (std::size_t i = 0; i < whole.calls; ++i) {
            // Given the old file, when one call of the change fails
            const FaultyRun run = ChangeWithFault(i, fault.action, spoilt);
            const std::string what = fault.name + (" at system call " + std::to_string(spoilt));
            ASSERT_TRUE(run.finished) << what;
            // Then the file is whole, the value in memory is the new one, and the next change writes it
            torn += (run.result & (FileIsOld | FileIsNew)) == 0 ? 1 : 0;
            EXPECT_TRUE(run.result & InMemory) << what;
            EXPECT_TRUE(run.result & WrittenLater) << what;
            // And what is not in the file was not reported as done
            EXPECT_TRUE(!(run.result & Reported) || (run.result & FileIsNew)) << what;
            ++cases;
            refused += run.result & Reported ? 0 : 1;
            kept += !(run.result & Reported) && (run.result & FileIsOld) ? 1 : 0;
        }
    }
    std::cout << cases << " faults, " << refused << " reported, the old file kept in " << kept << ", " << torn
              << " torn files\n";
    EXPECT_EQ(torn, 0);
    EXPECT_GE(cases, 120);
    EXPECT_GE(kept, 40);
}

namespace {

bool HasText(Config& config, unsigned id, const std::string& expected) {
    std::string found = "none";
    return config.GetString(id, found) && found == expected;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(
    Of, FaultyRegistry,
    testing::Combine(
        testing::Values(Change{"AText", [](Config& config) { return config.SetString(ConfigId::Filename, New); },
                               [](Config& config) { return HasText(config, ConfigId::Filename, New); },
                               Element("Filename", New)},
                        Change{"ARemoval", [](Config& config) { return config.RemoveKey(ConfigId::Filename); },
                               [](Config& config) { return HasText(config, ConfigId::Filename, ""); }, "<Filename/>"}),
        testing::Values(Who::Root, Who::Member)),
    [](const auto& test) {
        return std::get<Change>(test.param).name + std::string("By") +
               testing::PrintToString(std::get<Who>(test.param));
    });

namespace {

/// Whether the file is mounted, so that it can only be overwritten, and who saves.
class FaultyKeeping : public testing::TestWithParam<std::tuple<bool, Who>> {
protected:
    void SetUp() override {
        if (Saver::IsMissing(std::get<Who>(GetParam()))) {
            GTEST_SKIP() << "needs a second user; this machine maps only one";
        }
        saver.emplace(std::get<Who>(GetParam()));
        // What a sanitizer does when it meets a class for the first time is not to be spoilt.
        PutBroken();
        const auto acting = saver->Act();
        Start();
        EXPECT_TRUE(Set("first"));
    }

    void Start() { backend.Init("lumoclient"); }
    bool Set(const std::string& value) {
        sConfig entry = {CONFIG_ALLUSERS, "a", "k", SYSTYPE_FIRST};
        return backend.SetString(&entry, value);
    }

    void PutBroken() const {
        umount2(MachineFile.c_str(), MNT_DETACH);
        saver->Restore(Broken);
        if (std::get<bool>(GetParam())) {
            const std::string source = "/mnt/source";
            WriteFile(source, Broken);
            saver->Share(source);
            ASSERT_EQ(mount(source.c_str(), MachineFile.c_str(), nullptr, MS_BIND, nullptr), 0);
        }
    }

    /// Two changes of a program that has just started, where a call of the first fails.
    FaultyRun ChangeWithFault(std::size_t index, long& spoilt) {
        const auto acting = saver->Act();
        Start();
        const auto spoil = [&](const Call& call) {
            if (call.index != index) {
                return Action{};
            }
            spoilt = call.number;
            return Action{Action::Kind::Fail, EIO};
        };
        return RunWithFaults([&] { return Set("first") ? 1 : 0; }, spoil, [&](int) { return Set("second") ? 1 : 0; });
    }

    const std::string Broken = "<config>precious";
    std::optional<Saver> saver;
    ConfigImpl_XML backend;
};

} // namespace

TEST_P(FaultyKeeping, NeverKeepsOurOwnFileInPlaceOfTheOneThatCouldNotBeRead) {
    long spoilt = -1;
    PutBroken();
    const std::size_t calls = ChangeWithFault(SIZE_MAX, spoilt).calls;
    ASSERT_GE(calls, 30U);
    for (std::size_t i = 0; i < calls; ++i) {
        // Given a file that could not be read
        PutBroken();
        // When a call of the first change fails
        const FaultyRun run = ChangeWithFault(i, spoilt);
        // Then the second is written and the file is kept
        EXPECT_EQ(run.result, 1) << "system call " << spoilt;
        EXPECT_EQ(ReadFile(MachineFile + ".unreadable"), Broken) << "system call " << spoilt;
        EXPECT_NE(ReadFile(MachineFile).find("<k>second</k>"), std::string::npos) << "system call " << spoilt;
    }
    umount2(MachineFile.c_str(), MNT_DETACH);
    std::cout << calls << " faults, 0 lost\n";
}

INSTANTIATE_TEST_SUITE_P(Of, FaultyKeeping, testing::Combine(testing::Bool(), testing::Values(Who::Root, Who::Member)),
                         [](const auto& test) {
                             return std::string(std::get<bool>(test.param) ? "AMountedFile" : "AFile") + "By" +
                                    testing::PrintToString(std::get<Who>(test.param));
                         });
