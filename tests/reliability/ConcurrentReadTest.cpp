// Another process reads the configuration all the while it is saved.

#include "config/Config.h"
#include "config/ProgramConfig.h"
#include "tests/reliability/Saves.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using reliability::contents;
using test::Saver;
using test::Who;

namespace {

const std::string kFile = "/etc/vantor/lumoclient/config";
constexpr int kReads = 5000;
constexpr int kChanges = 300; // that are seen

bool isComplete(const std::string& text) {
    const std::string end = "</config>";
    return text.rfind("<?xml", 0) == 0 && text.size() > end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

[[noreturn]] void saveForEver(const Saver& saver, char letter) {
    const auto acting = saver.Act();
    GenerateConfig();
    Vantor::Config* config = Vantor::Config::GetHandle(0);
    for (std::size_t i = 0;; ++i) {
        if (!config->SetString(ConfigId::Version, std::string(1 + i * 977 % 20000, letter))) {
            _exit(1);
        }
    }
}

using Writers = std::vector<Who>;

class ConcurrentRead : public testing::TestWithParam<Writers> {};

} // namespace

TEST_P(ConcurrentRead, NeverSeesAnIncompleteFile) {
    if (std::any_of(GetParam().begin(), GetParam().end(), Saver::IsMissing)) {
        GTEST_SKIP() << "needs a second user; this machine maps only one";
    }
    // Given programs that save all the while
    std::vector<pid_t> writers;
    Saver(GetParam().front()).Restore("<?xml?><config></config>");
    for (const Who who : GetParam()) {
        const Saver saver(who);
        writers.push_back(fork());
        if (writers.back() == 0) {
            saveForEver(saver, static_cast<char>('a' + writers.size()));
        }
    }
    // When the file is read
    int incomplete = 0;
    std::string last;
    int changes = 0;
    int reads = 0;
    for (; reads < kReads || (reads < 100 * kReads && changes < kChanges); ++reads) {
        const std::string text = contents(kFile);
        incomplete += isComplete(text) ? 0 : 1;
        changes += text == last ? 0 : 1;
        last = text;
    }
    // Then it was always one of the files that they wrote
    for (const pid_t writer : writers) {
        kill(writer, SIGKILL);
        int status = 0;
        waitpid(writer, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status)) << "a save failed";
    }
    std::cout << reads << " reads, " << incomplete << " incomplete, " << changes << " times changed\n";
    EXPECT_EQ(incomplete, 0);
    EXPECT_GE(changes, kChanges) << "the file must change while it is read, or this shows nothing";
}

INSTANTIATE_TEST_SUITE_P(Of, ConcurrentRead,
                         testing::Values(Writers{Who::Root}, Writers{Who::Member}, Writers{Who::Root, Who::Root},
                                         Writers{Who::Member, Who::Colleague}, Writers{Who::Root, Who::Member}),
                         [](const auto& test) {
                             std::string name;
                             for (const Who who : test.param) {
                                 name += testing::PrintToString(who);
                             }
                             return name;
                         });
