#include "diag/tell/Findings.h"

#include "diag/tell/FindingList.h"
#include "diag/tell/Language.h"
#include "diag/tell/Text.h"

#include <algorithm>
#include <utility>

namespace Diag {

namespace {

void AddOpenWindow(const Vantor::RunningCopy& copy, FindingList& list) {
    list.Add("window-open", copy.user, Fill(Translate("seit %s"), {TimeText(copy.since)}),
             std::to_string(copy.process));
    if (copy.process == 0) {
        list.UseOtherRemedy("elsewhere");
    }
}

} // namespace

std::vector<Finding> DeriveFindings(const Report& report, const Report& shown) {
    FindingList list;
    for (const auto add : {AddServiceFindings, AddReaderFindings, AddConfigurationFindings, AddLogFindings}) {
        add(report, shown, list);
    }
    if (shown.openWindow) {
        AddOpenWindow(*shown.openWindow, list);
    }
    return std::move(list.findings);
}

std::vector<Finding> DeriveFindings(const Report& report) {
    return DeriveFindings(report, report);
}

bool IsAnythingWrong(const std::vector<Finding>& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.kind->severity != Severity::Note; });
}

} // namespace Diag
