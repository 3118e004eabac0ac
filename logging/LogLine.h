// What a line of a log file looks like.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace Vantor {

enum DebugLevel : int;

/// The type's name, right-aligned in the 13 characters that it has in a line.
std::string_view PaddedTypeName(DebugLevel type);

/// "2026-03-01 14:05:09" in the time zone of now; empty for a time that no calendar holds.
std::string LocalTimeText(std::time_t time);

/// Makes `line` the line of an entry, line end included. The line's memory is used again.
/// @param timeText see LocalTimeText; a raw line has neither time nor type nor thread
void FormatLine(std::string& line, DebugLevel type, std::string_view timeText, bool withThreadId,
                std::string_view text);

} // namespace Vantor
