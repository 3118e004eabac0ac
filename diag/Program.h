// The program from its command line to its exit status.
#pragma once

namespace Diag {

enum ExitStatus : int {
    ExitFine = 0,
    ExitFindings = 1,
    ExitTrouble = 2, ///< called wrongly, or the output could not be written
};

[[nodiscard]] int Run(int count, char** arguments);

} // namespace Diag
