#include "tests/support/SimulatedReader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace Support {

SimulatedReader::SimulatedReader(int number) : folder_("/run/simreader/" + std::to_string(number)) {
    std::filesystem::create_directories(folder_);
}

void SimulatedReader::write(const std::string& file, const std::string& content) const {
    const auto beside = path("." + file + ".new");
    std::ofstream(beside, std::ios::binary) << content;
    std::filesystem::rename(beside, path(file));
}

void SimulatedReader::append(const std::string& file, const std::string& content) const {
    std::ofstream(path(file), std::ios::binary | std::ios::app) << content;
}

void SimulatedReader::remove(const std::string& file) const {
    std::filesystem::remove(path(file));
}

std::vector<std::string> SimulatedReader::log() const {
    std::ifstream stream(path("log"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> SimulatedReader::calls(const std::string& function) const {
    auto lines = log();
    lines.erase(std::remove_if(lines.begin(), lines.end(),
                               [&](const std::string& line) { return line.rfind(function + " ", 0) != 0; }),
                lines.end());
    return lines;
}

void SimulatedReader::clearLog() const {
    std::ofstream(path("log"), std::ios::trunc).flush();
}

bool SimulatedReader::logged(const std::string& text, Milliseconds limit) const {
    return waitUntil(
        [&] {
            const auto lines = log();
            return std::any_of(lines.begin(), lines.end(),
                               [&](const std::string& line) { return line.find(text) != std::string::npos; });
        },
        limit);
}

} // namespace Support
