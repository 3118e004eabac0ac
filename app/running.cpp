// lumoadmin-running: tells the launcher whether this user's window is open already, for the window itself ends silently
// then. Prints the process number (0: out of sight), the local time since when, and the account; ends with 1 if none is
// open.
#include "util/InstanceLock.h"

#include <cstdio>
#include <ctime>

int main() {
    const auto copy = Vantor::FindRunningCopy();
    if (!copy) {
        return 1;
    }
    const auto since = static_cast<std::time_t>(copy->since);
    struct tm parts = {};
    char time[20] = "?";
    if (localtime_r(&since, &parts) != nullptr) {
        std::strftime(time, sizeof time, "%Y-%m-%d %H:%M", &parts);
    }
    return std::printf("%ld %s %s\n", static_cast<long>(copy->process), time, copy->user.c_str()) > 0 ? 0 : 1;
}
