// What is wrong with the client's configuration and the logs that it asks for.
#include "diag/tell/FindingList.h"
#include "diag/tell/Text.h"

#include <algorithm>
#include <cerrno>

namespace Diag {

namespace {

constexpr std::int64_t LargeLogs = std::int64_t{100} << 20;

class ConfigurationFindings {
public:
    ConfigurationFindings(const Report& source, const Report& told, FindingList& findings)
        : report(source), shown(told), list(findings) {}

    void ConfigurationFile(const Diag::ConfigurationFile& machine) {
        const std::string& path = machine.file.path;
        const bool isStrange = StrangeFile(machine) || machine.file.isLink;
        if (!machine.file.exists) {
            list.Add("configuration-missing", path);
        } else if (!machine.file.readable) {
            list.Add("configuration-unreadable", path, ErrorText(machine.file.obstacle));
            if (isStrange) {
                list.UseOtherRemedy("strange");
            }
        } else if (machine.malformed) {
            list.Add("configuration-malformed", path, ProblemText(*machine.malformed));
        } else if (!machine.file.isRegular) {
            list.Add("configuration-malformed", path);
            list.UseOtherRemedy("no-file");
        }
        if (machine.putAside) {
            list.Add("configuration-put-aside", path + ".unreadable");
        }
        if (!machine.file.writable) {
            ReadOnly(machine.file, isStrange);
        }
        std::vector<std::string> problems;
        for (const FileProblem& problem : machine.invalid) {
            problems.push_back(ProblemText(problem));
        }
        list.AddWithDetails("configuration-invalid", path, problems);
        list.AddWithDetails("configuration-unread-element", path, machine.unread);
        if (machine.notStrict) {
            list.Add("configuration-not-strict-xml", path, ProblemText(*machine.notStrict));
        }
        if (machine.documentType) {
            list.Add("configuration-document-type", path, ProblemText(*machine.documentType));
        }
    }

    /// What somebody else may have put in the file's place. Rights that are mended through such a name are given away.
    bool StrangeFile(const Diag::ConfigurationFile& machine) {
        const FileFacts& file = machine.file;
        const std::size_t before = list.findings.size();
        if (machine.isFolderOpen) {
            list.Add("configuration-folder-open", machine.folder.path, RightsText(machine.folder));
        }
        AccessLists(machine);
        if (file.isLink && file.linkOwner != "root") {
            list.Add("configuration-link", file.path, file.linkOwner + " -> " + file.target);
        }
        if (file.names > 1) {
            list.Add("configuration-hard-link", file.path, RightsText(file));
        }
        if (machine.hasForeignOwner) {
            list.Add("configuration-foreign-owner", file.path, RightsText(file));
        }
        return list.findings.size() > before;
    }

    void AccessLists(const Diag::ConfigurationFile& machine) {
        std::vector<std::string> writers;
        bool isOnFile = false;
        for (const OtherWriter& writer : machine.otherWriters) {
            writers.push_back(writer.path + ": " + (writer.isDefault ? "default:" : "") +
                              (writer.isGroup ? "group:" : "user:") + writer.name);
            isOnFile = isOnFile || writer.path == machine.file.path;
        }
        list.AddWithDetails("configuration-access-list", machine.folder.path, writers);
        if (isOnFile) {
            list.UseOtherRemedy("file");
        }
    }

    static std::string RightsText(const FileFacts& file) {
        return ModeText(file.mode) + " " + file.owner + ":" + file.group + (file.isLink ? " -> " + file.target : "");
    }

    void ReadOnly(const FileFacts& file, bool isStrange) {
        list.Add("configuration-read-only", file.path, ErrorText(file.obstacle));
        if (isStrange) {
            list.UseOtherRemedy("strange");
        } else if (file.obstacle == EROFS) {
            list.UseOtherRemedy("file-system");
        } else if (report.configuration.isRoot) {
            list.UseOtherRemedy("root");
        } else if (report.configuration.isMember) {
            list.UseOtherRemedy("rights");
        }
    }

    void StoredSettings(const ClientSettings::Record& settings) {
        if (settings.readers.empty()) {
            list.Add("configuration-no-reader", shown.configuration.machine.file.path);
        }
        if (report.service.state == ServiceState::Fine && !ClientSettings::IsAnyReader(settings)) {
            for (std::size_t i = 0; i < settings.readers.size(); ++i) {
                if (settings.readers[i].library.empty() && !IsAttached(settings.readers[i])) {
                    const ClientSettings::StoredReader& stored = shown.configuration.settings.readers[i];
                    list.Add("configuration-reader-missing", stored.name, stored.element);
                }
            }
        }
        if (settings.hasMoreReaders) {
            list.Add("configuration-many-readers", shown.configuration.machine.file.path);
        }
        if (settings.language && !ClientSettings::LanguageOfNumber(*settings.language)) {
            list.Add("configuration-language-unknown", shown.configuration.machine.file.path,
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
            list.Add("log-relative", shown.configuration.settings.traceFile);
        } else if (clientLogs && isElsewhere) {
            list.Add("log-elsewhere", shown.configuration.settings.traceFile);
        } else if (clientLogs && !report.logs.client.writable) {
            list.Add("log-not-writable", shown.logs.client.path);
            list.UseOtherRemedy("home");
        }
        if (settings.miniDriverLogging.value_or(0) > 0 && !report.logs.miniDriver.writable) {
            list.Add("log-not-writable", shown.logs.miniDriver.path);
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
                list.Add("log-large", directory->path, SizeText(total));
            }
        }
    }

    const Report& report;
    const Report& shown;
    FindingList& list;
};

} // namespace

void AddConfigurationFindings(const Report& report, const Report& shown, FindingList& list) {
    ConfigurationFindings findings(report, shown, list);
    findings.ConfigurationFile(shown.configuration.machine);
    if (report.configuration.machine.parsed) {
        findings.StoredSettings(report.configuration.settings);
    }
}

void AddLogFindings(const Report& report, const Report& shown, FindingList& list) {
    ConfigurationFindings findings(report, shown, list);
    if (report.configuration.machine.parsed) {
        findings.Logs(report.configuration.settings);
    }
    findings.LogSizes();
}

} // namespace Diag
