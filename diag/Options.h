// The command line.
#pragma once

#include <string>

namespace Diag {

struct Options {
    bool json = false;
    bool watch = false;
    bool redact = false;
    bool help = false;
    bool version = false;
    std::string logFile;
    std::string language; ///< empty: the configured one
};

/// Reads the command line by getopt_long; what it does not understand is told on standard error.
/// @return false when called wrongly
[[nodiscard]] bool ReadOptions(int count, char** arguments, Options& options);

/// What --help prints, in the chosen language, without the last line end.
[[nodiscard]] std::string HelpText();

} // namespace Diag
