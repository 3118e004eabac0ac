// Steers the PC/SC daemon of the test's private machine.
#pragma once

#include "tests/support/SimulatedReader.h"

#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

/// Each function returns when its work is done; it throws std::runtime_error if that failed.
namespace Support::Pcscd {

/// Starts the daemon; returns when it lists every simulated reader that is plugged in, up to the 16 that it serves.
void start();
/// Starts the daemon anew with this many fresh readers and no others.
/// @param cards  which of them hold a card: "all", "none" or numbers such as "0,2"
/// @return the readers in their order
std::vector<SimulatedReader> serve(int count, const std::string& cards = "all");
/// Ends the daemon in order.
void stop();
/// Ends the daemon without giving it a chance; its socket stays behind.
void kill();
void restart();
/// From now on it answers nothing, until thaw.
void freeze();
void thaw();

[[nodiscard]] pid_t pid();

/// How many PC/SC contexts are open now, over all programs.
[[nodiscard]] std::size_t openContexts();

} // namespace Support::Pcscd
