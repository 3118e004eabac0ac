// Following readers and cards while they come and go.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Diag {

/// A reader as the service sees it at one moment.
struct ReaderSight {
    std::string name;
    unsigned long state = 0; ///< SCARD_STATE_ bits
    std::string atr;
};

/// The service at one moment.
struct Sight {
    bool answers = true; ///< false: it let the time limit pass
    long code = 0;       ///< PC/SC result of asking it; the list is empty unless it is SCARD_S_SUCCESS
    std::vector<ReaderSight> readers;
};

enum class EventKind {
    ServiceThere,
    ServiceGone,
    ServiceSilent,
    ReaderAttached,
    ReaderGone,
    CardInserted,
    CardRemoved,
    CardMute,
    Used,
    Held,
    Released,
};

struct Event {
    EventKind kind = EventKind::ServiceThere;
    std::string reader;
    std::string detail; ///< ATR in hexadecimal, PC/SC error
};

/// What happened between two looks, services first, then reader by reader.
[[nodiscard]] std::vector<Event> CompareSights(const Sight& before, const Sight& after);

/// One line for people, without its end.
[[nodiscard]] std::string FormatEvent(const Event& event, const std::string& time);
/// One JSON document on one line, without its end.
[[nodiscard]] std::string FormatEventJson(const Event& event, const std::string& time);

/// Hands over each event as it happens, beginning with what is there, until SIGINT, SIGTERM or until `take` says no.
void WatchReaders(const std::function<bool(const Event&)>& take);

} // namespace Diag
