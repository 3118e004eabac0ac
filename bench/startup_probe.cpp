// Starts a program and tells when its window stood on the display in its real size, from X11 events alone.
//
// usage: startup_probe PROGRAM [ARGUMENT...]
// Prints one line: milliseconds from exec to the window mapped in its final size, milliseconds of processor time and
// KiB of private memory, both taken when the window has been quiet for a while. The program is ended afterwards.

#include <X11/Xlib.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSmallestWindow = 200; // pixels; toolkits map small helper windows too
constexpr int kQuietMilliseconds = 400;
constexpr int kPatienceMilliseconds = 20000;

struct Window_ {
    int width = 0;
    int height = 0;
    bool mapped = false;
    Clock::time_point settled; // last time at which it was mapped or changed its size
};

double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

/// Processor time of all threads in milliseconds, from the scheduler's own nanosecond counters.
double processorTime(pid_t pid) {
    double total = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::ifstream file(task.path() / "schedstat");
        double nanoseconds = 0;
        file >> nanoseconds;
        total += nanoseconds / 1e6;
    }
    return total;
}

/// Private memory in KiB: pages that no other process shares.
long privateMemory(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/smaps_rollup");
    long total = 0;
    for (std::string word; file >> word;) {
        if (word == "Private_Clean:" || word == "Private_Dirty:") {
            long value = 0;
            file >> value;
            total += value;
        }
    }
    return total;
}

class Probe {
public:
    explicit Probe(Display* display) : display_(display) {
        XSelectInput(display_, DefaultRootWindow(display_), SubstructureNotifyMask);
        XSync(display_, False);
    }

    /// @return when the first large window reached the size that it kept; the epoch if none came in time.
    Clock::time_point waitForWindow() {
        const auto start = Clock::now();
        while (milliseconds(Clock::now() - start) < kPatienceMilliseconds) {
            if (!waitForEvent(kQuietMilliseconds)) {
                if (const Window_* window = shown()) {
                    return window->settled;
                }
                continue;
            }
            while (XPending(display_) > 0) {
                XEvent event;
                XNextEvent(display_, &event);
                note(event, Clock::now());
            }
        }
        return {};
    }

private:
    bool waitForEvent(int patience) {
        if (XPending(display_) > 0) {
            return true;
        }
        pollfd connection{ConnectionNumber(display_), POLLIN, 0};
        return poll(&connection, 1, patience) > 0;
    }

    void note(const XEvent& event, Clock::time_point now) {
        if (event.type == CreateNotify) {
            windows_[event.xcreatewindow.window] = {event.xcreatewindow.width, event.xcreatewindow.height, false, now};
        } else if (event.type == MapNotify && event.xmap.override_redirect == False) {
            Window_& window = windows_[event.xmap.window];
            window.mapped = true;
            window.settled = now;
        } else if (event.type == ConfigureNotify) {
            Window_& window = windows_[event.xconfigure.window];
            if (window.width != event.xconfigure.width || window.height != event.xconfigure.height) {
                window = {event.xconfigure.width, event.xconfigure.height, window.mapped, now};
            }
        }
    }

    const Window_* shown() const {
        for (const auto& [id, window] : windows_) {
            if (window.mapped && window.width >= kSmallestWindow && window.height >= kSmallestWindow) {
                return &window;
            }
        }
        return nullptr;
    }

    Display* display_;
    std::map<Window, Window_> windows_;
};

} // namespace

int main(int argc, char* argv[]) {
    Display* display = argc > 1 ? XOpenDisplay(nullptr) : nullptr;
    if (!display) {
        std::fprintf(stderr, "usage: startup_probe PROGRAM [ARGUMENT...], with a display\n");
        return 64;
    }
    Probe probe(display);
    const auto start = Clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        close(ConnectionNumber(display));
        execv(argv[1], argv + 1);
        _exit(127);
    }
    const auto shown = probe.waitForWindow();
    const bool found = shown != Clock::time_point{};
    if (found) {
        std::printf("%.3f %.3f %ld\n", milliseconds(shown - start), processorTime(pid), privateMemory(pid));
    }
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    XCloseDisplay(display);
    return found ? 0 : 1;
}
