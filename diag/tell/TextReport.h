// The report for people.
#pragma once

#include "diag/record/Records.h"
#include "diag/tell/Findings.h"

#include <string>
#include <vector>

namespace Diag {

/// The whole report in the chosen language, UTF-8, each line ended.
[[nodiscard]] std::string FormatText(const Report& report, const std::vector<Finding>& findings);

} // namespace Diag
