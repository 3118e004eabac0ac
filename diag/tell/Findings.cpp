#include "diag/tell/Findings.h"

#include "diag/record/PcscNames.h"
#include "diag/record/Printable.h"
#include "diag/tell/Language.h"
#include "diag/tell/Text.h"

#include <reader.h>
#include <winscard.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace Diag {

namespace {

constexpr std::size_t ServedReaders = 16;
constexpr std::int64_t LargeLogs = std::int64_t{100} << 20;

const FindingKind& Kind(const char* id) {
    for (const FindingKind& kind : FindingKinds()) {
        if (std::strcmp(kind.id, id) == 0) {
            return kind;
        }
    }
    throw std::logic_error(id);
}

std::vector<std::string> Commands(const char* lines, const std::string& parameter) {
    std::vector<std::string> commands;
    std::string line;
    for (const char* c = lines; *c != '\0'; ++c) {
        if (*c == '\n') {
            commands.push_back(line);
            line.clear();
        } else if (c[0] == '%' && c[1] == 's') {
            line += parameter;
            ++c;
        } else {
            line += *c;
        }
    }
    if (!line.empty()) {
        commands.push_back(line);
    }
    return commands;
}

bool IsFrozen(const Service& service) {
    return service.state == ServiceState::NotAnswering && service.processState == 'T';
}

/// What stands in a command that somebody types as root: nothing that a shell could take for more than a word.
std::string AsWord(const std::string& parameter) {
    constexpr char Harmless[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    return parameter.find_first_not_of(Harmless) == std::string::npos ? parameter : "DRIVER";
}

/// Collects findings; each part of the report has its function.
class Deriver {
public:
    Deriver(const Report& source, const Report& told) : report(source), shown(told) {}

    std::vector<Finding> Run() {
        Service();
        if (report.service.state == ServiceState::Fine) {
            ReaderList();
        }
        for (const Reader& reader : report.readers) {
            if (reader.asked && !IsLeftBehind(reader)) {
                OneReader(reader);
            }
        }
        ConfigurationFile(shown.configuration.machine);
        if (report.configuration.machine.parsed) {
            StoredSettings(report.configuration.settings);
            Logs(report.configuration.settings);
        }
        LogSizes();
        if (shown.openWindow) {
            OpenWindow(*shown.openWindow);
        }
        return std::move(findings);
    }

private:
    void Add(const char* id, const std::string& subject = {}, const std::string& detail = {},
             const std::string& parameter = {}) {
        const FindingKind& kind = Kind(id);
        findings.push_back({&kind, subject, {}, Commands(kind.commands, AsWord(parameter)), kind.remedy});
        if (!detail.empty()) {
            findings.back().details.push_back(detail);
        }
    }
    /// For the finding that was added last.
    void UseOtherRemedy(const char* cause) {
        Finding& finding = findings.back();
        for (const OtherRemedy& other : OtherRemedies()) {
            if (std::strcmp(other.id, finding.kind->id) == 0 && std::strcmp(other.cause, cause) == 0) {
                finding.remedy = other.remedy;
                finding.commands = Commands(other.commands, {});
            }
        }
    }
    void AddWithDetails(const char* id, const std::string& subject, const std::vector<std::string>& details) {
        if (!details.empty()) {
            Add(id, subject);
            findings.back().details = details;
        }
    }

    void Service() {
        const Diag::Service& service = shown.service;
        switch (service.state) {
        case ServiceState::Fine:
            break;
        case ServiceState::NotInstalled:
            Add("service-not-installed");
            break;
        case ServiceState::NotRunning:
            Add("service-not-running", {}, ResultText(service.code));
            break;
        case ServiceState::NotReachable:
            Add("service-not-reachable", service.socket, ResultText(service.code));
            break;
        case ServiceState::NoPermission:
            Add("service-no-permission", service.socket, ResultText(service.code));
            break;
        case ServiceState::Refused:
            Add("service-refused", {}, ResultText(service.code));
            break;
        case ServiceState::ProtocolMismatch:
            Add("service-protocol-mismatch", {}, ResultText(service.code));
            break;
        case ServiceState::NotAnswering:
            Add(IsFrozen(service) ? "service-frozen" : "service-not-answering", {}, service.call,
                std::to_string(service.process));
            break;
        case ServiceState::NotAsked:
            Add("service-not-asked", {}, ErrorText(service.obstacle));
            break;
        case ServiceState::Failed:
            Add("service-failed", {}, ResultText(service.code));
            break;
        }
    }

    void ReaderList() {
        for (const UsbReader& device : shown.usbReaders) {
            if (device.isListed) {
                continue;
            }
            const bool taken = !device.driver.empty() && device.driver != "usbfs";
            Add(taken ? "reader-taken-by-kernel" : "reader-not-listed", UsbName(device),
                taken ? device.driver : std::string(), device.driver);
        }
        if (report.readers.empty() && report.usbReaders.empty()) {
            Add("no-readers", {}, report.listCode == SCARD_S_SUCCESS ? std::string() : ResultText(report.listCode));
        }
        if (report.readers.size() >= ServedReaders) {
            Add("readers-at-limit");
        }
    }

    /// A service that went away or was suspended fails what its readers were asked then; that is no fault of theirs.
    bool IsLeftBehind(const Reader& reader) const {
        if (IsFrozen(report.service)) {
            return !reader.hangingCall.empty();
        }
        return report.service.state == ServiceState::Failed &&
               (LostService(reader) || reader.featuresCode == SCARD_F_COMM_ERROR);
    }

    const Reader& Shown(const Reader& reader) const {
        return shown.readers[static_cast<std::size_t>(&reader - report.readers.data())];
    }
    const std::string& ShownName(const Reader& reader) const { return Shown(reader).name; }

    void OneReader(const Reader& reader) {
        if (!reader.hangingCall.empty()) {
            const bool isBusy = reader.hangingCall == "SCardConnect" && IsInUse(reader);
            Add(isBusy ? "reader-busy" : "reader-not-answering", ShownName(reader), reader.hangingCall);
            return;
        }
        Connecting(reader);
        if (reader.connected) {
            AttributesOf(reader);
            PinPad(reader);
        }
    }

    void Connecting(const Reader& reader) {
        const long code = reader.cardCode != SCARD_S_SUCCESS ? reader.cardCode : reader.directCode;
        if (IsHeld(reader)) {
            Add("reader-held", ShownName(reader), ResultText(SCARD_E_SHARING_VIOLATION));
        } else if ((reader.state & SCARD_STATE_UNAVAILABLE) != 0 || code == SCARD_E_READER_UNAVAILABLE ||
                   code == SCARD_E_UNKNOWN_READER) {
            Add("reader-gone", ShownName(reader), ResultText(code));
        } else if (!reader.connected) {
            Add("reader-failed", ShownName(reader), ResultText(code));
        } else if (IsMute(reader)) {
            Add("card-mute", ShownName(reader), ResultText(reader.cardCode));
        } else if (reader.cardCode != SCARD_S_SUCCESS && reader.cardCode != SCARD_E_NO_SMARTCARD &&
                   reader.cardCode != SCARD_W_REMOVED_CARD) {
            Add("card-failed", ShownName(reader), ResultText(reader.cardCode));
        }
    }

    static bool IsMute(const Reader& reader) {
        return reader.cardCode == SCARD_W_UNPOWERED_CARD || reader.cardCode == SCARD_W_UNRESPONSIVE_CARD;
    }

    static std::string NameOf(const Attribute& attribute) {
        const auto* const name = std::find_if(std::begin(AttributeNames), std::end(AttributeNames),
                                              [&](const AttributeName& row) { return row.tag == attribute.tag; });
        return name == std::end(AttributeNames) ? HexNumber(attribute.tag) : name->key;
    }

    void AttributesOf(const Reader& reader) {
        std::vector<std::string> failed;
        std::vector<std::string> notText;
        for (const Attribute& attribute : reader.attributes) {
            if (attribute.code != SCARD_S_SUCCESS && attribute.code != SCARD_E_UNSUPPORTED_FEATURE) {
                failed.push_back(NameOf(attribute) + " " + ResultText(attribute.code));
            } else if (attribute.tag != SCARD_ATTR_DEVICE_UNIT && !IsPrintable(attribute.bytes)) {
                notText.push_back(NameOf(attribute)); // the device unit is a number
            }
        }
        AddWithDetails("attribute-failed", ShownName(reader), failed);
        AddWithDetails("attribute-not-text", ShownName(reader), notText);
    }

    void PinPad(const Reader& reader) {
        if (reader.featuresCode != SCARD_S_SUCCESS && reader.featuresCode != SCARD_E_UNSUPPORTED_FEATURE) {
            Add("pinpad-query-failed", ShownName(reader), ResultText(reader.featuresCode));
        }
        if (!IsSoundFeatureList(reader.features)) {
            Add("pinpad-list-broken", ShownName(reader), HexBytes(Shown(reader).features));
        }
        const std::vector<Feature> features = ParseFeatures(reader.features);
        if (CanVerify(features) != CanModify(features)) {
            Add("pinpad-half", ShownName(reader));
        } else if (reader.isSecureByName && !reader.isSecure) {
            Add("pinpad-by-name-only", ShownName(reader));
        } else if (!reader.isSecureByName && reader.isSecure) {
            Add("pinpad-not-in-table", ShownName(reader));
        }
    }

    void ConfigurationFile(const Diag::ConfigurationFile& machine) {
        const std::string& path = machine.file.path;
        const bool isStrange = StrangeFile(machine) || machine.file.isLink;
        if (!machine.file.exists) {
            Add("configuration-missing", path);
        } else if (!machine.file.readable) {
            Add("configuration-unreadable", path, ErrorText(machine.file.obstacle));
            if (isStrange) {
                UseOtherRemedy("strange");
            }
        } else if (machine.malformed) {
            Add("configuration-malformed", path, ProblemText(*machine.malformed));
        } else if (!machine.file.isRegular) {
            Add("configuration-malformed", path);
            UseOtherRemedy("no-file");
        }
        if (machine.putAside) {
            Add("configuration-put-aside", path + ".unreadable");
        }
        if (!machine.file.writable) {
            ReadOnly(machine.file, isStrange);
        }
        std::vector<std::string> problems;
        for (const FileProblem& problem : machine.invalid) {
            problems.push_back(ProblemText(problem));
        }
        AddWithDetails("configuration-invalid", path, problems);
        AddWithDetails("configuration-unread-element", path, machine.unread);
        if (machine.notStrict) {
            Add("configuration-not-strict-xml", path, ProblemText(*machine.notStrict));
        }
        if (machine.documentType) {
            Add("configuration-document-type", path, ProblemText(*machine.documentType));
        }
    }

    /// What somebody else may have put in the file's place. Rights that are mended through such a name are given away.
    bool StrangeFile(const Diag::ConfigurationFile& machine) {
        const FileFacts& file = machine.file;
        const std::size_t before = findings.size();
        if (machine.isFolderOpen) {
            Add("configuration-folder-open", machine.folder.path, RightsText(machine.folder));
        }
        if (file.isLink && file.linkOwner != "root") {
            Add("configuration-link", file.path, file.linkOwner + " -> " + file.target);
        }
        if (file.names > 1) {
            Add("configuration-hard-link", file.path, RightsText(file));
        }
        if (machine.hasForeignOwner) {
            Add("configuration-foreign-owner", file.path, RightsText(file));
        }
        return findings.size() > before;
    }

    static std::string RightsText(const FileFacts& file) {
        return ModeText(file.mode) + " " + file.owner + ":" + file.group + (file.isLink ? " -> " + file.target : "");
    }

    void ReadOnly(const FileFacts& file, bool isStrange) {
        Add("configuration-read-only", file.path, ErrorText(file.obstacle));
        if (isStrange) {
            UseOtherRemedy("strange");
        } else if (file.obstacle == EROFS) {
            UseOtherRemedy("file-system");
        } else if (report.configuration.isRoot) {
            UseOtherRemedy("root");
        } else if (report.configuration.isMember) {
            UseOtherRemedy("rights");
        }
    }

    void StoredSettings(const ClientSettings::Record& settings) {
        if (settings.readers.empty()) {
            Add("configuration-no-reader", shown.configuration.machine.file.path);
        }
        if (report.service.state == ServiceState::Fine && !ClientSettings::IsAnyReader(settings)) {
            for (std::size_t i = 0; i < settings.readers.size(); ++i) {
                if (settings.readers[i].library.empty() && !IsAttached(settings.readers[i])) {
                    const ClientSettings::StoredReader& stored = shown.configuration.settings.readers[i];
                    Add("configuration-reader-missing", stored.name, stored.element);
                }
            }
        }
        if (settings.hasMoreReaders) {
            Add("configuration-many-readers", shown.configuration.machine.file.path);
        }
        if (settings.language && !ClientSettings::LanguageOfNumber(*settings.language)) {
            Add("configuration-language-unknown", shown.configuration.machine.file.path,
                std::to_string(*settings.language));
        }
    }

    bool IsAttached(const ClientSettings::StoredReader& stored) const {
        return std::any_of(report.readers.begin(), report.readers.end(),
                           [&](const Reader& reader) { return reader.name == stored.name; });
    }

    void Logs(const ClientSettings::Record& settings) {
        const bool clientLogs = settings.traceLevel.value_or(0) > 0;
        const std::string own = WithoutSlash(report.logs.client.path) + "/" + ClientSettings::LogFileName;
        const bool isElsewhere = !settings.traceFile.empty() && settings.traceFile != own;
        if (clientLogs && !settings.traceFile.empty() && settings.traceFile.front() != '/') {
            Add("log-relative", shown.configuration.settings.traceFile);
        } else if (clientLogs && isElsewhere) {
            Add("log-elsewhere", shown.configuration.settings.traceFile);
        } else if (clientLogs && !report.logs.client.writable) {
            Add("log-not-writable", shown.logs.client.path);
            UseOtherRemedy("home");
        }
        if (settings.miniDriverLogging.value_or(0) > 0 && !report.logs.miniDriver.writable) {
            Add("log-not-writable", shown.logs.miniDriver.path);
        }
    }

    static std::string WithoutSlash(const std::string& path) {
        return !path.empty() && path.back() == '/' ? path.substr(0, path.size() - 1) : path;
    }

    void LogSizes() {
        for (const LogDirectory* const directory : {&shown.logs.client, &shown.logs.miniDriver}) {
            std::int64_t total = 0;
            for (const LogFileFacts& file : directory->files) {
                total += file.size;
            }
            if (total > LargeLogs) {
                Add("log-large", directory->path, SizeText(total));
            }
        }
    }

    void OpenWindow(const Vantor::RunningCopy& copy) {
        Add("window-open", copy.user, Fill(Translate("seit %s"), {TimeText(copy.since)}), std::to_string(copy.process));
        if (copy.process == 0) {
            UseOtherRemedy("elsewhere");
        }
    }

    const Report& report; ///< what decides
    const Report& shown;  ///< what is told
    std::vector<Finding> findings;
};

} // namespace

std::vector<Finding> DeriveFindings(const Report& report, const Report& shown) {
    return Deriver(report, shown).Run();
}

std::vector<Finding> DeriveFindings(const Report& report) {
    return DeriveFindings(report, report);
}

bool IsAnythingWrong(const std::vector<Finding>& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.kind->severity != Severity::Note; });
}

} // namespace Diag
