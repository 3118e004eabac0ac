#include "tests/reliability/Saves.h"

#include "config/Config.h"
#include "config/ProgramConfig.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace reliability {
namespace {

const std::string kFolder = "/etc/vantor/lumoclient";
const std::string kFile = kFolder + "/config";

Vantor::Config* openConfiguration() {
    GenerateConfig();
    return Vantor::Config::GetHandle(0);
}

/// Values of different lengths, so that the file grows and shrinks.
std::string value(int number) {
    return std::string(static_cast<std::size_t>(1 + number * 37 % 500), static_cast<char>('a' + number % 26)) +
           std::to_string(number);
}

int inChild(const std::function<int()>& work) {
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(work());
    }
    int state = 0;
    waitpid(pid, &state, 0);
    return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
}

} // namespace

struct Saves::Progress {
    volatile int completed;
};

std::string contents(const std::string& file) {
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return bytes.str();
}

Saves::Saves(const test::Saver& saver, int count) : saver_(saver), count_(count) {
    if (!std::getenv("LUMOADMIN_SANDBOX")) {
        throw std::runtime_error("not on a private machine");
    }
    void* shared = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    progress_ = new (shared) Progress{0};
    saver.Restore("");
    std::filesystem::remove(kFile);
    writeOnceMore();
    states_.push_back(contents(kFile));
    inChild([this] {
        const auto acting = saver_.Act();
        Vantor::Config* config = openConfiguration();
        for (int i = 0; i < count_; ++i) {
            config->SetString(ConfigId::Filename, value(i));
            std::filesystem::copy_file(kFile, kFolder + "/state" + std::to_string(i));
        }
        return 0;
    });
    for (int i = 0; i < count_; ++i) {
        const std::string copy = kFolder + "/state" + std::to_string(i);
        states_.push_back(contents(copy));
        std::filesystem::remove(copy);
    }
}

Saves::~Saves() {
    munmap(progress_, sizeof(Progress));
}

void Saves::restoreStart() const {
    saver_.Restore(states_.front());
    progress_->completed = 0;
}

int Saves::run() const {
    const auto acting = saver_.Act();
    Vantor::Config* config = openConfiguration();
    bool good = true;
    for (int i = 0; i < count_; ++i) {
        good = config->SetString(ConfigId::Filename, value(i)) && good;
        progress_->completed = i + 1;
    }
    return good ? 0 : 1;
}

int Saves::completed() const {
    return progress_->completed;
}

std::string Saves::complaint() const {
    const std::string now = contents(kFile);
    const auto done = static_cast<std::size_t>(progress_->completed);
    if (now == states_[done] || (done + 1 < states_.size() && now == states_[done + 1])) {
        return "";
    }
    return "after " + std::to_string(done) + " writes the file of " + std::to_string(now.size()) +
           " bytes is neither the old nor the new one:\n" + now;
}

void Saves::writeOnceMore() const {
    inChild([this] {
        const auto acting = saver_.Act();
        return openConfiguration()->SetString(ConfigId::Version, "2.0") ? 0 : 1;
    });
}

std::vector<std::string> Saves::filesInFolder() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace reliability
