// Steers one simulated card reader; tests/simreader/README.md tells what each file does.
#pragma once

#include "tests/support/Wait.h"

#include <string>
#include <vector>

namespace Support {

class SimulatedReader {
public:
    /// The reader with this number, counted from 0. Its folder is made if it is not there; pcscd then serves it from
    /// its next start on.
    explicit SimulatedReader(int number);

    void insertCard() const { write("card", "present\n"); }
    void removeCard() const { write("card", "absent\n"); }

    /// Replaces a control file whole, in one step.
    void write(const std::string& file, const std::string& content) const;
    void append(const std::string& file, const std::string& content) const;
    void remove(const std::string& file) const;

    /// Lines of the log, oldest first.
    [[nodiscard]] std::vector<std::string> log() const;
    /// Lines that begin with a function's name.
    [[nodiscard]] std::vector<std::string> calls(const std::string& function) const;
    void clearLog() const;
    /// @return whether a line with this text was in the log before the time was over
    [[nodiscard]] bool logged(const std::string& text, Milliseconds limit = kPatience) const;

private:
    [[nodiscard]] std::string path(const std::string& file) const { return folder_ + "/" + file; }

    std::string folder_;
};

} // namespace Support
