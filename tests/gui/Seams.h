// Between the window and what it calls: the linker leads some of its calls through here, on their way to the real ones.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Seams {

/// A terminal that answers the scan of a CT-API library.
struct Terminal {
    std::string library;
    int port;
    std::string identification; ///< begins with a key of the table of known terminals
};

/// What a scan finds; none, as on every Linux machine, unless a test puts some here.
extern std::vector<Terminal> terminals;

/// Told before each call that comes through here: the function and, in parentheses, the id or handle if it has one. May
/// throw.
extern std::function<void(const std::string& call)> onCall;

} // namespace Seams
