#include "tests/gui/Window.h"

#include "app/ClientLanguage.h"
#include "config/Config.h"
#include "config/FileSystem.h"
#include "config/ProgramConfig.h"
#include "tests/fakes/FakePcsc.h"
#include "util/I18N.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/radiobut.h>
#include <wx/statbmp.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

constexpr char ConfigFolder[] = "/etc/vantor/lumoclient";
constexpr char ConfigFile[] = "/etc/vantor/lumoclient/config";

using Tree = boost::property_tree::ptree;
using Lines = std::vector<std::string>;

void Flatten(const Tree& tree, const std::string& path, std::vector<std::string>& lines) {
    for (const auto& [name, child] : tree) {
        const std::string here = path.empty() ? name : path + "/" + name;
        if (child.empty())
            lines.push_back(here + " = " + child.data());
        Flatten(child, here, lines);
    }
}

bool IsPartOfTheList(const wxWindow& window) {
    return dynamic_cast<const wxListCtrl*>(window.GetParent()) != nullptr;
}

std::string IdOf(const wxWindow& window) {
    const int id = window.GetId();
    return id >= 5000 && id < 6000 ? " " + std::to_string(id) : "";
}

std::string TextOf(const wxWindow& window) {
    if (const auto* picture = dynamic_cast<const wxStaticBitmap*>(&window))
        return wxString::Format("%dx%d", picture->GetBitmap().GetWidth(), picture->GetBitmap().GetHeight())
            .utf8_string();
    if (const auto* choice = dynamic_cast<const wxComboBox*>(&window))
        return (choice->GetString(0) + "|" + choice->GetString(1)).utf8_string();
    if (const auto* field = dynamic_cast<const wxTextCtrl*>(&window))
        return field->GetValue().utf8_string();
    if (dynamic_cast<const wxListCtrl*>(&window) != nullptr)
        return "";
    return window.GetLabel().utf8_string();
}

void Describe(const wxWindow& parent, const std::string& indent, Lines& lines) {
    for (const auto* child : parent.GetChildren()) {
        if (IsPartOfTheList(*child))
            continue;
        const auto kind = wxString(child->GetClassInfo()->GetClassName()).utf8_string();
        const auto text = TextOf(*child);
        lines.push_back(indent + kind + IdOf(*child) + (text.empty() ? "" : ": " + text));
        Describe(*child, indent + "  ", lines);
    }
}

bool HasText(const wxWindow& window) {
    return dynamic_cast<const wxStaticText*>(&window) != nullptr ||
           dynamic_cast<const wxCheckBox*>(&window) != nullptr ||
           dynamic_cast<const wxRadioButton*>(&window) != nullptr || dynamic_cast<const wxButton*>(&window) != nullptr;
}

/// Its text fits into it, and it lies inside of its parent.
void ExpectWhole(const wxWindow& window) {
    const auto name = window.GetLabel().utf8_string();
    if (HasText(window)) {
        EXPECT_GE(window.GetSize().x, window.GetBestSize().x) << name;
        EXPECT_GE(window.GetSize().y, window.GetBestSize().y) << name;
    }
    if (dynamic_cast<wxNotebook*>(window.GetParent()) == nullptr) {
        EXPECT_TRUE(wxRect(window.GetParent()->GetClientSize()).Contains(window.GetRect())) << name;
    }
}

} // namespace

void Window::SetUp() {
    FakePcsc::Reset();
    Desktop::SetUp();
}

void Window::TearDown() {
    Desktop::TearDown();
    Vantor::Config::GetHandle(0)->Destroy();
    Vantor::FileSystem::Destroy();
    Vantor::I18N::Destroy();
}

void Window::Configure(const std::string& client, const std::string& others) {
    std::filesystem::create_directories(ConfigFolder);
    // Without the declaration that the program writes: only what it has written is held against the schema.
    std::ofstream(ConfigFile) << "<config><lumo_Client>" << client << "</lumo_Client>" << others << "</config>";
}

void Window::Speak(long number) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    std::filesystem::create_directories("/etc/lumoclient");
    std::filesystem::create_directory_symlink(TEST_CATALOGS, "/etc/lumoclient/I18N");
    ASSERT_EQ(Vantor::I18N::GetHandle()->Initialize(ClientLanguage::ToToolkit(number)), 0);
}

void Window::UseFontOf(int points) {
    const auto folder = std::filesystem::path(std::getenv("HOME")) / ".config" / "gtk-3.0";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "settings.ini") << "[Settings]\ngtk-font-name=DejaVu Sans " << points << "\n";
}

std::string Window::PcscSubTree(const std::string& element, const std::string& name) {
    return "<" + element + "><IsSecure>Yes</IsSecure><Reader>PCSC Reader</Reader><ReaderName>" + name +
           "</ReaderName></" + element + ">";
}

std::vector<std::string> Window::Settings() {
    Tree document;
    boost::property_tree::read_xml(ConfigFile, document);
    std::vector<std::string> lines;
    Flatten(document.get_child("config"), "", lines);
    return lines;
}

std::string Window::Setting(const std::string& path) {
    for (const auto& line : Settings())
        if (line.rfind(path + " = ", 0) == 0)
            return line.substr(path.size() + 3);
    return "(none)";
}

std::string Window::FileText() {
    std::ostringstream text;
    text << std::ifstream(ConfigFile).rdbuf();
    return text.str();
}

void Window::Attach(const std::vector<std::string>& names) {
    for (const auto& name : names) {
        FakePcsc::Reader reader;
        reader.name = name;
        FakePcsc::AddReader(reader);
    }
}

void Window::Prepare() {
    GenerateConfig();
    GenerateFileSystem();
}

void Window::Refresh() {
    wxCommandEvent event;
    frame->evt_aktualisieren(event);
}

std::vector<unsigned> Window::ReservedIds() {
    constexpr unsigned lastSetting = 60;
    std::vector<unsigned> ids;
    for (const auto& entry : Vantor::Config::GetHandle(0)->GetEntries())
        if (entry.first > lastSetting)
            ids.push_back(entry.first);
    return ids;
}

void Window::TurnTo(std::size_t page) {
    Notebook().SetSelection(page);
    Settle();
}

void Window::Collect(const wxWindow& parent, std::vector<wxWindow*>& all) {
    for (auto* child : parent.GetChildren()) {
        all.push_back(child);
        Collect(*child, all);
    }
}

std::vector<std::string> Window::Describe(const wxWindow& parent) {
    Lines lines;
    ::Describe(parent, "", lines);
    return lines;
}

void Window::ExpectNothingCutOff() {
    std::vector<wxWindow*> all;
    Collect(*frame, all);
    for (std::size_t page = 0; page < Notebook().GetPageCount(); ++page) {
        TurnTo(page);
        for (const auto* window : all)
            if (window->IsShownOnScreen() && !IsPartOfTheList(*window))
                ExpectWhole(*window);
    }
}
