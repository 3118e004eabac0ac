#include "diag/ask/Watch.h"

#include "diag/ask/ChildProcess.h"
#include "diag/ask/Packing.h"
#include "diag/ask/Sights.h"
#include "readers/EnumReaders.h"

#include <winscard.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <tuple>
#include <utility>

#include <time.h>

namespace Diag {

template <>
constexpr auto Members<ReaderSight> = std::tuple(&ReaderSight::name, &ReaderSight::state, &ReaderSight::atr);

template <>
constexpr auto Members<Sight> = std::tuple(&Sight::answers, &Sight::code, &Sight::readers);

namespace {

constexpr unsigned long LookEvery = 1000; // milliseconds; changes are reported at once
constexpr std::chrono::milliseconds Patience(2000 + LookEvery);
/// The service reports under this name that its list of readers changed.
constexpr char ListChanges[] = "\\\\?PnP?\\Notification";

volatile std::sig_atomic_t g_stopped = 0;

void Stop(int /*signal*/) {
    g_stopped = 1;
}

/// SIGINT and SIGTERM end the watch in order while this lives.
class StopSignals {
public:
    StopSignals() {
        g_stopped = 0;
        struct sigaction action = {};
        action.sa_handler = Stop; // without SA_RESTART: it has to break a wait
        sigaction(SIGINT, &action, &interrupt);
        sigaction(SIGTERM, &action, &terminate);
    }
    ~StopSignals() {
        sigaction(SIGINT, &interrupt, nullptr);
        sigaction(SIGTERM, &terminate, nullptr);
    }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

private:
    struct sigaction interrupt = {};
    struct sigaction terminate = {};
};

SCARD_READERSTATE Ask(const char* name, unsigned long known) {
    SCARD_READERSTATE state = {};
    state.szReader = name;
    state.dwCurrentState = known;
    return state;
}

ReaderSight SightOf(const std::string& name, const SCARD_READERSTATE& state) {
    const auto length = std::min<std::size_t>(state.cbAtr, sizeof(state.rgbAtr));
    return {name, state.dwEventState & ~static_cast<unsigned long>(SCARD_STATE_CHANGED),
            std::string(reinterpret_cast<const char*>(state.rgbAtr), length)};
}

/// Sends what there is, then waits until something changes or a second has passed.
/// @return the result of the last PC/SC call
long Look(const ParentProcess& parent, SCARDCONTEXT context) {
    std::vector<std::string> names;
    // Without readers this fails, which is no reason to stop looking.
    const bool isListed = Vantor::ListPCSCReaders(names);
    Sight sight;
    std::vector<SCARD_READERSTATE> states;
    states.reserve(names.size());
    for (const std::string& name : names) {
        states.push_back(Ask(name.c_str(), SCARD_STATE_UNAWARE));
    }
    if (isListed) {
        const long code = SCardGetStatusChange(context, 0, states.data(), states.size());
        if (code != SCARD_S_SUCCESS) {
            return code;
        }
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        sight.readers.push_back(SightOf(names[i], states[i]));
        states[i].dwCurrentState = sight.readers.back().state;
    }
    parent.Send(Packer().Put(sight).Bytes());
    states.push_back(Ask(ListChanges, names.size() << 16));
    return SCardGetStatusChange(context, LookEvery, states.data(), states.size());
}

bool MayGoOn(long code) {
    return code == SCARD_S_SUCCESS || code == SCARD_E_TIMEOUT || code == SCARD_E_UNKNOWN_READER;
}

/// The child's work: looks until the service goes away.
void KeepLooking(const ParentProcess& parent) {
    SCARDCONTEXT context = 0;
    long code = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context);
    if (code == SCARD_S_SUCCESS) {
        while (MayGoOn(code)) {
            code = Look(parent, context);
        }
        SCardReleaseContext(context);
    }
    Sight gone;
    gone.code = code;
    parent.Send(Packer().Put(gone).Bytes());
}

/// Waits a moment before the service is asked anew; a signal breaks it.
void Pause() {
    const struct timespec moment = {0, 500000000};
    nanosleep(&moment, nullptr);
}

class Watcher {
public:
    explicit Watcher(const std::function<bool(const Event&)>& taker) : take(taker) {
        // As if it had been silent, so that the first look tells everything.
        last.answers = false;
    }

    void Run() {
        while (goesOn && g_stopped == 0) {
            WatchChild();
            if (goesOn && g_stopped == 0) {
                Pause();
            }
        }
    }

private:
    void WatchChild() {
        std::unique_ptr<ChildProcess> child;
        try {
            child = std::make_unique<ChildProcess>(KeepLooking);
        } catch (const SystemError& error) {
            TakeObstacle(error);
            return;
        }
        Follow(*child);
    }

    void Follow(ChildProcess& child) {
        std::string bytes;
        while (goesOn) {
            const ChildProcess::News news = child.Receive(bytes, Patience);
            if (g_stopped != 0 || news == ChildProcess::News::End) {
                return;
            }
            if (news == ChildProcess::News::Message) {
                Take(Unpacker(bytes).Get<Sight>());
            } else if (news == ChildProcess::News::Silence) {
                TakeSilence();
                return;
            }
        }
    }

    /// Without a process nobody can be asked; the next pause may help.
    void TakeObstacle(const SystemError& reason) {
        if (obstacle.call != reason.call || obstacle.number != reason.number) {
            obstacle = reason;
            goesOn = take({EventKind::ServiceGone, {}, {}, reason});
        }
        last.answers = false; // so that it is told when it speaks again
    }

    void TakeSilence() {
        Sight silent = last; // its readers are compared when it speaks again
        silent.answers = false;
        if (last.answers || !wasSilenceTold) {
            wasSilenceTold = true;
            goesOn = take({EventKind::ServiceSilent, {}, {}});
        }
        last = std::move(silent);
    }

    void Take(Sight sight) {
        for (const Event& event : CompareSights(last, sight)) {
            goesOn = goesOn && take(event);
        }
        wasSilenceTold = false;
        obstacle = {};
        last = std::move(sight);
    }

    std::function<bool(const Event&)> take;
    Sight last;
    bool wasSilenceTold = false;
    SystemError obstacle; ///< why there is no process to ask with, once it was told
    bool goesOn = true;
};

} // namespace

void WatchReaders(const std::function<bool(const Event&)>& take) {
    const StopSignals signals;
    Watcher(take).Run();
}

} // namespace Diag
