// The folder of plain files that steers one simulated reader.
#pragma once

#include <mutex>
#include <optional>
#include <string>

namespace SimReader {

/// Reads control files and appends to the log. Safe to use from several threads.
class ReaderFolder {
public:
    explicit ReaderFolder(std::string path);
    ~ReaderFolder();
    ReaderFolder(const ReaderFolder&) = delete;
    ReaderFolder& operator=(const ReaderFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }
    /// @return whether the folder itself is there
    [[nodiscard]] bool exists() const;
    [[nodiscard]] bool has(const std::string& file) const;
    /// @return the file's bytes; nothing if it cannot be read
    [[nodiscard]] std::optional<std::string> read(const std::string& file) const;
    /// @return a text that changes whenever the file is written or replaced; empty for no file
    [[nodiscard]] std::string version(const std::string& file) const;
    /// Appends one line to the file "log" in one write, so that readers never see half a line.
    void log(const std::string& line);

private:
    std::string path_;
    std::mutex mutex_;
    int logFile_ = -1;
};

} // namespace SimReader
