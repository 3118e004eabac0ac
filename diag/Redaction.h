// Takes out of a report what names one device or person: serial numbers and the home directory.
#pragma once

#include "diag/Findings.h"
#include "diag/Records.h"

#include <string>
#include <vector>

namespace Diag {

class Redaction {
public:
    /// Learns nothing yet; only what stands in parentheses in readers' names counts as a serial number.
    /// @param home  directory that is written "~"; may be empty
    explicit Redaction(std::string home);
    /// Learns every serial number of the report, wherever it occurs.
    Redaction(const Report& report, std::string home);

    /// The text with its serial numbers shortened to their beginning, and with "~" for the home directory.
    [[nodiscard]] std::string Text(const std::string& text) const;
    void Apply(Report& report) const;
    void Apply(std::vector<Finding>& findings) const;

private:
    void Learn(const std::string& bytes);

    std::vector<std::string> serials; ///< longest first
    std::string home;
};

/// The first characters of a serial number, at most three and no more than a third, and "…".
[[nodiscard]] std::string Shortened(const std::string& serial);

} // namespace Diag
