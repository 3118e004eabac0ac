// Why the PC/SC service does not answer: what the machine shows of its program, process and socket.
#pragma once

#include "diag/ask/ReaderReport.h"
#include "diag/record/Records.h"

#include <string>

namespace Diag {

/// What is to be seen without the client library.
struct ServiceFacts {
    std::string socket;
    std::string program;
    int process = 0;
    char processState = '\0';
    int connectError = 0; ///< errno of connecting to the socket; 0: connected, or not tried
};

/// Looks for the daemon's program and process.
[[nodiscard]] ServiceFacts LookForService();

/// errno of connecting to a local socket and hanging up at once, 0 for success. Does not block.
[[nodiscard]] int TryToConnect(const std::string& socket);

/// Puts both views together.
[[nodiscard]] Service JudgeService(const ServiceFacts& facts, const PcscFacts& asked);

} // namespace Diag
