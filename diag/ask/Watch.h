// Following readers and cards while they come and go.
#pragma once

#include "diag/record/Event.h"

#include <functional>

namespace Diag {

/// Hands over each event as it happens, beginning with what is there, until SIGINT, SIGTERM or until `take` says no.
void WatchReaders(const std::function<bool(const Event&)>& take);

} // namespace Diag
