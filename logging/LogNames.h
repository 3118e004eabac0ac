// The names that are derived from a log file's: those of its numbered parts and of its archives.
#pragma once

#include <string>

namespace Vantor {

/// Splits a log file's name at ".log", ".txt" or another short extension. Derived names always end in ".log", so "log"
/// is reported whatever the extension was.
/// @param ext "log", or empty when no extension was found and `base` is the whole name
/// @return true when an extension was found
bool GetLogExtension(const std::string& name, std::string& base, std::string& ext);

/// base_0.log and so on.
std::string NumberedLogName(const std::string& name, unsigned long number);

/// The name itself when no such file can be read, else the first of base_0.log, base_1.log … that cannot.
std::string FreeLogName(const std::string& name);

/// base_2026-03-01_13-05-09.log, the time of now in UTC.
std::string StampedLogName(const std::string& name);

} // namespace Vantor
