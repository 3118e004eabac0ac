// What is wrong, why, and what to do about it: derived from the records, and worded in the chosen language.
#pragma once

#include "diag/record/Records.h"

#include <string>
#include <vector>

namespace Diag {

enum class Severity {
    Note,    ///< worth knowing; nothing is wrong
    Warning, ///< something does not work as it could
    Error,   ///< something does not work
};

/// A kind of finding. Its id is the name of its entry in docs/failures.md.
struct FindingKind {
    const char* id;
    Severity severity;
    const char* title;    ///< message id
    const char* remedy;   ///< message id
    const char* commands; ///< what to type, one a line; "%s" stands for a finding's parameter
};

/// What to do about a finding where its kind's remedy would not help.
struct OtherRemedy {
    const char* id;       ///< of the kind
    const char* cause;    ///< tells the kind's other remedies apart
    const char* remedy;   ///< message id
    const char* commands; ///< as in FindingKind
};

[[nodiscard]] const std::vector<OtherRemedy>& OtherRemedies();

/// Every kind, in the order of the report.
[[nodiscard]] const std::vector<FindingKind>& FindingKinds();

struct Finding {
    const FindingKind* kind = nullptr; ///< never null in a report
    std::string subject;               ///< the reader or file in question; may be empty
    std::vector<std::string> details;  ///< what was seen, one a line; may be empty
    std::vector<std::string> commands; ///< with the parameter filled in
    const char* remedy = nullptr;      ///< message id; never null in a report
};

/// Findings in the order of the report's parts.
/// @param shown  the same report as far as it may be told (Redaction): all texts are taken from it
[[nodiscard]] std::vector<Finding> DeriveFindings(const Report& report, const Report& shown);
[[nodiscard]] std::vector<Finding> DeriveFindings(const Report& report);

/// Whether something is wrong, notes not counted.
[[nodiscard]] bool IsAnythingWrong(const std::vector<Finding>& findings);

} // namespace Diag
