// How the stand-ins for other functions get into the record of the PC/SC stand-in.
#pragma once

#include <string>

namespace FakePcsc {

/// Adds the line of a call that is not PC/SC's own.
void RecordForeignCall(std::string line);

} // namespace FakePcsc
