// lumodiag as a command: its options, what it leaves behind, what it follows, and what it keeps to itself.
#include "tests/system/DiagTest.h"
#include "tests/system/PcscClient.h"

#include <csignal>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using Support::Process;
using Support::waitUntil;

const std::string kFirst = nameOf(0);

// lumodiag --watch --json, and the events that it has told so far.
class Watch {
public:
    explicit Watch(std::vector<std::string> options = {}) : process_(command(std::move(options))) {}

    // Waits until an event was told once more than asked for before, and returns it.
    json next(const std::string& event, const std::string& reader = {}) {
        json found;
        waitUntil([&] {
            const auto all = events();
            for (std::size_t i = read_; i < all.size() && found.is_null(); ++i) {
                if (all[i].at("event") == event && (reader.empty() || all[i].value("reader", "") == reader)) {
                    found = all[i];
                    read_ = i + 1;
                }
            }
            return !found.is_null();
        });
        EXPECT_FALSE(found.is_null()) << "no event " << event << " in " << process_.output() << process_.errors();
        return found;
    }

    Support::Ending interrupt(int signal = SIGINT) {
        process_.signal(signal);
        return process_.wait().value_or(Support::Ending{-1, -1, "", "does not end"});
    }
    [[nodiscard]] std::string output() const { return process_.output(); }

private:
    static std::vector<std::string> command(std::vector<std::string> options) {
        options.insert(options.begin(), {"--watch", "--json"});
        return Lumodiag::command(std::move(options));
    }

    // Whole lines only: the last one may be on its way.
    [[nodiscard]] std::vector<json> events() const {
        const auto text = process_.output();
        std::vector<json> all;
        for (const auto& line : test::Lines(text.substr(0, text.rfind('\n') + 1)))
            all.push_back(json::parse(line));
        return all;
    }

    Process process_;
    std::size_t read_ = 0;
};

TEST(DiagWatch, FollowsCardsUntilItIsInterrupted) {
    SimulatedReader reader(0);
    Watch watch;
    watch.next("service-there");
    watch.next("reader-attached", kFirst);
    EXPECT_EQ(watch.next("card-inserted", kFirst).at("detail"), "3B 80 01 81");
    reader.removeCard();
    watch.next("card-removed", kFirst);
    reader.insertCard();
    watch.next("card-inserted", kFirst);
    const auto ending = watch.interrupt();
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.errors, "");
}

TEST(DiagWatch, FollowsReadersAndWhoUsesThem) {
    SimulatedReader reader(0);
    Watch watch;
    watch.next("card-inserted", kFirst);
    {
        PcscClient other;
        ASSERT_EQ(other.connect(kFirst), SCARD_S_SUCCESS);
        watch.next("used", kFirst);
        other.disconnect();
        ASSERT_EQ(other.connect(kFirst, SCARD_SHARE_EXCLUSIVE), SCARD_S_SUCCESS);
        watch.next("held", kFirst);
    }
    watch.next("released", kFirst);
    reader.write("unplugged", "");
    watch.next("reader-gone", kFirst);
    reader.remove("unplugged");
    watch.next("reader-attached", kFirst);
    EXPECT_EQ(watch.interrupt(SIGTERM).status, 0);
}

TEST(DiagWatch, OutlivesTheService) {
    Watch watch;
    watch.next("reader-attached", kFirst);
    Pcscd::kill();
    watch.next("service-gone");
    Pcscd::start();
    watch.next("service-there");
    watch.next("reader-attached", kFirst);
    Pcscd::freeze();
    watch.next("service-silent");
    Pcscd::thaw();
    watch.next("service-there");
    EXPECT_EQ(watch.interrupt().status, 0);
}

TEST(DiagWatch, BeginsWithoutAService) {
    Pcscd::stop();
    Watch watch;
    EXPECT_THAT(watch.next("service-gone").at("detail").get<std::string>(), HasSubstr("SCARD_E_NO_SERVICE"));
    Pcscd::start();
    watch.next("reader-attached", kFirst);
}

TEST(DiagWatch, SpeaksToPeopleAndWritesItsLog) {
    Lumodiag::installCatalogs();
    Process process(Lumodiag::command({"--watch", "--lang=en", "--log=/mnt/watch.log"}));
    EXPECT_TRUE(waitUntil([&] { return process.output().find(kFirst) != std::string::npos; }));
    process.signal(SIGINT);
    EXPECT_TRUE(process.wait().has_value());
    EXPECT_THAT(process.output(), HasSubstr(std::string("  Reader there: ") + kFirst + "\n"));
    EXPECT_THAT(test::ReadText("/mnt/watch.log"), HasSubstr(std::string("Reader there: ") + kFirst));
}

TEST(DiagCommand, EndsWithTwoWhenItIsCalledWrongly) {
    const std::vector<std::vector<std::string>> wrong = {{"--unknown"}, {"-x"},     {"reader"},    {"--log"},
                                                         {"--log="},    {"--lang"}, {"--lang=xx"}, {"--json=yes"}};
    for (const auto& arguments : wrong) {
        const auto ending = Lumodiag::run(arguments);
        EXPECT_EQ(ending.status, 2) << arguments.front();
        EXPECT_EQ(ending.output, "") << arguments.front();
        EXPECT_THAT(ending.errors, HasSubstr("lumodiag")) << arguments.front();
        EXPECT_THAT(ending.errors, HasSubstr("--help")) << arguments.front();
    }
}

TEST(DiagCommand, TellsInTheUsersLanguageThatItIsCalledWrongly) {
    Lumodiag::installCatalogs();
    const auto errors = [](std::vector<std::string> arguments, const std::string& lang) {
        return Support::run(Lumodiag::command(std::move(arguments)), {{"LANG", lang}}).errors;
    };
    EXPECT_EQ(errors({"reader"}, "de_DE.UTF-8"),
              "lumodiag: unerwartetes Argument 'reader'\nMehr dazu sagt 'lumodiag --help'.\n");
    EXPECT_EQ(errors({"reader"}, "en_GB.UTF-8"),
              "lumodiag: unexpected argument 'reader'\nTry 'lumodiag --help' for more information.\n");
    // The C library's own messages would come in the language of its catalogues.
    EXPECT_THAT(errors({"--colour"}, "de_DE.UTF-8"), StartsWith("lumodiag: unbekannte Option '--colour'\n"));
    EXPECT_THAT(errors({"--lang=en", "-x"}, "de_DE.UTF-8"), StartsWith("lumodiag: unknown option '-x'\n"));
    EXPECT_THAT(errors({"--lang=en", "--log=/proc/none/trace"}, "de_DE.UTF-8"), HasSubstr("cannot write the log file"));
    // A language that is added later is offered.
    fs::copy("/etc/lumoclient/I18N/en", "/etc/lumoclient/I18N/fr", fs::copy_options::recursive);
    EXPECT_THAT(errors({"--lang=xx"}, "en_GB.UTF-8"), HasSubstr("'xx', only in: de, en, fr\n"));
}

TEST(DiagCommand, TellsInTheConfiguredLanguageThatItIsCalledWrongly) {
    Lumodiag::installCatalogs();
    store("<config><lumo_Client><Language>89</Language></lumo_Client></config>");
    const Process::Environment english{{"LANG", "en_GB.UTF-8"}};
    EXPECT_EQ(Support::run(Lumodiag::command({"--log"}), english).errors,
              "lumodiag: der Option '--log' fehlt ihr Wert\nMehr dazu sagt 'lumodiag --help'.\n");
    EXPECT_EQ(Support::run(Lumodiag::command({"--log=/proc/none/trace"}), english).errors,
              "lumodiag: Protokolldatei /proc/none/trace lässt sich nicht schreiben\n");
}

TEST(DiagCommand, EndsWithTwoWhenItCannotPrint) {
    const auto program = Lumodiag::command().front();
    for (const std::string option : {"", " --json", " --help", " --version", " --watch"})
        EXPECT_EQ(Support::run({"sh", "-c", program + option + " >/dev/full"}).status, 2) << option;
}

TEST(DiagCommand, ExplainsItself) {
    Lumodiag::installCatalogs();
    const auto version = Lumodiag::run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.output, StartsWith("lumodiag 1."));
    const auto german = Lumodiag::run({"-h", "--lang", "de"});
    const auto english = Lumodiag::run({"--help", "--lang", "en"});
    EXPECT_EQ(german.status + english.status, 0);
    for (const char* const option : {"--json", "--redact", "--log", "--watch", "--lang", "--help", "--version"}) {
        EXPECT_THAT(german.output, HasSubstr(option));
        EXPECT_THAT(english.output, HasSubstr(option));
    }
    EXPECT_THAT(german.output, StartsWith("Aufruf: "));
    EXPECT_THAT(english.output, StartsWith("Usage: "));
}

TEST(DiagCommand, SpeaksTheLanguageThatIsAskedForConfiguredOrTheSessions) {
    Lumodiag::installCatalogs();
    const auto help = [](std::vector<std::string> arguments, const std::string& lang) {
        arguments.emplace_back("--help");
        return Support::run(Lumodiag::command(std::move(arguments)), {{"LANG", lang}}).output;
    };
    EXPECT_THAT(help({}, "de_DE.UTF-8"), StartsWith("Aufruf: "));
    EXPECT_THAT(help({}, "fr_FR.UTF-8"), StartsWith("Aufruf: ")) << "the language of the texts themselves";
    EXPECT_THAT(help({}, "en_GB.UTF-8"), StartsWith("Usage: "));
    store("<config><lumo_Client><Language>89</Language></lumo_Client></config>");
    EXPECT_THAT(help({}, "en_GB.UTF-8"), StartsWith("Aufruf: "));
    EXPECT_THAT(help({"--lang=en"}, "de_DE.UTF-8"), StartsWith("Usage: "));
}

TEST(DiagLog, HoldsWhatTheReaderCodeReports) {
    SimulatedReader(0).write("controls", "42000D48 -> error COMMUNICATION_ERROR\n");
    EXPECT_NE(Lumodiag::run({"--log", "/mnt/trace"}).status, 2);
    const auto log = test::ReadText("/mnt/trace.log");
    EXPECT_THAT(log, HasSubstr("lumodiag 1."));
    EXPECT_THAT(log, HasSubstr("ListPCSCReaders"));
    EXPECT_THAT(log, HasSubstr(std::string("lumodiag asks reader ") + kFirst));
    EXPECT_THAT(log, HasSubstr("CheckReaderCapabilities"));
}

TEST(DiagLog, ThatCannotBeWrittenIsTrouble) {
    const auto ending = Lumodiag::run({"--log", "/proc/none/trace"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.errors, HasSubstr("/proc/none/trace"));
    EXPECT_EQ(ending.output, "");
}

TEST(DiagLog, CutShortByALimitToTheSizeOfFilesIsTroubleThatIsTold) {
    const auto limited = "prlimit --fsize=600 " + Lumodiag::command().front() + " --log=/mnt/trace";
    for (const std::string option : {"", " --redact"}) {
        const auto ending = Support::run({"sh", "-c", limited + option + " --lang=en | cat"});
        const auto whole =
            Support::run({"bash", "-c", "set -o pipefail; " + limited + option + " 2>&1 >/dev/null | cat"});
        EXPECT_EQ(whole.status, 2) << "and no signal" << option;
        EXPECT_THAT(whole.output, HasSubstr(option.empty() ? "Protokolldatei /mnt/trace" : "Protokolldatei "))
            << option;
        EXPECT_THAT(ending.output, HasSubstr(kFirst)) << "the report is there all the same" << option;
    }
}

TEST(DiagLog, CutShortByAFullDiskIsTroubleThatIsTold) {
    Pcscd::serve(16);
    ASSERT_EQ(mkdir("/mnt/disk", 0777), 0);
    ASSERT_EQ(Support::run({"mount", "-t", "tmpfs", "-o", "size=4k", "disk", "/mnt/disk"}).status, 0);
    const auto ending = Lumodiag::run({"--log=/mnt/disk/trace"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.errors, HasSubstr("/mnt/disk/trace"));
    EXPECT_THAT(ending.output, HasSubstr(nameOf(15)));
}

TEST(DiagCommand, EndsWithTwoWhenNobodyReadsWhatItPrints) {
    const auto piped = "set -o pipefail; (sleep 1; exec " + Lumodiag::command().front();
    for (const std::string option : {"", " --json", " --help", " --watch"}) {
        const auto ending = Support::run({"bash", "-c", piped + option + ") | true"});
        EXPECT_EQ(ending.status, 2) << option;
        EXPECT_THAT(ending.errors, Not(IsEmpty())) << option;
    }
}

TEST(DiagPrivacy, NothingIsAskedOfTheCardSoNothingOfItCanBeTold) {
    SimulatedReader reader(0);
    reader.write("features", "06 04 42 33 00 06  07 04 42 33 00 07\n");
    reader.clearLog();
    static_cast<void>(Lumodiag::run({"--log=/mnt/trace.log"}));
    static_cast<void>(Lumodiag::report());
    EXPECT_THAT(reader.calls("IFDHTransmitToICC"), IsEmpty()) << "no command reaches a card";
    const auto controls = reader.calls("IFDHControl");
    EXPECT_THAT(controls, Not(IsEmpty()));
    for (const auto& call : controls)
        EXPECT_THAT(call, HasSubstr("code=42000D48")) << "the list of functions, none of them";
}

// A machine with serial numbers and names of people in every place where they can be.
class DiagRedaction : public testing::Test {
protected:
    void SetUp() override {
        Lumodiag::installCatalogs();
        Pcscd::stop();
        first.write("name", "Cherry Reader (PAREN12345)\n");
        first.write("serial-number", "PAREN12345\n");
        first.write("friendly-name", "Friend FRIEND777 PAREN12345\n");
        SimulatedReader(1).write("name", "Other UNSEEN99887 reader\n");
        SimulatedReader(1).write("serial-number", "UNSEEN99887\n");
        SimulatedReader(1).write("vendor-name", "Maker of UNSEEN99887\n");
        Pcscd::start();
        makeUsb();
        makeFiles();
    }

    static void makeUsb() {
        ASSERT_EQ(Support::run({"mount", "-t", "tmpfs", "made-up", "/sys/bus"}).status, 0);
        fs::create_directories("/sys/bus/usb/devices/1-1");
        fs::create_directories("/sys/bus/usb/devices/1-1:1.0");
        test::WriteText("/sys/bus/usb/devices/1-1:1.0/bInterfaceClass", "0b\n");
        test::WriteText("/sys/bus/usb/devices/1-1/serial", "USBSER5551\n");
        test::WriteText("/sys/bus/usb/devices/1-1/product", "Stick USBSER5551\n");
    }

    static void makeFiles() {
        store("<config><lumo_Client>\n"
              "<Reader0><Reader>PCSC Reader</Reader><ReaderName>Away (STORED6661) 00 00</ReaderName>"
              "<UseGUI>Maybe (STORED6661)</UseGUI></Reader0>\n"
              "<Trace><LogLevel>128</LogLevel><LogMode>2</LogMode>"
              "<Filename>/home/anna/.vantor/lumo Client/Trace/lumop11.log</Filename></Trace>\n"
              "</lumo_Client></config>\n");
        // A mapped root has no other users to give a file to.
        hasOtherUsers = chown(kFile, 4711, 4711) == 0;
        if (hasOtherUsers) {
            const auto addAccount = "echo berta:x:4711:4711::/home/berta:/bin/sh >>/etc/passwd && "
                                    "echo berta:x:4711: >>/etc/group";
            ASSERT_EQ(Support::run({"sh", "-c", addAccount}).status, 0);
        }
        fs::create_directories("/mnt/home/.vantor/lumo Client/Trace");
        test::WriteText("/mnt/home/.vantor/lumo Client/Trace/lumop11 (LOGNAME4441).log", "x");
    }

    static std::vector<std::string> secrets() {
        std::vector<std::string> all{"PAREN12345",  "UNSEEN99887", "USBSER5551", "STORED6661",
                                     "LOGNAME4441", "anna",        "/mnt/home"};
        if (hasOtherUsers)
            all.emplace_back("berta");
        return all;
    }

    static void expectNoSecret(const std::string& text, const std::string& where) {
        EXPECT_THAT(text, Not(IsEmpty())) << where;
        for (const auto& secret : secrets())
            EXPECT_THAT(text, Not(HasSubstr(secret))) << where;
    }

    SimulatedReader first{0};
    static inline bool hasOtherUsers = false;
};

TEST_F(DiagRedaction, LeavesNeitherSerialsNorPeople) {
    for (const std::vector<std::string>& form : {std::vector<std::string>{"--lang=en"}, {"--json"}}) {
        auto arguments = form;
        const auto open = Lumodiag::run(arguments).output;
        for (const auto& secret : secrets())
            EXPECT_THAT(open, HasSubstr(secret)) << "or the test proves nothing";
        arguments.emplace_back("--redact");
        expectNoSecret(Lumodiag::run(arguments).output, form.front());
    }
    const auto report = Lumodiag::report(Lumodiag::command({"--json", "--redact"}));
    EXPECT_EQ(report.document.at("redacted"), true);
    EXPECT_EQ(report.reader(0).at("name"), "Cherry Reader (PAR…) 00 00");
    EXPECT_EQ(report.reader(1).at("name"), "… UNS… reader 01 00") << "an unknown word, and a known serial number";
    EXPECT_EQ(report.findings(), Lumodiag::report().findings()) << "and nothing else is lost";
}

TEST_F(DiagRedaction, HoldsForTheLogToo) {
    static_cast<void>(Lumodiag::run({"--log=/mnt/open.log"}));
    EXPECT_THAT(test::ReadText("/mnt/open.log"), HasSubstr("UNSEEN99887"));
    static_cast<void>(Lumodiag::run({"--redact", "--log=/mnt/redacted.log"}));
    expectNoSecret(test::ReadText("/mnt/redacted.log"), "--log");
    EXPECT_THAT(test::ReadText("/mnt/redacted.log"), HasSubstr("lumodiag asks reader Cherry Reader (PAR…) 00 00"));
}

TEST_F(DiagRedaction, HoldsForTheWatchToo) {
    Pcscd::stop();
    SimulatedReader(1).write("name", "Stick USBSER5551\n");
    Pcscd::start();
    Watch watch({"--redact", "--log=/mnt/watch.log"});
    watch.next("reader-attached", "Cherry Reader (…) 00 00");
    watch.next("reader-attached", "Stick USB… 01 00");
    watch.interrupt();
    expectNoSecret(watch.output(), "--watch");
    expectNoSecret(test::ReadText("/mnt/watch.log"), "--watch --log");
}

} // namespace
