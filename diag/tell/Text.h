// Sizes, times, rights, errors and problems as text.
#pragma once

#include "diag/record/Records.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Diag {

/// Columns that a UTF-8 text takes, counting each character as one.
[[nodiscard]] std::size_t Columns(std::string_view text);

/// "1.5 MiB"; below 1024 "17 B".
[[nodiscard]] std::string SizeText(std::int64_t bytes);

/// "45 s", "12 min", "36 h", "9 d": in the largest unit that comes to two or more. What lies in the future has no age.
[[nodiscard]] std::string AgeText(std::int64_t seconds);

/// Local time as ISO 8601 with the offset from UTC, "2026-03-01T14:05:09+01:00".
[[nodiscard]] std::string TimeText(std::int64_t seconds);

/// "rw-rw-r--"
[[nodiscard]] std::string ModeText(unsigned mode);

/// The system's words for an errno, in English whatever the language, so that reports can be compared; empty for 0.
[[nodiscard]] std::string ErrorText(int number);
/// "fork: Resource temporarily unavailable"
[[nodiscard]] std::string ErrorText(const SystemError& error);

/// "not-running": what reports for programs and findings call a state of the service.
[[nodiscard]] const char* StateName(ServiceState state);
/// The same for people, a message id.
[[nodiscard]] const char* StateText(ServiceState state);

/// "08e6:3437 Gemalto USB SmartCard Reader": numbers of vendor and product, and what the device calls itself.
[[nodiscard]] std::string UsbName(const UsbReader& device);

/// "line 3: config/lumo_Client/Language "x": value not allowed", in the chosen language.
[[nodiscard]] std::string ProblemText(const FileProblem& problem);

[[nodiscard]] std::string Join(const std::vector<std::string>& parts, std::string_view separator);

} // namespace Diag
