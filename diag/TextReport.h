// The report for people.
#pragma once

#include "diag/Findings.h"
#include "diag/Records.h"

#include <string>
#include <vector>

namespace Diag {

/// The whole report in the chosen language, UTF-8, each line ended.
[[nodiscard]] std::string FormatText(const Report& report, const std::vector<Finding>& findings);

} // namespace Diag
