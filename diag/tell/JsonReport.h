// The report for programs; docs/lumodiag.schema.json describes it.
#pragma once

#include "diag/record/Records.h"
#include "diag/tell/Findings.h"

#include <string>
#include <vector>

namespace Diag {

/// One JSON document, ended by a line end. Keys and ids do not depend on the language, titles and remedies do. Texts of
/// drivers are printable UTF-8 (see Printable).
/// @param isRedacted  what the document says of itself
[[nodiscard]] std::string FormatJson(const Report& report, const std::vector<Finding>& findings, bool isRedacted);

} // namespace Diag
