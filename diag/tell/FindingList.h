// Findings while they are collected, each part of the report by its own function.
#pragma once

#include "diag/record/Records.h"
#include "diag/tell/Findings.h"

#include <string>
#include <vector>

namespace Diag {

class FindingList {
public:
    /// @param parameter  what stands for "%s" in the kind's commands
    void Add(const std::string& id, const std::string& subject = {}, const std::string& detail = {},
             const std::string& parameter = {});
    /// Only if there are details.
    void AddWithDetails(const std::string& id, const std::string& subject, const std::vector<std::string>& details);
    /// For the finding that was added last.
    void UseOtherRemedy(const std::string& cause);

    std::vector<Finding> findings;
};

// `report` decides, `shown` is told.
void AddServiceFindings(const Report& report, const Report& shown, FindingList& list);
void AddReaderFindings(const Report& report, const Report& shown, FindingList& list);
void AddConfigurationFindings(const Report& report, const Report& shown, FindingList& list);
void AddLogFindings(const Report& report, const Report& shown, FindingList& list);

} // namespace Diag
