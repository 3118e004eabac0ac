// The service and its readers at one moment, and what changed since another.
#pragma once

#include "diag/record/Event.h"

#include <string>
#include <vector>

namespace Diag {

/// A reader as the service sees it at one moment.
struct ReaderSight {
    std::string name;
    unsigned long state = 0; ///< SCARD_STATE_ bits
    std::string atr;
};

/// The service at one moment.
struct Sight {
    bool answers = true; ///< false: it let the time limit pass
    long code = 0;       ///< PC/SC result of asking it; the list is empty unless it is SCARD_S_SUCCESS
    std::vector<ReaderSight> readers;
};

/// What happened between two looks, services first, then reader by reader.
[[nodiscard]] std::vector<Event> CompareSights(const Sight& before, const Sight& after);

} // namespace Diag
