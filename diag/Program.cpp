#include "diag/Program.h"

#include "diag/Options.h"
#include "diag/ask/ConfigurationProbe.h"
#include "diag/ask/LogProbe.h"
#include "diag/ask/ReaderReport.h"
#include "diag/ask/ServiceProbe.h"
#include "diag/ask/UsbProbe.h"
#include "diag/ask/Watch.h"
#include "diag/record/Mark.h"
#include "diag/record/Printable.h"
#include "diag/tell/CheckedLog.h"
#include "diag/tell/Findings.h"
#include "diag/tell/JsonReport.h"
#include "diag/tell/Language.h"
#include "diag/tell/Redaction.h"
#include "diag/tell/Text.h"
#include "diag/tell/TextReport.h"
#include "diag/tell/WatchEvents.h"
#include "util/FileAndDirectory.h"

#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>
#include <utility>

#include <unistd.h>

namespace Diag {

namespace {

std::string ChooseLanguage(const Options& options, const ClientSettings::Record& settings) {
    if (!options.language.empty()) {
        return options.language;
    }
    const auto configured = settings.language ? ClientSettings::LanguageOfNumber(*settings.language) : std::nullopt;
    const std::string name = configured ? LanguageName(*configured) : std::string();
    return name.empty() ? SystemLanguage() : name;
}

/// All of it, or the program was of no use: a report cut short on a full disk would be taken for a good one.
bool Print(const std::string& text) {
    const bool isPrinted = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (!isPrinted) {
        std::perror("lumodiag");
    }
    return isPrinted;
}

/// Null if none is wanted or it cannot be written.
std::unique_ptr<CheckedLog> OpenLog(const Options& options) {
    auto log = options.logFile.empty() ? nullptr : std::make_unique<CheckedLog>(options.logFile);
    return log && log->IsWhole() ? std::move(log) : nullptr;
}

LogLine LogTo(CheckedLog* log) {
    if (log == nullptr) {
        return nullptr;
    }
    return [log](bool isError, const std::string& text) { log->Write(isError, text); };
}

/// Lines that wait until all serial numbers are known: a reader's name is logged before it has told its own.
class HeldLines {
public:
    LogLine Log() {
        return [this](bool isError, const std::string& text) { lines.emplace_back(isError, text); };
    }
    void Write(CheckedLog& log, const Redaction& redaction) {
        for (const auto& [isError, text] : lines) {
            log.Write(isError, redaction.Line(text));
        }
        lines.clear();
    }

private:
    std::vector<std::pair<bool, std::string>> lines;
};

Service Judge(ServiceFacts facts, const PcscFacts& asked) {
    if (asked.answered) {
        facts.connectError = TryToConnect(facts.socket);
    }
    return JudgeService(facts, asked);
}

/// For whoever sits before an empty terminal.
void TellThatItWaits() {
    if (isatty(STDERR_FILENO) == 1) {
        std::fprintf(stderr, "lumodiag: %s\n", Translate("warte auf Kartenleser, die nicht antworten"));
    }
}

Report MakeReport(ReaderQuestion& question, const ServiceFacts& seenEarly, std::vector<UsbReader> usbReaders,
                  ConfigurationState configuration) {
    Report report;
    report.version = LUMOADMIN_VERSION;
    report.time = std::time(nullptr);
    report.usbReaders = std::move(usbReaders);
    report.configuration = std::move(configuration);
    report.logs = ProbeLogs();
    report.openWindow = Vantor::FindRunningCopy();

    PcscFacts asked = question.Answer(TellThatItWaits);
    report.service = Judge(seenEarly, asked);
    if (report.service.state != ServiceState::Fine) {
        report.service = Judge(LookForService(), asked); // what happened since is part of the trouble
    }
    report.listCode = asked.listCode;
    report.listed = asked.listed;
    report.readers = std::move(asked.readers);
    for (UsbReader& device : report.usbReaders) {
        device.isListed = IsListed(device, report.readers);
    }
    return report;
}

int PrintReport(const Report& report, const std::vector<Finding>& findings, const Options& options) {
    if (!Print(options.json ? FormatJson(report, findings, options.redact) : FormatText(report, findings))) {
        return ExitTrouble;
    }
    return IsAnythingWrong(findings) ? ExitFindings : ExitFine;
}

/// Prints each line when it happens: people plug and unplug while they watch.
int Watch(const Options& options, CheckedLog* log) {
    Redaction redaction(Vantor::GetUserDir());
    bool isPrinted = true;
    WatchReaders([&](Event event) {
        if (options.redact) {
            // Its serial number may stand in the name of a reader that has just come.
            redaction.Learn(ListUsbReaders());
            event.reader = redaction.Device(event.reader);
        }
        const std::string time = TimeText(std::time(nullptr));
        isPrinted = Print((options.json ? FormatEventJson(event, time) : FormatEvent(event, time)) + "\n");
        if (log != nullptr) {
            log->Write(false, FormatEvent(event, "lumodiag"));
        }
        return isPrinted;
    });
    return isPrinted ? ExitFine : ExitTrouble;
}

int RunReport(const Options& options, CheckedLog* log) {
    HeldLines held;
    const bool isHeld = log != nullptr && options.redact;
    // Only beside readers on USB does it matter by which channel each is attached.
    std::vector<UsbReader> usbReaders = ListUsbReaders();
    ReaderQuestion question(TimeLimits(), isHeld ? held.Log() : LogTo(log), !usbReaders.empty());
    question.AwaitReaders();
    // While the readers take their time, the service first, which asking may have started:
    const ServiceFacts service = LookForService();
    ConfigurationState configuration = ProbeConfiguration();
    UseLanguage(ChooseLanguage(options, configuration.settings));
    const Report report = MakeReport(question, service, std::move(usbReaders), std::move(configuration));
    Report shown = report;
    if (options.redact) {
        const Redaction redaction(report, Vantor::GetUserDir());
        redaction.Apply(shown);
        if (isHeld) {
            held.Write(*log, redaction);
        }
    }
    return PrintReport(shown, DeriveFindings(report, shown), options);
}

/// In the language that the report would have.
void Complain(const Options& options, Complaint complaint) {
    if (options.redact && !complaint.values.empty()) {
        complaint.values.front() = Redaction({}).Path(complaint.values.front()); // what was typed
    }
    UseLanguage(ChooseLanguage(options, ProbeConfiguration().settings));
    std::fprintf(stderr, "lumodiag: %s\n", Printable(Fill(Translate(complaint.text), complaint.values)).c_str());
}

int RunOther(const Options& options, CheckedLog* log) {
    UseLanguage(ChooseLanguage(options, ProbeConfiguration().settings));
    if (options.help) {
        return Print(HelpText() + "\n") ? ExitFine : ExitTrouble;
    }
    if (options.version) {
        return Print(std::string("lumodiag ") + LUMOADMIN_VERSION + "\n") ? ExitFine : ExitTrouble;
    }
    return Watch(options, log);
}

/// A closed pipe or a limit of a file's size is to be an error of the write, which is told, and not the end of the
/// program.
void IgnoreSignalsOfWriting() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

} // namespace

int Run(int count, char** arguments) {
    IgnoreSignalsOfWriting();
    Options options;
    if (const std::optional<Complaint> complaint = ReadOptions(count, arguments, options)) {
        Complain(options, *complaint);
        std::fprintf(stderr, "%s\n", Translate("Mehr dazu sagt 'lumodiag --help'."));
        return ExitTrouble;
    }
    const bool isOther = options.help || options.version || options.watch;
    if (options.help || options.version) {
        options.logFile.clear();
    }
    const std::unique_ptr<CheckedLog> log = OpenLog(options);
    const Complaint logComplaint = {Mark("Protokolldatei %s lässt sich nicht schreiben"), {options.logFile}};
    if (!log && !options.logFile.empty()) {
        Complain(options, logComplaint);
        return ExitTrouble;
    }
    const int status = isOther ? RunOther(options, log.get()) : RunReport(options, log.get());
    if (log && !log->Close()) {
        Complain(options, logComplaint);
        return ExitTrouble;
    }
    return status;
}

} // namespace Diag
