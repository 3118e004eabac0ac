// Takes out of a report what names one device or person: serial numbers, home directories, accounts of people.
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

    /// Learns the serial numbers of these devices, too.
    void Learn(const std::vector<UsbReader>& devices);

    /// The text with its serial numbers shortened to their beginning, with "~" for the home directory, and with no name
    /// in those of other people.
    [[nodiscard]] std::string Text(const std::string& text) const;
    void Apply(Report& report) const;
    void Apply(std::vector<Finding>& findings) const;

private:
    void Learn(const std::string& bytes);
    void Apply(ConfigurationState& state) const;
    void Apply(ConfigurationFile& configuration) const;
    void Apply(FileProblem& problem) const;
    void Apply(LogDirectory& directory) const;

    std::vector<std::string> serials; ///< longest first
    std::string home;
};

/// The first characters of a serial number, at most three and no more than a third, and "…".
[[nodiscard]] std::string Shortened(const std::string& serial);

} // namespace Diag
