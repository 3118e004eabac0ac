#include "diag/ask/Sights.h"

#include "diag/record/PcscNames.h"
#include "diag/record/Printable.h"

#include <winscard.h>

#include <algorithm>

namespace Diag {

namespace {

enum class State { There, Gone, Silent };

State StateOf(const Sight& sight) {
    return !sight.answers ? State::Silent : sight.code == SCARD_S_SUCCESS ? State::There : State::Gone;
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
    const State is = StateOf(after);
    if (StateOf(before) != is) {
        events.push_back(is == State::There    ? Event{EventKind::ServiceThere, {}, {}}
                         : is == State::Silent ? Event{EventKind::ServiceSilent, {}, {}}
                                               : Event{EventKind::ServiceGone, {}, ResultText(after.code)});
    }
    // While it is silent nobody knows about its readers.
    if (is != State::Silent) {
        CompareReaders(before, after, events);
    }
    return events;
}

} // namespace Diag
