#include "tests/simreader/ReaderFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <utility>

namespace SimReader {

ReaderFolder::ReaderFolder(std::string path) : path_(std::move(path)) {}

ReaderFolder::~ReaderFolder() {
    if (logFile_ >= 0)
        close(logFile_);
}

bool ReaderFolder::exists() const {
    struct stat status {};
    return stat(path_.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool ReaderFolder::has(const std::string& file) const {
    return access((path_ + "/" + file).c_str(), F_OK) == 0;
}

std::optional<std::string> ReaderFolder::read(const std::string& file) const {
    std::ifstream stream(path_ + "/" + file, std::ios::binary);
    if (!stream)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::string ReaderFolder::version(const std::string& file) const {
    struct stat status {};
    if (stat((path_ + "/" + file).c_str(), &status) != 0)
        return {};
    return std::to_string(status.st_ino) + "/" + std::to_string(status.st_mtim.tv_sec) + "." +
           std::to_string(status.st_mtim.tv_nsec);
}

void ReaderFolder::log(const std::string& line) {
    const std::lock_guard lock(mutex_);
    // Kept open: a log that is opened anew for each line would wake the thread that watches the folder each time.
    if (logFile_ < 0)
        logFile_ = open((path_ + "/log").c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    const std::string text = line + "\n";
    // A full disk loses lines of the log, never an answer.
    [[maybe_unused]] const auto written = write(logFile_, text.data(), text.size());
}

} // namespace SimReader
