#include "diag/Options.h"

#include "diag/record/Mark.h"
#include "diag/tell/Language.h"
#include "diag/tell/Text.h"

#include <getopt.h>

namespace Diag {

namespace {

enum Code : int { Json = 'j', Log = 'l', Watch = 'w', Redact = 'r', Help = 'h', Version = 'V', Lang = 256 };

constexpr option LongOptions[] = {
    {"json", no_argument, nullptr, Json},       {"log", required_argument, nullptr, Log},
    {"watch", no_argument, nullptr, Watch},     {"redact", no_argument, nullptr, Redact},
    {"lang", required_argument, nullptr, Lang}, {"help", no_argument, nullptr, Help},
    {"version", no_argument, nullptr, Version}, {nullptr, 0, nullptr, 0},
};

using Problem = std::optional<Complaint>;

Problem TakeLanguage(const std::string& language, Options& options) {
    if (!IsKnownLanguage(language)) {
        return Complaint{Mark("keine Texte in der Sprache '%s', nur in: %s"), {language, Join(KnownLanguages(), ", ")}};
    }
    options.language = language;
    return std::nullopt;
}

Problem TakeLogFile(const std::string& file, Options& options) {
    if (file.empty()) {
        return Complaint{Mark("der Name der Protokolldatei ist leer"), {}};
    }
    options.logFile = file;
    return std::nullopt;
}

Problem TakeSwitch(bool& isWanted) {
    isWanted = true;
    return std::nullopt;
}

bool IsLong(const std::string& argument) {
    return argument.size() > 2 && argument.compare(0, 2, "--") == 0;
}

/// All long options that begin so.
std::vector<std::string> Candidates(const std::string& beginning) {
    std::vector<std::string> names;
    for (const option* known = LongOptions; known->name != nullptr; ++known) {
        const std::string name = std::string("--") + known->name;
        if (name.compare(0, beginning.size(), beginning) == 0) {
            names.push_back(name);
        }
    }
    return names;
}

/// The option that getopt_long has just stopped at, as it was written; a short one may stand among others.
std::string StoppedAt(const std::string& argument) {
    return IsLong(argument) ? argument.substr(0, argument.find('=')) : std::string("-") + static_cast<char>(optopt);
}

Complaint ComplainAboutOption(const std::string& argument) {
    const std::string name = StoppedAt(argument);
    const std::vector<std::string> candidates = Candidates(name);
    if (!IsLong(argument) || candidates.empty()) {
        return {Mark("unbekannte Option '%s'"), {name}};
    }
    // An option that is understood so far has its number in optopt: only its value can be wrong.
    return optopt == 0 ? Complaint{Mark("mehrdeutige Option '%s': %s"), {name, Join(candidates, ", ")}}
                       : Complaint{Mark("die Option '%s' nimmt keinen Wert"), {name}};
}

Problem Take(int code, const char* argument, Options& options) {
    switch (code) {
    case Json:
        return TakeSwitch(options.json);
    case Watch:
        return TakeSwitch(options.watch);
    case Redact:
        return TakeSwitch(options.redact);
    case Help:
        return TakeSwitch(options.help);
    case Version:
        return TakeSwitch(options.version);
    case Log:
        return TakeLogFile(optarg, options);
    case Lang:
        return TakeLanguage(optarg, options);
    case ':':
        return Complaint{Mark("der Option '%s' fehlt ihr Wert"), {StoppedAt(argument)}};
    default:
        return ComplainAboutOption(argument);
    }
}

} // namespace

Problem ReadOptions(int count, char** arguments, Options& options) {
    optind = 0; // begins anew, for a second command line in one process
    opterr = 0;
    for (;;) {
        const int code = getopt_long(count, arguments, ":jl:wrhV", LongOptions, nullptr);
        if (code < 0) {
            break;
        }
        if (Problem problem = Take(code, arguments[optind - 1], options)) {
            return problem;
        }
    }
    if (optind < count) {
        return Complaint{Mark("unerwartetes Argument '%s'"), {arguments[optind]}};
    }
    return std::nullopt;
}

std::string HelpText() {
    const std::string text =
        Translate("Aufruf: lumodiag [OPTION]...\n"
                  "Sagt, warum ein Kartenleser fehlt oder eine Einstellung nicht wirkt.\n"
                  "\n"
                  "  -j, --json       der Bericht als ein JSON-Dokument\n"
                  "  -r, --redact     lässt weg, was Gerät, Person oder Rechner nennt, zum Weitergeben\n"
                  "  -l, --log DATEI  schreibt in diese Datei, was der Lesercode meldet\n"
                  "  -w, --watch      verfolgt Leser und Karten bis zum Abbruch\n"
                  "      --lang DE    Sprache: %s\n"
                  "  -h, --help       diese Hilfe\n"
                  "  -V, --version    die Version\n"
                  "\n"
                  "Rückgabe: 0 alles in Ordnung, 1 etwas ist nicht in Ordnung, 2 falscher Aufruf oder keine Ausgabe.");
    return Fill(text, {Join(KnownLanguages(), ", ")});
}

} // namespace Diag
