#include "diag/Options.h"

#include "diag/Language.h"
#include "diag/Text.h"

#include <getopt.h>

#include <cstdio>

namespace Diag {

namespace {

enum Code : int { Json = 'j', Log = 'l', Watch = 'w', Redact = 'r', Help = 'h', Version = 'V', Lang = 256 };

constexpr option LongOptions[] = {
    {"json", no_argument, nullptr, Json},       {"log", required_argument, nullptr, Log},
    {"watch", no_argument, nullptr, Watch},     {"redact", no_argument, nullptr, Redact},
    {"lang", required_argument, nullptr, Lang}, {"help", no_argument, nullptr, Help},
    {"version", no_argument, nullptr, Version}, {nullptr, 0, nullptr, 0},
};

/// @return false, for the caller to pass on
bool Complain(const std::string& text) {
    std::fprintf(stderr, "lumodiag: %s\n", text.c_str());
    return false;
}

bool TakeLanguage(const std::string& language, Options& options) {
    if (!IsKnownLanguage(language)) {
        return Complain(
            Fill(Translate("keine Texte in der Sprache '%s', nur in: %s"), {language, Join(KnownLanguages(), ", ")}));
    }
    options.language = language;
    return true;
}

bool TakeLogFile(const std::string& file, Options& options) {
    if (file.empty()) {
        return Complain(Translate("der Name der Protokolldatei ist leer"));
    }
    options.logFile = file;
    return true;
}

bool Take(int code, Options& options) {
    switch (code) {
    case Json:
        return options.json = true;
    case Watch:
        return options.watch = true;
    case Redact:
        return options.redact = true;
    case Help:
        return options.help = true;
    case Version:
        return options.version = true;
    case Log:
        return TakeLogFile(optarg, options);
    case Lang:
        return TakeLanguage(optarg, options);
    default:
        return false; // getopt_long has told what
    }
}

} // namespace

bool ReadOptions(int count, char** arguments, Options& options) {
    optind = 0; // begins anew, for a second command line in one process
    for (;;) {
        const int code = getopt_long(count, arguments, "jl:wrhV", LongOptions, nullptr);
        if (code < 0) {
            break;
        }
        if (!Take(code, options)) {
            return false;
        }
    }
    if (optind < count) {
        return Complain(Fill(Translate("unerwartetes Argument '%s'"), {arguments[optind]}));
    }
    return true;
}

std::string HelpText() {
    const std::string text =
        Translate("Aufruf: lumodiag [OPTION]...\n"
                  "Sagt, warum ein Kartenleser fehlt oder eine Einstellung nicht wirkt.\n"
                  "\n"
                  "  -j, --json       der Bericht als ein JSON-Dokument\n"
                  "  -r, --redact     kürzt Seriennummern und das eigene Verzeichnis, zum Weitergeben\n"
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
