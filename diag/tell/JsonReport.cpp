#include "diag/tell/JsonReport.h"

#include "diag/record/PcscNames.h"
#include "diag/record/Printable.h"
#include "diag/tell/Language.h"
#include "diag/tell/Text.h"

#include <nlohmann/json.hpp>
#include <winscard.h>

#include <algorithm>

namespace Diag {

namespace {

using Json = nlohmann::ordered_json;

const char* SeverityName(Severity severity) {
    switch (severity) {
    case Severity::Error:
        return "error";
    case Severity::Warning:
        return "warning";
    default:
        return "note";
    }
}

template <typename T>
Json OrNull(const T& value, bool isThere) {
    return isThere ? Json(value) : Json();
}

template <typename T>
Json ArrayOf(const std::vector<T>& records, Json (*format)(const T&)) {
    Json array = Json::array();
    for (const T& record : records) {
        array.push_back(format(record));
    }
    return array;
}

Json TextOrNull(const std::string& text) {
    return OrNull(text, !text.empty());
}

Json ResultJson(long code) {
    return {{"name", ResultName(code)}, {"code", HexNumber(static_cast<unsigned long>(code) & 0xFFFFFFFFUL)}};
}

/// Null for a call that was not made or did not return.
Json ResultOrNull(long code, bool isAnswered) {
    return isAnswered ? ResultJson(code) : Json();
}

Json NumberOrNull(const std::optional<long>& number) {
    return number ? Json(*number) : Json();
}

Json ServiceJson(const Service& service) {
    return {{"state", StateName(service.state)},
            {"result", ResultOrNull(service.code, service.answered)},
            {"hangingCall", TextOrNull(service.call)},
            {"obstacle", TextOrNull(ErrorText(service.obstacle))},
            {"program", TextOrNull(service.program)},
            {"process", OrNull(service.process, service.process != 0)},
            {"processState", OrNull(std::string(1, service.processState), service.process != 0)},
            {"socket", service.socket}};
}

Json AttributesJson(const Reader& reader) {
    Json attributes = Json::object();
    for (const AttributeName& name : AttributeNames) {
        const auto found = std::find_if(reader.attributes.begin(), reader.attributes.end(),
                                        [&](const Attribute& attribute) { return attribute.tag == name.tag; });
        if (found == reader.attributes.end()) {
            continue;
        }
        const bool isRead = found->code == SCARD_S_SUCCESS;
        attributes[name.key] = {{"tag", HexNumber(name.tag)},
                                {"result", ResultJson(found->code)},
                                {"text", OrNull(found->bytes, isRead)},
                                {"bytes", OrNull(HexBytes(found->bytes), isRead)}};
    }
    return attributes;
}

Json FeaturesJson(const Reader& reader) {
    Json features = Json::array();
    for (const Feature& feature : ParseFeatures(reader.features)) {
        features.push_back({{"tag", feature.tag},
                            {"name", TextOrNull(feature.name)},
                            {"controlCode", HexNumber(feature.controlCode)}});
    }
    return features;
}

Json PinPadJson(const Reader& reader) {
    Json pinPad = {{"byName", reader.isSecureByName},
                   {"byQuery", OrNull(reader.isSecure, reader.featuresAsked)},
                   {"result", ResultOrNull(reader.featuresCode, reader.featuresAsked)},
                   {"features", FeaturesJson(reader)}};
    return pinPad;
}

Json CardJson(const Reader& reader) {
    const bool isAnswered = reader.cardCode != SCARD_S_SUCCESS || (reader.connected && !reader.direct);
    return {{"present", (reader.state & SCARD_STATE_PRESENT) != 0},
            {"atr", OrNull(HexBytes(reader.atr), !reader.atr.empty())},
            {"protocol", TextOrNull(ProtocolName(reader.protocol))},
            {"result", ResultOrNull(reader.cardCode, isAnswered)}};
}

Json ReaderJson(const Reader& reader) {
    return {{"name", reader.name},
            {"asked", reader.asked},
            {"status", {{"result", ResultJson(reader.statusCode)}, {"state", HexNumber(reader.state)}}},
            {"card", CardJson(reader)},
            {"inUse", IsInUse(reader)},
            {"held", IsHeld(reader)},
            {"connection", reader.connected ? Json(reader.direct ? "reader" : "card") : Json()},
            {"directResult", ResultOrNull(reader.directCode, reader.direct || reader.directCode != SCARD_S_SUCCESS)},
            {"hangingCall", TextOrNull(reader.hangingCall)},
            {"attributes", AttributesJson(reader)},
            {"pinPad", PinPadJson(reader)}};
}

Json UsbJson(const UsbReader& device) {
    return {{"port", device.port},
            {"vendorId", device.vendorId},
            {"productId", device.productId},
            {"manufacturer", TextOrNull(device.manufacturer)},
            {"product", TextOrNull(device.product)},
            {"serial", TextOrNull(device.serial)},
            {"driver", TextOrNull(device.driver)},
            {"bus", device.bus},
            {"device", device.device},
            {"listed", device.isListed}};
}

Json ProblemJson(const FileProblem& problem) {
    return {{"line", OrNull(problem.line, problem.line != 0)},
            {"path", TextOrNull(problem.path)},
            {"text", Translate(problem.text.c_str())}};
}

Json FileJson(const ConfigurationFile& configuration) {
    const FileFacts& file = configuration.file;
    const bool isKnown = !file.owner.empty();
    const auto problemOrNull = [](const auto& problem) { return problem ? ProblemJson(*problem) : Json(); };
    return {{"path", file.path},
            {"exists", file.exists},
            {"owner", OrNull(file.owner, isKnown)},
            {"group", OrNull(file.group, isKnown)},
            {"mode", OrNull(ModeText(file.mode), isKnown)},
            {"target", TextOrNull(file.target)},
            {"names", OrNull(file.names, isKnown)},
            {"size", OrNull(file.size, isKnown)},
            {"modified", OrNull(TimeText(file.modified), isKnown)},
            {"readable", file.readable},
            {"writable", file.writable},
            {"obstacle", TextOrNull(ErrorText(file.obstacle))},
            {"parsed", configuration.parsed},
            {"malformed", problemOrNull(configuration.malformed)},
            {"notStrict", problemOrNull(configuration.notStrict)},
            {"documentType", problemOrNull(configuration.documentType)},
            {"invalid", ArrayOf(configuration.invalid, ProblemJson)},
            {"unread", configuration.unread},
            {"putAside", configuration.putAside}};
}

Json SettingsJson(const ClientSettings::Record& settings) {
    Json readers = Json::array();
    for (const ClientSettings::StoredReader& reader : settings.readers) {
        readers.push_back({{"element", reader.element},
                           {"kind", reader.kind},
                           {"name", reader.name},
                           {"library", TextOrNull(reader.library)},
                           {"isSecure", reader.isSecure}});
    }
    return {{"anyReader", ClientSettings::IsAnyReader(settings)},
            {"readers", readers},
            {"moreReaders", settings.hasMoreReaders},
            {"language", NumberOrNull(settings.language)},
            {"logLevel", NumberOrNull(settings.traceLevel)},
            {"logMode", NumberOrNull(settings.traceMode)},
            {"logFile", TextOrNull(settings.traceFile)},
            {"miniDriverLogging", NumberOrNull(settings.miniDriverLogging)},
            {"clientVersion", TextOrNull(settings.clientVersion)}};
}

Json LogJson(const LogDirectory& directory, std::int64_t now) {
    Json files = Json::array();
    for (const LogFileFacts& file : directory.files) {
        files.push_back({{"name", file.name},
                         {"size", file.size},
                         {"modified", TimeText(file.modified)},
                         {"age", std::max<std::int64_t>(now - file.modified, 0)}});
    }
    return {{"path", directory.path},
            {"exists", OrNull(directory.exists, !directory.isHidden)},
            {"readable", directory.readable},
            {"writable", directory.writable},
            {"files", files}};
}

Json FindingJson(const Finding& finding) {
    return {{"id", finding.kind->id},
            {"severity", SeverityName(finding.kind->severity)},
            {"subject", TextOrNull(finding.subject)},
            {"details", finding.details},
            {"title", Translate(finding.kind->title)},
            {"remedy", Translate(finding.remedy)},
            {"commands", finding.commands},
            {"entry", std::string("failures.md#") + finding.kind->id}};
}

/// All texts of a document; its keys are ours.
void MakePrintable(Json& value) {
    if (value.is_string()) {
        value = Printable(value.get_ref<const std::string&>());
    } else if (value.is_structured()) {
        for (Json& part : value) {
            MakePrintable(part);
        }
    }
}

} // namespace

std::string FormatJson(const Report& report, const std::vector<Finding>& findings, bool isRedacted) {
    Json document = {
        {"program", "lumodiag"},
        {"version", report.version},
        {"time", TimeText(report.time)},
        {"redacted", isRedacted},
        {"wrong", IsAnythingWrong(findings)},
        {"service", ServiceJson(report.service)},
        {"listResult", ResultOrNull(report.listCode, report.listed)},
        {"readers", ArrayOf(report.readers, ReaderJson)},
        {"usbReaders", ArrayOf(report.usbReaders, UsbJson)},
        {"configuration",
         {{"machine", FileJson(report.configuration.machine)},
          {"user", FileJson(report.configuration.user)},
          {"settings", SettingsJson(report.configuration.settings)}}},
        {"logs",
         {{"client", LogJson(report.logs.client, report.time)},
          {"miniDriver", LogJson(report.logs.miniDriver, report.time)}}},
        {"findings", ArrayOf(findings, FindingJson)},
    };
    MakePrintable(document);
    return document.dump(2) + "\n";
}

} // namespace Diag
