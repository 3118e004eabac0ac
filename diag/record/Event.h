// What happens to readers and cards while they are watched.
#pragma once

#include "diag/record/Records.h"

#include <string>

namespace Diag {

enum class EventKind {
    ServiceThere,
    ServiceGone,
    ServiceSilent,
    ReaderAttached,
    ReaderGone,
    CardInserted,
    CardRemoved,
    CardMute,
    Used,
    Held,
    Released,
};

struct Event {
    EventKind kind = EventKind::ServiceThere;
    std::string reader;
    std::string detail;        ///< ATR in hexadecimal, PC/SC error
    SystemError obstacle = {}; ///< why the service could not be asked
};

} // namespace Diag
