// Takes out of what is passed on whatever could name a device, a person or this machine.
#pragma once

#include "diag/record/Records.h"
#include "diag/tell/Secrets.h"

#include <string>
#include <vector>

namespace Diag {

/// Texts of others pass only as far as their words are known ones (diag/Vocabulary.h); "…" stands for the rest. What is
/// known to be a secret goes whatever word it is: serial numbers of readers and USB devices, which are shortened, and
/// the accounts, real names and home directories of people and the name of the machine, in either case, written with
/// separators, in hexadecimal, as an escape, or with two bytes a character.
class Redaction {
public:
    /// Learns the people of this machine and its name.
    /// @param home  directory that is written "~"; may be empty
    explicit Redaction(const std::string& home);
    /// Learns the serial numbers of the report, too, and what its readers are called.
    Redaction(const Report& report, const std::string& home);

    /// Learns the serial numbers of these devices, too.
    void Learn(const std::vector<UsbReader>& devices);

    /// A name that a reader, a maker or a product has.
    [[nodiscard]] std::string Device(const std::string& text) const;
    /// The path of a file or folder.
    [[nodiscard]] std::string Path(const std::string& text) const;
    /// A line of ours that may have a reader's name in it: of the report, or behind AsksReader.
    [[nodiscard]] std::string Line(const std::string& text) const;
    /// Everything of a report that is shown. Numbers, times, result codes and answers to reset stay.
    void Apply(Report& report) const;

private:
    [[nodiscard]] std::string Element(const std::string& path) const;

    void Apply(Reader& reader) const;
    void Apply(UsbReader& device) const;
    void Apply(ConfigurationState& state) const;
    void Apply(ConfigurationFile& configuration) const;
    void Apply(FileFacts& file) const;
    void Apply(FileProblem& problem) const;
    void Apply(LogDirectory& directory) const;

    std::string home; ///< without slashes at its end
    Secrets secrets;
};

} // namespace Diag
