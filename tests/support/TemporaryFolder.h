// A folder of the test's own that goes with it, and whole text files in one call.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace test {

/// An empty folder under the system's folder for temporary files, removed with all it holds at the end.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "lumoadmin-XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) {
            throw std::runtime_error("no temporary folder: " + path);
        }
        m_path = path;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return m_path; }
    /// The path of a name inside.
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// The bytes of a file; empty when there is none.
inline std::string ReadText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void WriteText(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    if (!(file << text).flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

/// The lines of a text without their ends; a last line without an end counts too.
inline std::vector<std::string> Lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// The sorted names in a folder.
inline std::vector<std::string> Names(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace test
