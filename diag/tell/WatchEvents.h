// How it is told what happened to readers and cards.
#pragma once

#include "diag/record/Event.h"

#include <string>

namespace Diag {

/// One line for people, without its end.
[[nodiscard]] std::string FormatEvent(const Event& event, const std::string& time);
/// One JSON document on one line, without its end.
[[nodiscard]] std::string FormatEventJson(const Event& event, const std::string& time);

} // namespace Diag
