// Settings that are changed through the registry while the file system fails.

#include "config/Config.h"
#include "config/ProgramConfig.h"
#include "tests/reliability/Faults.h"
#include "tests/unit/config/ConfigFiles.h"

#include <iostream>

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

class FaultyRegistry : public testing::TestWithParam<Change> {
protected:
    FaultyRegistry() {
        GenerateConfig();
        config = Config::GetHandle(0);
        EXPECT_TRUE(config->SetString(ConfigId::Filename, Old));
        oldFile = ReadFile(MachineFile);
        InAnotherProcess([&] { return GetParam().make(*config); });
        newFile = ReadFile(MachineFile);
        EXPECT_NE(newFile, oldFile);
    }

    FaultyRun ChangeWithFault(std::size_t index, const Action& fault, long& spoilt) const {
        const auto change = [this] {
            const bool reported = GetParam().make(*config);
            return (reported ? Reported : 0) | (GetParam().isMade(*config) ? InMemory : 0);
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
                          later.find(GetParam().element) != std::string::npos;
        return (found == oldFile ? FileIsOld : 0) | (found == newFile ? FileIsNew : 0) | (both ? WrittenLater : 0);
    }

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
        WriteFile(MachineFile, oldFile);
        const FaultyRun whole = ChangeWithFault(SIZE_MAX, {}, spoilt);
        ASSERT_EQ(whole.result, Reported | InMemory | FileIsNew | WrittenLater);
        for (std::size_t i = 0; i < whole.calls; ++i) {
            // Given the old file
            WriteFile(MachineFile, oldFile);
            // When one call of the change fails
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
    testing::Values(Change{"AText", [](Config& config) { return config.SetString(ConfigId::Filename, New); },
                           [](Config& config) { return HasText(config, ConfigId::Filename, New); },
                           Element("Filename", New)},
                    Change{"ARemoval", [](Config& config) { return config.RemoveKey(ConfigId::Filename); },
                           [](Config& config) { return HasText(config, ConfigId::Filename, ""); }, "<Filename/>"}),
    [](const auto& test) { return test.param.name; });
