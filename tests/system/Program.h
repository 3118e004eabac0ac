// The built program, started and used as a person would: by clicks on what is on the screen.
#pragma once

#include "tests/support/Accessibility.h"
#include "tests/support/Desktop.h"
#include "tests/support/Process.h"

#include <string>
#include <vector>

/// Page titles and the like as they show without a message catalogue.
namespace Texts {
constexpr auto kReaders = "Kartenleser";
constexpr auto kLogging = "Logging";
constexpr auto kWindows = "Windows";
constexpr auto kFurther = "Weitere Einstellungen";
constexpr auto kAnyReader = "Der lumo Client soll beliebige Kartenleser verwenden, auch Kartenleser ohne Tastaturfeld.";
constexpr auto kSelectedReaders = "Der lumo Client soll nur folgende ausgesuchte Kartenleser verwenden.";
constexpr auto kApply = "Übernehmen";
constexpr auto kCancel = "Abbrechen";
constexpr auto kRefresh = "Aktualisieren";
constexpr auto kLoggingOn = "Logging einschalten";
constexpr auto kOpenDirectory = "Verzeichnis öffnen";
constexpr auto kCleanCertificates =
    "Beim Karten aktualisieren alle Vantor Karten-Zertifikate aus dem Windows Zertifikatsspeicher löschen";
constexpr auto kDialogsOnTop =
    "lumo Client Dialoge immer im Vordergrund anzeigen. (Kann Probleme mit Kartenleseranzeige verursachen)";
} // namespace Texts

/// Runs the program with its window open. Every member that looks for something waits for it, and throws
/// std::runtime_error if it does not come.
class Program {
public:
    explicit Program(const Support::Process::Environment& environment = {});

    [[nodiscard]] pid_t pid() const { return process_.pid(); }
    [[nodiscard]] bool running() { return process_.running(); }
    [[nodiscard]] const Support::Desktop& desktop() const { return desktop_; }
    [[nodiscard]] std::string title() const { return desktop_.title(window_); }
    [[nodiscard]] Support::Rectangle extents() const { return desktop_.extents(window_); }
    void resize(int width, int height) const { desktop_.resize(window_, width, height); }

    [[nodiscard]] Support::Control control(const std::string& role, const std::string& name, std::size_t number = 0);
    /// Text fields of the page that is shown.
    [[nodiscard]] std::vector<Support::Control> textFields() const { return controls_.showing("text"); }
    /// Clicks on a page's tab and waits until the page is shown.
    void showPage(const std::string& name);
    void press(const std::string& button) { desktop_.click(control("push button", button).extents()); }
    void press(Support::Desktop::Window window, const std::string& key) const { desktop_.press(window, key); }
    /// Clicks a check box or radio button and waits until it has changed.
    void toggle(const std::string& role, const std::string& name, std::size_t number = 0);
    void chooseLanguage(const std::string& name);

    /// The inside of a row's check box on the "Kartenleser" page.
    [[nodiscard]] Support::Rectangle rowBoxArea(int row);
    /// The picture inside a row's check box on the "Kartenleser" page; rows count from 0.
    [[nodiscard]] std::vector<unsigned long> rowBox(int row);
    /// The picture of a row from its check box on, up to the end of its first column.
    [[nodiscard]] std::vector<unsigned long> rowPicture(int row);
    /// Clicks a row's check box and waits until its picture has changed.
    void tickRow(int row);
    /// Clicks a row's check box; nothing may happen.
    void clickRowBox(int row);

    [[nodiscard]] Support::Desktop::Window window() const { return window_; }
    void closeByWindowManager() const { desktop_.closeByWindowManager(window_); }
    /// Waits until the program has ended by itself.
    [[nodiscard]] Support::Ending ending();

    /// Its environment, for tests that start it themselves.
    [[nodiscard]] static Support::Process::Environment environment(Support::Process::Environment more = {});
    [[nodiscard]] static std::string path();

private:
    [[nodiscard]] Support::Rectangle row(int row);

    Support::Process process_;
    Support::Desktop desktop_;
    Support::Accessibility controls_;
    Support::Desktop::Window window_;
};

/// The machine-wide configuration file.
namespace ConfigFile {
/// Its bytes; empty if there is none.
[[nodiscard]] std::string content();
void write(const std::string& content);
/// Waits until it holds exactly this text, and returns what it holds then.
[[nodiscard]] std::string contentOnce(const std::string& expected);
/// A whole file around the elements of the client's tree and, behind it, the minidriver's.
[[nodiscard]] std::string document(const std::string& client, const std::string& miniDriver = "");
/// What the window writes when nothing but the readers was touched.
[[nodiscard]] std::string withReaders(const std::string& readers);
/// The sub-tree of a PC/SC reader. The name must be one that XML carries as it is.
[[nodiscard]] std::string reader(int number, const std::string& name);
} // namespace ConfigFile

/// Name under which pcscd lists the simulated reader with this number, counted from 0.
[[nodiscard]] std::string simulatedName(int number);
