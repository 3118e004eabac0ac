// Another process reads the configuration all the while it is saved.

#include "config/Config.h"
#include "config/ProgramConfig.h"
#include "tests/reliability/Saves.h"

#include <gtest/gtest.h>

#include <csignal>
#include <iostream>
#include <sys/wait.h>
#include <unistd.h>

using reliability::contents;

namespace {

const std::string kFile = "/etc/vantor/lumoclient/config";
constexpr int kReads = 5000;

bool isComplete(const std::string& text) {
    const std::string end = "</config>";
    return text.rfind("<?xml", 0) == 0 && text.size() > end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

[[noreturn]] void saveForEver() {
    GenerateConfig();
    Vantor::Config* config = Vantor::Config::GetHandle(0);
    for (std::size_t i = 0;; ++i) {
        config->SetString(ConfigId::Version, std::string(1 + i * 977 % 20000, 'v'));
    }
}

} // namespace

TEST(ConcurrentRead, NeverSeesAnIncompleteFile) {
    const pid_t writer = fork();
    if (writer == 0) {
        saveForEver();
    }
    while (!isComplete(contents(kFile))) {
        usleep(1000);
    }
    int incomplete = 0;
    std::string last;
    int changes = 0;
    for (int i = 0; i < kReads; ++i) {
        const std::string text = contents(kFile);
        incomplete += isComplete(text) ? 0 : 1;
        changes += text == last ? 0 : 1;
        last = text;
    }
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    std::cout << kReads << " reads, " << incomplete << " incomplete, " << changes << " times changed\n";
    EXPECT_EQ(incomplete, 0);
    EXPECT_GT(changes, 50) << "the file must change while it is read, or this shows nothing";
}
