// The command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

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

/// What is wrong with a command line. It waits for a language, which may be chosen by the same command line.
struct Complaint {
    const char* text = nullptr;      ///< message id
    std::vector<std::string> values; ///< for its placeholders, as they were typed
};

/// Reads the command line by getopt_long, whose own messages would be in the system's language.
/// @return nothing when all of it was understood; else `options` holds what came before
[[nodiscard]] std::optional<Complaint> ReadOptions(int count, char** arguments, Options& options);

/// What --help prints, in the chosen language, without the last line end.
[[nodiscard]] std::string HelpText();

} // namespace Diag
