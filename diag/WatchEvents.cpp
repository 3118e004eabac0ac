// What happened between two looks at the service, and how it is told.
#include "diag/Watch.h"

#include "diag/Language.h"
#include "diag/PcscNames.h"
#include "diag/Text.h"

#include <nlohmann/json.hpp>
#include <winscard.h>

#include <algorithm>

namespace Diag {

namespace {

struct EventText {
    EventKind kind;
    const char* id;
    const char* text; ///< message id
};

const EventText EventTexts[] = {
    {EventKind::ServiceThere, "service-there", Mark("PC/SC-Dienst antwortet")},
    {EventKind::ServiceGone, "service-gone", Mark("PC/SC-Dienst nicht erreichbar")},
    {EventKind::ServiceSilent, "service-silent", Mark("PC/SC-Dienst antwortet nicht mehr")},
    {EventKind::ReaderAttached, "reader-attached", Mark("Leser da")},
    {EventKind::ReaderGone, "reader-gone", Mark("Leser weg")},
    {EventKind::CardInserted, "card-inserted", Mark("Karte eingesteckt")},
    {EventKind::CardRemoved, "card-removed", Mark("Karte entnommen")},
    {EventKind::CardMute, "card-mute", Mark("Karte antwortet nicht")},
    {EventKind::Used, "used", Mark("von einem Programm benutzt")},
    {EventKind::Held, "held", Mark("von einem Programm ausschließlich benutzt")},
    {EventKind::Released, "released", Mark("von keinem Programm mehr benutzt")},
};

const EventText& TextOf(EventKind kind) {
    return *std::find_if(std::begin(EventTexts), std::end(EventTexts),
                         [kind](const EventText& row) { return row.kind == kind; });
}

enum class Service { There, Gone, Silent };

Service ServiceOf(const Sight& sight) {
    return !sight.answers ? Service::Silent : sight.code == SCARD_S_SUCCESS ? Service::There : Service::Gone;
}

/// A reader that was unplugged may stay in the list; it counts as gone all the same.
const ReaderSight* Find(const Sight& sight, const std::string& name) {
    const auto found = std::find_if(sight.readers.begin(), sight.readers.end(), [&](const ReaderSight& reader) {
        return reader.name == name && (reader.state & SCARD_STATE_UNAVAILABLE) == 0;
    });
    return found == sight.readers.end() ? nullptr : &*found;
}

enum class Card { None, Mute, There };

Card CardOf(const ReaderSight& reader) {
    if ((reader.state & SCARD_STATE_PRESENT) == 0) {
        return Card::None;
    }
    return (reader.state & SCARD_STATE_MUTE) != 0 ? Card::Mute : Card::There;
}

enum class Use { None, Shared, Exclusive };

Use UseOf(const ReaderSight& reader) {
    if ((reader.state & SCARD_STATE_EXCLUSIVE) != 0) {
        return Use::Exclusive;
    }
    return (reader.state & SCARD_STATE_INUSE) != 0 ? Use::Shared : Use::None;
}

/// The service counts insertions and removals in the state's upper half, so that none is missed between two looks.
bool IsSameCard(const ReaderSight& before, const ReaderSight& after) {
    const auto isChange = [](unsigned long count) { return count % 2 == 0; };
    const unsigned long passed = (after.state >> 16) - (before.state >> 16);
    return before.atr == after.atr && (passed == 0 || !isChange(passed));
}

void CompareCards(const ReaderSight& before, const ReaderSight& after, std::vector<Event>& events) {
    const Card was = CardOf(before);
    const Card is = CardOf(after);
    if (was == is && (is != Card::There || IsSameCard(before, after))) {
        return;
    }
    if (was != Card::None && (is == Card::None || was == is)) {
        events.push_back({EventKind::CardRemoved, after.name, {}});
    }
    if (is != Card::None) {
        events.push_back(
            {is == Card::Mute ? EventKind::CardMute : EventKind::CardInserted, after.name, HexBytes(after.atr)});
    }
}

void CompareUses(const ReaderSight& before, const ReaderSight& after, std::vector<Event>& events) {
    if (UseOf(before) != UseOf(after)) {
        const Use use = UseOf(after);
        events.push_back({use == Use::None     ? EventKind::Released
                          : use == Use::Shared ? EventKind::Used
                                               : EventKind::Held,
                          after.name,
                          {}});
    }
}

void CompareReaders(const Sight& before, const Sight& after, std::vector<Event>& events) {
    for (const ReaderSight& reader : before.readers) {
        if (Find(before, reader.name) == &reader && Find(after, reader.name) == nullptr) {
            events.push_back({EventKind::ReaderGone, reader.name, {}});
        }
    }
    for (const ReaderSight& reader : after.readers) {
        if (Find(after, reader.name) != &reader) {
            continue;
        }
        const ReaderSight* was = Find(before, reader.name);
        const ReaderSight nothing{reader.name, 0, {}};
        if (was == nullptr) {
            events.push_back({EventKind::ReaderAttached, reader.name, {}});
            was = &nothing;
        }
        CompareCards(*was, reader, events);
        CompareUses(*was, reader, events);
    }
}

} // namespace

std::vector<Event> CompareSights(const Sight& before, const Sight& after) {
    std::vector<Event> events;
    const Service is = ServiceOf(after);
    if (ServiceOf(before) != is) {
        events.push_back(is == Service::There    ? Event{EventKind::ServiceThere, {}, {}}
                         : is == Service::Silent ? Event{EventKind::ServiceSilent, {}, {}}
                                                 : Event{EventKind::ServiceGone, {}, ResultText(after.code)});
    }
    // While it is silent nobody knows about its readers.
    if (is != Service::Silent) {
        CompareReaders(before, after, events);
    }
    return events;
}

std::string FormatEvent(const Event& event, const std::string& time) {
    std::string line = time + "  " + Translate(TextOf(event.kind).text);
    line += event.reader.empty() ? "" : ": " + event.reader;
    return Printable(event.detail.empty() ? line : line + " (" + event.detail + ")");
}

std::string FormatEventJson(const Event& event, const std::string& time) {
    nlohmann::ordered_json document = {{"time", time}, {"event", TextOf(event.kind).id}};
    if (!event.reader.empty()) {
        document["reader"] = Printable(event.reader);
    }
    if (!event.detail.empty()) {
        document["detail"] = Printable(event.detail);
    }
    return document.dump();
}

} // namespace Diag
