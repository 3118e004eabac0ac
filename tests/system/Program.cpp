#include "tests/system/Program.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

using Support::Control;
using Support::Rectangle;
using Support::waitUntil;

namespace {

constexpr auto kFile = "/etc/vantor/lumoclient/config";

// The list's rows are no controls of the accessibility bus, so they are found by measure: of the display's one font.
constexpr int kRowHeight = 23;
// The inside of the check box: its frame meets the dotted line around the row that has the keyboard.
constexpr int kBoxLeft = 5;
constexpr int kBoxSize = 10;
constexpr int kNameWidth = 300;

template <typename Item>
Item required(const std::optional<Item>& found, const std::string& what) {
    if (!found)
        throw std::runtime_error("not there: " + what);
    return *found;
}

} // namespace

Program::Program(const Support::Process::Environment& environment)
    : process_({path()}, Program::environment(environment)), controls_(process_.pid()),
      window_(required(desktop_.window(process_.pid()), "the program's window; " + process_.errors())) {
    required(controls_.program(), "the program on the accessibility bus");
}

Support::Process::Environment Program::environment(Support::Process::Environment more) {
    more.emplace("LSAN_OPTIONS", "print_suppressions=0:suppressions=" LUMOADMIN_LEAKS);
    return more;
}

std::string Program::path() {
    return LUMOADMIN_PROGRAM;
}

Control Program::control(const std::string& role, const std::string& name, std::size_t number) {
    return required(controls_.find(role, name, number), role + " \"" + name + "\"");
}

void Program::showPage(const std::string& name) {
    const auto tab = control("page tab", name);
    desktop_.click(tab.extents());
    if (!waitUntil([&] { return tab.selected(); }))
        throw std::runtime_error("page not shown: " + name);
}

void Program::toggle(const std::string& role, const std::string& name, std::size_t number) {
    const auto box = control(role, name, number);
    const bool before = box.checked();
    desktop_.click(box.extents());
    if (!waitUntil([&] { return box.checked() != before; }))
        throw std::runtime_error("does not change: " + name);
}

void Program::chooseLanguage(const std::string& name) {
    const auto fields = textFields();
    if (fields.empty())
        throw std::runtime_error("no language choice");
    const auto& field = fields.front();
    const auto before = field.text();
    desktop_.click(field.extents());
    // Two choices: the other one is above or below.
    for (const char* key : {"Down", "Up"}) {
        if (field.text() != name)
            desktop_.press(window_, key);
        waitUntil([&] { return field.text() == name; }, Support::Milliseconds(1000));
    }
    if (field.text() != name)
        throw std::runtime_error("language stays " + before);
}

Rectangle Program::row(int row) {
    // Column titles and rows are two inner windows, one below the other, that begin where the button below them does.
    const int left = control("push button", Texts::kRefresh).extents().x;
    std::vector<Rectangle> areas;
    for (const auto& panel : controls_.showing("panel")) {
        const auto area = panel.extents();
        if (area.x == left)
            areas.push_back(area);
    }
    for (const auto& titles : areas) {
        for (const auto& rows : areas) {
            if (titles.height < 2 * kRowHeight && rows.y == titles.y + titles.height)
                return {rows.x, rows.y + row * kRowHeight, rows.width, kRowHeight};
        }
    }
    throw std::runtime_error("no reader list on the screen");
}

Rectangle Program::rowBoxArea(int number) {
    const auto area = row(number);
    return {area.x + kBoxLeft, area.y + (kRowHeight - kBoxSize) / 2, kBoxSize, kBoxSize};
}

std::vector<unsigned long> Program::rowBox(int number) {
    return desktop_.pixels(rowBoxArea(number));
}

std::vector<unsigned long> Program::rowPicture(int number) {
    const auto area = row(number);
    return desktop_.pixels({area.x, area.y, kNameWidth, area.height});
}

void Program::clickRowBox(int number) {
    desktop_.click(rowBoxArea(number));
}

void Program::tickRow(int number) {
    const auto before = rowBox(number);
    clickRowBox(number);
    if (!waitUntil([&] { return rowBox(number) != before; }))
        throw std::runtime_error("the mark stays in row " + std::to_string(number));
}

Support::Ending Program::ending() {
    return required(process_.wait(), "the program's end");
}

std::string ConfigFile::content() {
    std::ifstream stream(kFile, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void ConfigFile::write(const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(kFile).parent_path());
    std::ofstream(kFile, std::ios::binary) << content;
}

std::string ConfigFile::contentOnce(const std::string& expected) {
    waitUntil([&] { return content() == expected; });
    return content();
}

std::string ConfigFile::document(const std::string& client, const std::string& miniDriver) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<config><lumo_Client>" + client + "</lumo_Client>" +
           (miniDriver.empty() ? "" : "<LumoMiniDriver>" + miniDriver + "</LumoMiniDriver>") + "</config>";
}

std::string ConfigFile::withReaders(const std::string& readers) {
    return document("<Trace><LogMode>0</LogMode><LogLevel>0</LogLevel></Trace>"
                    "<CleanCertsOnRefresh>false</CleanCertsOnRefresh><MakeDialogsStayOnTop>NO</MakeDialogsStayOnTop>" +
                        readers + "<Language>89</Language>",
                    "<EnableLogging>0</EnableLogging>");
}

std::string ConfigFile::reader(int number, const std::string& name) {
    const auto element = "Reader" + std::to_string(number);
    return "<" + element + "><IsSecure>Yes</IsSecure><Reader>PCSC Reader</Reader><ReaderName>" + name +
           "</ReaderName><UseGUI>Yes</UseGUI><UseBeep>Yes</UseBeep><UserMessage/></" + element + ">";
}

std::string simulatedName(int number) {
    std::array<char, 64> name{};
    std::snprintf(name.data(), name.size(), "Vantor Simulated Reader %d %02X 00", number + 1,
                  static_cast<unsigned>(number));
    return name.data();
}
