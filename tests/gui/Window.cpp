#include "tests/gui/Window.h"

#include "config/Config.h"
#include "config/FileSystem.h"
#include "config/ProgramConfig.h"
#include "tests/fakes/FakePcsc.h"
#include "util/I18N.h"

#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

constexpr char ConfigFolder[] = "/etc/vantor/lumoclient";
constexpr char ConfigFile[] = "/etc/vantor/lumoclient/config";

using Tree = boost::property_tree::ptree;

void Flatten(const Tree& tree, const std::string& path, std::vector<std::string>& lines) {
    for (const auto& [name, child] : tree) {
        const std::string here = path.empty() ? name : path + "/" + name;
        if (child.empty())
            lines.push_back(here + " = " + child.data());
        Flatten(child, here, lines);
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
