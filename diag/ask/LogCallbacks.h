// Where the foundation's code leaves what it has to say.
#pragma once

namespace Diag {

/// Takes one line, zero-terminated, which it does not keep.
using LogCallback = void (*)(const char* text);

/// Has the code of the readers, of the cards and of the configuration report through these from now on. The window
/// leaves them empty; null does so again. Not locked: before any of that code runs.
void InstallLogCallbacks(LogCallback error, LogCallback note);

} // namespace Diag
