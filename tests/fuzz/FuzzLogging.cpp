// Log file names and lines of any text.

#include "logging/Logging.h"
#include "tests/fuzz/Fuzz.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using Vantor::LibLogging;
    static LibLogging* const logger = LibLogging::GetHandle(0);
    const std::string text(reinterpret_cast<const char*>(data), size);

    std::string base, extension;
    const bool found = LibLogging::GetExtension(text, base, extension);
    fuzz::require(found == (extension == "log"), "a recognised extension is log");
    fuzz::require(text.compare(0, base.size(), base) == 0, "the base begins the name");
    const std::string complete = LibLogging::AppendLogExtension(text);
    fuzz::require(LibLogging::AppendLogExtension(complete) == complete, "an extension is appended once");
    const std::string stamped = LibLogging::NameWithTimeStamp(complete);
    fuzz::require(stamped.size() > 4 && stamped.compare(stamped.size() - 4, 4, ".log") == 0, "archives end in .log");

    const auto type = static_cast<Vantor::DebugLevel>(size > 0 ? data[0] % 9 : 0);
    const std::string line = logger->GetLogEntry(type, text);
    const std::string end = " " + text + "\n";
    fuzz::require(line.size() >= end.size() && line.compare(line.size() - end.size(), end.size(), end) == 0,
                  "a line ends in its text");
    return 0;
}
