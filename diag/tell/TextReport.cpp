#include "diag/tell/TextReport.h"

#include "diag/record/Mark.h"
#include "diag/record/PcscNames.h"
#include "diag/record/Printable.h"
#include "diag/tell/Language.h"
#include "diag/tell/Text.h"

#include <reader.h>
#include <winscard.h>

#include <algorithm>
#include <numeric>

namespace Diag {

namespace {

constexpr std::size_t LabelColumns = 20;
constexpr std::size_t ShownLogFiles = 10;

/// Lines with labels in a column of their own. All text of the report passes here, so here it is made printable.
class Page {
public:
    void Heading(const std::string& title) {
        text += "\n";
        Plain(title, 0);
    }
    void Item(const std::string& title) { Plain(title, 2); }
    void Line(const char* label, const std::string& value, std::size_t indent = 2) {
        Named(Translate(label), value, indent);
    }
    /// A line whose label is no text of ours.
    void Named(const std::string& name, const std::string& value, std::size_t indent) {
        const std::size_t columns = indent + Columns(Printable(name));
        const std::size_t wanted = LabelColumns + 4;
        Plain(name + std::string(columns < wanted ? wanted - columns : 1, ' ') + value, indent);
    }
    void Plain(const std::string& line, std::size_t indent) {
        text += std::string(indent, ' ') + Printable(line) + "\n";
    }

    std::string text;
};

std::string YesNo(bool yes) {
    return Translate(yes ? Mark("ja") : Mark("nein"));
}

void AddService(Page& page, const Service& service) {
    page.Heading(Translate("PC/SC-Dienst"));
    page.Line(Mark("Zustand"), Translate(StateText(service.state)));
    if (service.code != SCARD_S_SUCCESS) {
        page.Line(Mark("Meldung"), ResultText(service.code));
    }
    if (!service.call.empty()) {
        page.Line(Mark("Hängt in"), service.call);
    }
    page.Line(Mark("Programm"), service.program.empty() ? Translate("nicht gefunden") : service.program);
    page.Line(Mark("Prozess"), service.process == 0
                                   ? std::string(Translate("keiner zu sehen"))
                                   : std::to_string(service.process) + " (" + service.processState + ")");
    page.Line(Mark("Socket"), service.socket);
}

std::string CardText(const Reader& reader) {
    if ((reader.state & SCARD_STATE_PRESENT) == 0) {
        return Translate("keine");
    }
    std::vector<std::string> parts = {Translate("steckt")};
    if (reader.protocol != 0) {
        parts.push_back(ProtocolName(reader.protocol));
    }
    if (!reader.atr.empty()) {
        parts.push_back("ATR " + HexBytes(reader.atr));
    }
    if (reader.cardCode != SCARD_S_SUCCESS) {
        parts.push_back(ResultText(reader.cardCode));
    }
    return Join(parts, ", ");
}

std::string UseText(const Reader& reader) {
    if (IsHeld(reader)) {
        return Translate("von einem anderen Programm, ausschließlich");
    }
    return Translate(IsInUse(reader) ? Mark("auch von einem anderen Programm") : Mark("von keinem anderen Programm"));
}

std::string AttributeText(const Attribute& attribute) {
    if (attribute.code == SCARD_E_UNSUPPORTED_FEATURE) {
        return Translate("nennt der Treiber nicht");
    }
    if (attribute.code != SCARD_S_SUCCESS) {
        return ResultText(attribute.code);
    }
    // A number that each driver writes as it likes.
    return attribute.tag == SCARD_ATTR_DEVICE_UNIT ? HexBytes(attribute.bytes) : Printable(attribute.bytes);
}

void AddAttributes(Page& page, const Reader& reader) {
    for (const AttributeName& name : AttributeNames) {
        const auto found = std::find_if(reader.attributes.begin(), reader.attributes.end(),
                                        [&](const Attribute& attribute) { return attribute.tag == name.tag; });
        if (found != reader.attributes.end()) {
            page.Line(name.label, AttributeText(*found), 6);
        }
    }
}

std::string WhyVerdictsDiffer(const Reader& reader) {
    if (reader.isSecureByName == reader.isSecure) {
        return std::string();
    }
    if (!reader.isSecureByName) {
        return Translate("der Name steht nicht in der Tabelle");
    }
    if (reader.featuresCode != SCARD_S_SUCCESS && reader.featuresCode != SCARD_E_UNSUPPORTED_FEATURE) {
        return std::string(Translate("die Abfrage schlug fehl")) + ": " + ResultText(reader.featuresCode);
    }
    const std::vector<Feature> features = ParseFeatures(reader.features);
    return Translate(CanVerify(features)   ? Mark("der Treiber bietet kein Ändern der PIN an")
                     : CanModify(features) ? Mark("der Treiber bietet kein Prüfen der PIN an")
                                           : Mark("der Treiber bietet keine PIN-Eingabe an"));
}

void AddPinPad(Page& page, const Reader& reader) {
    const std::string why = WhyVerdictsDiffer(reader);
    page.Line(
        Mark("PIN-Tastatur"),
        Fill(Translate("nach Abfrage %s, nach Namen %s"), {YesNo(reader.isSecure), YesNo(reader.isSecureByName)}) +
            (why.empty() ? "" : " (" + why + ")"),
        6);
    if (reader.featuresCode != SCARD_S_SUCCESS) {
        page.Line(Mark("Funktionen"),
                  reader.featuresCode == SCARD_E_UNSUPPORTED_FEATURE ? Translate("keine")
                                                                     : ResultText(reader.featuresCode),
                  6);
        return;
    }
    const std::vector<Feature> features = ParseFeatures(reader.features);
    if (features.empty()) {
        page.Line(Mark("Funktionen"), Translate("keine"), 6);
    }
    const char* label = Mark("Funktionen");
    for (const Feature& feature : features) {
        const std::string name = feature.name.empty() ? "TAG " + std::to_string(feature.tag) : feature.name;
        page.Line(label, name + " " + HexNumber(feature.controlCode), 6);
        label = "";
    }
}

void AddReader(Page& page, const Reader& reader, std::size_t number) {
    page.Item(std::to_string(number) + "  " + reader.name);
    if (!reader.asked) {
        page.Line(Mark("Zustand"), Translate("nicht gefragt"), 6);
        return;
    }
    if (reader.statusCode != SCARD_S_SUCCESS) {
        page.Line(Mark("Zustand"), ResultText(reader.statusCode), 6);
    }
    page.Line(Mark("Karte"), CardText(reader), 6);
    page.Line(Mark("Benutzt"), UseText(reader), 6);
    if (reader.directCode != SCARD_S_SUCCESS) {
        page.Line(Mark("Leser öffnen"), ResultText(reader.directCode), 6);
    }
    if (!reader.hangingCall.empty()) {
        page.Line(Mark("Hängt in"), reader.hangingCall, 6);
    }
    AddAttributes(page, reader);
    if (reader.featuresAsked) {
        AddPinPad(page, reader);
    } else {
        page.Line(Mark("PIN-Tastatur"), Fill(Translate("nicht gefragt, nach Namen %s"), {YesNo(reader.isSecureByName)}),
                  6);
    }
}

void AddReaders(Page& page, const Report& report) {
    page.Heading(Fill(Translate("Kartenleser an PC/SC: %s"), {std::to_string(report.readers.size())}));
    if (report.readers.empty() && report.listCode != SCARD_S_SUCCESS) {
        page.Line(Mark("Meldung"), ResultText(report.listCode));
    }
    for (std::size_t i = 0; i < report.readers.size(); ++i) {
        AddReader(page, report.readers[i], i + 1);
    }
}

void AddUsb(Page& page, const Report& report) {
    page.Heading(Fill(Translate("Kartenleser am USB: %s"), {std::to_string(report.usbReaders.size())}));
    for (const UsbReader& device : report.usbReaders) {
        page.Item(UsbName(device));
        page.Line(Mark("Anschluss"), device.port, 6);
        page.Line(Mark("Treiber"), device.driver.empty() ? Translate("keiner") : device.driver, 6);
        if (!device.serial.empty()) {
            page.Line(Mark("Seriennummer"), device.serial, 6);
        }
        page.Line(Mark("In PC/SC"), YesNo(device.isListed), 6);
    }
}

std::string WritersText(const FileFacts& file) {
    std::vector<std::string> writers;
    if ((file.mode & 0200U) != 0) {
        writers.push_back(file.owner);
    }
    if ((file.mode & 0020U) != 0) {
        writers.push_back(Fill(Translate("Gruppe %s"), {file.group}));
    }
    if ((file.mode & 0002U) != 0) {
        writers.emplace_back(Translate("alle"));
    }
    return writers.empty() ? Translate("nur root") : Join(writers, ", ");
}

std::string DescribeParsing(const ConfigurationFile& configuration) {
    if (configuration.parsed) {
        return Translate("lesbar");
    }
    if (!configuration.malformed) {
        return Translate("nicht lesbar");
    }
    return ProblemText(*configuration.malformed);
}

void AddConfigurationFile(Page& page, const ConfigurationFile& configuration, bool hasSchema) {
    const FileFacts& file = configuration.file;
    page.Item(file.path);
    if (!file.owner.empty()) { // else nothing is known of what lies behind a closed folder
        page.Line(Mark("Rechte"), ModeText(file.mode) + " " + file.owner + ":" + file.group, 6);
        page.Line(Mark("Geändert"), TimeText(file.modified) + ", " + SizeText(file.size), 6);
        page.Line(Mark("Schreiben dürfen"), WritersText(file), 6);
    }
    if (file.isLink) {
        page.Line(Mark("Verweis auf"), file.target, 6);
    }
    if (file.exists) {
        page.Line(Mark("Inhalt"), DescribeParsing(configuration), 6);
    } else {
        page.Line(Mark("Datei"), Translate("gibt es nicht"), 6);
    }
    page.Line(Mark("Dieser Benutzer"),
              file.writable ? std::string(Translate("darf speichern"))
                            : Fill(Translate("darf nicht speichern (%s)"), {ErrorText(file.obstacle)}),
              6);
    if (configuration.parsed && hasSchema) {
        page.Line(Mark("Schema"),
                  Translate(configuration.documentType      ? Mark("nicht geprüft")
                            : configuration.invalid.empty() ? Mark("eingehalten")
                                                            : Mark("verletzt")),
                  6);
    }
    if (configuration.putAside) {
        page.Line(Mark("Beiseitegelegt"), file.path + ".unreadable", 6);
    }
}

std::string LanguageText(const std::optional<long>& number) {
    if (!number) {
        return Translate("nicht eingestellt");
    }
    const auto language = ClientSettings::LanguageOfNumber(*number);
    const std::string name = language ? LanguageName(*language) : Translate("unbekannt");
    return std::to_string(*number) + " (" + (name.empty() ? Translate("die des Systems") : name) + ")";
}

std::string SwitchText(const std::optional<long>& value) {
    const std::string state = Translate(value.value_or(0) > 0 ? Mark("ein") : Mark("aus"));
    return value ? state + " (" + std::to_string(*value) + ")" : state;
}

void AddSettings(Page& page, const ClientSettings::Record& settings) {
    page.Item(Translate("Gespeichert"));
    page.Line(Mark("Sprache"), LanguageText(settings.language), 6);
    page.Line(Mark("PKCS#11-Protokoll"),
              SwitchText(settings.traceLevel) + (settings.traceFile.empty() ? "" : ", " + settings.traceFile), 6);
    page.Line(Mark("Minitreiber-Prot."), SwitchText(settings.miniDriverLogging), 6);
    if (ClientSettings::IsAnyReader(settings)) {
        page.Line(Mark("Leser"), Translate("jeder"), 6);
        return;
    }
    if (settings.readers.empty()) {
        page.Line(Mark("Leser"), Translate("keiner"), 6);
    }
    for (const ClientSettings::StoredReader& reader : settings.readers) {
        const std::string kind = reader.library.empty() ? "PC/SC" : "CT-API, " + reader.library;
        page.Named(reader.element, reader.name + " (" + kind + ")", 6);
    }
    if (settings.hasMoreReaders) {
        page.Plain("...", 6);
    }
}

void AddLogDirectory(Page& page, const LogDirectory& directory, std::int64_t now) {
    page.Item(directory.path);
    page.Line(Mark("Verzeichnis"),
              Translate(directory.isHidden   ? Mark("dieser Benutzer darf nicht nachsehen")
                        : !directory.exists  ? Mark("gibt es nicht")
                        : directory.writable ? Mark("dieser Benutzer darf hineinschreiben")
                                             : Mark("dieser Benutzer darf nicht hineinschreiben")),
              6);
    if (!directory.exists) {
        return;
    }
    const std::int64_t total =
        std::accumulate(directory.files.begin(), directory.files.end(), std::int64_t{0},
                        [](std::int64_t sum, const LogFileFacts& file) { return sum + file.size; });
    page.Line(Mark("Dateien"), std::to_string(directory.files.size()) + ", " + SizeText(total), 6);
    for (std::size_t i = 0; i < directory.files.size() && i < ShownLogFiles; ++i) {
        const LogFileFacts& file = directory.files[i];
        page.Line(
            "", Join({TimeText(file.modified), AgeText(now - file.modified), SizeText(file.size), file.name}, "  "), 6);
    }
}

const char* SeverityText(Severity severity) {
    switch (severity) {
    case Severity::Error:
        return Mark("Fehler");
    case Severity::Warning:
        return Mark("Warnung");
    default:
        return Mark("Hinweis");
    }
}

void AddFinding(Page& page, const Finding& finding) {
    page.Item(std::string(Translate(SeverityText(finding.kind->severity))) + ": " + Translate(finding.kind->title));
    if (!finding.subject.empty()) {
        page.Plain(finding.subject, 6);
    }
    for (const std::string& detail : finding.details) {
        page.Plain(detail, 6);
    }
    page.Plain(Translate(finding.remedy), 6);
    for (const std::string& command : finding.commands) {
        page.Plain(command, 10);
    }
    page.Plain(Fill(Translate("Mehr dazu in failures.md unter \"%s\"."), {finding.kind->id}), 6);
}

} // namespace

std::string FormatText(const Report& report, const std::vector<Finding>& findings) {
    Page page;
    page.text = "lumodiag " + report.version + ", " + TimeText(report.time) + "\n";
    AddService(page, report.service);
    AddReaders(page, report);
    AddUsb(page, report);
    page.Heading(Translate("Konfiguration"));
    AddConfigurationFile(page, report.configuration.machine, true);
    AddConfigurationFile(page, report.configuration.user, false);
    if (report.configuration.machine.parsed) {
        AddSettings(page, report.configuration.settings);
    }
    page.Heading(Translate("Protokolle"));
    AddLogDirectory(page, report.logs.client, report.time);
    AddLogDirectory(page, report.logs.miniDriver, report.time);
    page.Heading(findings.empty() ? std::string(Translate("Nichts zu beanstanden."))
                                  : Fill(Translate("Befunde: %s"), {std::to_string(findings.size())}));
    for (const Finding& finding : findings) {
        AddFinding(page, finding);
    }
    return page.text;
}

} // namespace Diag
