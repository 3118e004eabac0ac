// A report in which everything occurs once, for the renderers' golden files.
#pragma once

#include "diag/record/Records.h"
#include "diag/tell/Findings.h"

#include <string>
#include <vector>

constexpr char SampleHome[] = "/home/anna";

/// Made up as if on a machine with four readers, one of them held by another program.
Diag::Report SampleReport();
/// Serial numbers and paths in it that belong to one device or person.
std::vector<std::string> SampleSecrets();
/// Both forms of the report, one behind the other.
std::string SampleText(const Diag::Report& report, const std::vector<Diag::Finding>& findings);

/// The text of a golden file. With LUMOADMIN_UPDATE_GOLDEN in the environment the file is written from `actual` first;
/// look at the difference before checking it in.
std::string Golden(const std::string& name, const std::string& actual);
