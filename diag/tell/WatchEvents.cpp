#include "diag/tell/WatchEvents.h"

#include "diag/record/Mark.h"
#include "diag/record/Printable.h"
#include "diag/tell/Language.h"
#include "diag/tell/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

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

std::string DetailOf(const Event& event) {
    return event.obstacle.number == 0 ? event.detail : ErrorText(event.obstacle);
}

} // namespace

std::string FormatEvent(const Event& event, const std::string& time) {
    std::string line = time + "  " + Translate(TextOf(event.kind).text);
    line += event.reader.empty() ? "" : ": " + event.reader;
    const std::string detail = DetailOf(event);
    return Printable(detail.empty() ? line : line + " (" + detail + ")");
}

std::string FormatEventJson(const Event& event, const std::string& time) {
    nlohmann::ordered_json document = {{"time", time}, {"event", TextOf(event.kind).id}};
    if (!event.reader.empty()) {
        document["reader"] = Printable(event.reader);
    }
    const std::string detail = DetailOf(event);
    if (!detail.empty()) {
        document["detail"] = Printable(detail);
    }
    return document.dump();
}

} // namespace Diag
