#include "diag/tell/CheckedLog.h"

#include "diag/record/Printable.h"
#include "logging/Logging.h"

#include <sys/stat.h>

namespace Diag {

namespace {

constexpr unsigned EntriesInFile = 100000;

/// 0 for one that is taken away: the engine makes a new one within a second.
std::int64_t SizeOf(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : 0;
}

} // namespace

CheckedLog::CheckedLog(const std::string& file)
    : engine(Vantor::LibLogging::GetHandle(static_cast<unsigned>(Vantor::LibLogging::Register()))),
      path(Vantor::LibLogging::AppendLogExtension(file)) {
    engine->Init(file, EntriesInFile, true);
    size = SizeOf(path); // of what could not be archived
    engine->Enabled(true);
    Write(false, std::string("lumodiag ") + LUMOADMIN_VERSION);
}

CheckedLog::~CheckedLog() {
    static_cast<void>(Close());
}

void CheckedLog::Write(bool isError, const std::string& text) {
    // What readers call themselves must neither begin a line of its own nor steer the terminal that shows the file.
    const std::string line = Printable(text);
    isError ? engine->LogError(line) : engine->LogMessage(line);
    Look();
}

bool CheckedLog::Close() {
    if (engine != nullptr) {
        engine->Destroy(); // with a last line
        engine = nullptr;
        Look();
    }
    return IsWhole();
}

/// Each line changes the size: it grows, or shrinks where the file was full and a new one was begun. A file that was
/// taken away may have taken the line along.
void CheckedLog::Look() {
    const std::int64_t before = size;
    size = SizeOf(path);
    isWhole = isWhole && size != before && size > 0;
}

} // namespace Diag
