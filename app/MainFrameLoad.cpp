// From the configuration into the main window.
#include "app/MainFrame.h"

#include "app/ReaderSubTree.h"
#include "config/ClientSettings.h"
#include "config/ProgramConfig.h"

#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/radiobut.h>

namespace ReaderKey = ClientSettings::ReaderKey;
using Vantor::Config;

namespace {

bool IsPositive(unsigned id) {
    long value = 0;
    return Config::GetHandle(0)->GetInteger(id, value) && value > 0;
}

bool AllowsAnyReader(const std::string& subTree) {
    const SubTreeReader reader(subTree);
    return ClientSettings::IsAnyReader(reader.Text(ReaderKey::Reader), reader.Text(ReaderKey::ReaderName));
}

SelectedReaderConfig LoadReader(const std::string& subTree) {
    const SubTreeReader reader(subTree);
    return {reader.Has(ReaderKey::CTAPI), reader.Flag(ReaderKey::IsSecure), reader.Text(ReaderKey::ReaderName),
            reader.Text(ReaderKey::Reader)};
}

} // namespace

void MainFrame::SetInitialConfig() {
    LoadSwitches();
    const auto subTrees = PresentReaderSubTreeNames();
    LoadReaderMode(subTrees);
    LoadConfiguredReaders(subTrees);
    UpdateCardReader();
    LoadLanguage();
}

void MainFrame::LoadSwitches() {
    wxCommandEvent loaded(wxEVT_CHECKBOX);
    m_Logging.p11.enabled->SetValue(IsPositive(ConfigId::LogLevel));
    evt_LoggingP11(loaded);
    m_Logging.miniDriver.enabled->SetValue(IsPositive(ConfigId::EnableLogging));
    evt_LoggingMiniTreiber(loaded);

    bool clean = false;
    Config::GetHandle(0)->GetBoolean(ConfigId::CleanCertsOnRefresh, clean);
    m_Windows.cleanCertificates->SetValue(clean);
    bool onTop = false;
    Config::GetHandle(0)->GetStringBoolean(ConfigId::MakeDialogsStayOnTop, onTop);
    m_Windows.dialogsOnTop->SetValue(onTop);
}

void MainFrame::LoadReaderMode(const std::vector<std::string>& subTrees) {
    const bool any = subTrees.size() == 1 && AllowsAnyReader(subTrees.front());
    // Switching one on switches the other off.
    (any ? m_Readers.any : m_Readers.selected)->SetValue(true);
}

void MainFrame::LoadConfiguredReaders(const std::vector<std::string>& subTrees) {
    m_ConfiguredReaders.clear();
    if (m_Readers.any->GetValue())
        return;
    for (const auto& subTree : subTrees)
        m_ConfiguredReaders.push_back(LoadReader(subTree));
}

void MainFrame::LoadLanguage() {
    long number = 0;
    const bool english = Config::GetHandle(0)->GetInteger(ConfigId::Language, number) &&
                         ClientSettings::LanguageOfNumber(number) == ClientSettings::Language::English;
    m_Further.language->SetSelection(english ? 1 : 0);
}
