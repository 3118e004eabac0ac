// A stand-in for the Linux console: programs linked with fake_console that open /dev/console get a file of the test's.
#pragma once

#include <string>

namespace FakeConsole {

/// No console was opened yet, and the next ones can be opened (`present`) or not.
void Reset(bool present);
/// What was written to the console and is not held back in a stream's buffer any more.
std::string Written();
/// How often the console was asked for; in which mode the last time.
int Opened();
std::string Mode();
/// How many of the console's streams were closed.
int Closed();

} // namespace FakeConsole
