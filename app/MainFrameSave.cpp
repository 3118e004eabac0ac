// From the main window into the configuration. Results are not looked at: the client reads what could be written.
#include "app/MainFrame.h"

#include "app/ReaderSubTree.h"
#include "app/RowData.h"
#include "app/wxCheckedListCtrl.h"
#include "config/ClientSettings.h"
#include "config/FileSystem.h"
#include "config/ProgramConfig.h"
#include "util/FileAndDirectory.h"

#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/radiobut.h>
#include <wx/utils.h>

namespace ReaderKey = ClientSettings::ReaderKey;
using Vantor::Config;
using Vantor::FileSystem;
using Vantor::SYSTYPE_FIRST;

namespace {

constexpr long P11LogMode = 2;
constexpr long P11LogLevel = 128;

} // namespace

void MainFrame::Save() {
    const wxBusyCursor busy;
    SaveLogging();
    Config::GetHandle(0)->SetBoolean(ConfigId::CleanCertsOnRefresh, m_Windows.cleanCertificates->GetValue());
    Config::GetHandle(0)->SetStringBoolean(ConfigId::MakeDialogsStayOnTop, m_Windows.dialogsOnTop->GetValue());
    SaveReaderConfig();
    SaveLanguage();
}

void MainFrame::SaveLogging() {
    auto& config = *Config::GetHandle(0);
    const bool p11 = m_Logging.p11.enabled->GetValue();
    config.SetInteger(ConfigId::LogMode, p11 ? P11LogMode : 0);
    config.SetInteger(ConfigId::LogLevel, p11 ? P11LogLevel : 0);
    if (p11) {
        const std::string directory = FileSystem::GetHandle()->GetPath(PathId::ClientTrace, true);
        config.SetString(ConfigId::Filename, Vantor::CombinePaths(directory, ClientSettings::LogFileName));
    }
    config.SetInteger(ConfigId::EnableLogging, m_Logging.miniDriver.enabled->GetValue() ? 1 : 0);
}

void MainFrame::SaveLanguage() {
    constexpr long numbers[] = {ClientSettings::GermanNumber, ClientSettings::EnglishNumber};
    const int choice = m_Further.language->GetSelection();
    Config::GetHandle(0)->SetInteger(ConfigId::Language, choice == 0 || choice == 1 ? numbers[choice] : 0);
}

void MainFrame::SaveReaderConfig() {
    m_ConfiguredReaders.clear();
    for (const auto& name : ReaderSubTreeNames())
        RemoveSubTree(name);
    if (m_Readers.any->GetValue())
        WriteReader(0, true, ClientSettings::PcscKind, ClientSettings::AnyName, true, true, "", "", 0, false,
                    SYSTYPE_FIRST);
    else
        SaveCheckedReaders();
}

void MainFrame::SaveCheckedReaders() {
    int number = 0;
    for (long row = 0; row < m_Readers.list->GetItemCount(); ++row)
        if (m_Readers.list->IsChecked(row) && SaveRow(number, static_cast<long>(m_Readers.list->GetItemData(row))))
            ++number;
}

bool MainFrame::SaveRow(int number, long data) {
    if (data < 0)
        return false;
    return data < PcscRowData ? SaveCtapiReader(number, static_cast<std::size_t>(data))
                              : SavePcscReader(number, static_cast<std::size_t>(data - PcscRowData));
}

bool MainFrame::SavePcscReader(int number, std::size_t index) {
    if (index >= m_PcscReaders.size())
        return false;
    const auto& name = m_PcscReaders[index].name;
    // Always as a PIN pad, whatever the enumeration found: the client finds out by itself.
    WriteReader(number, true, ClientSettings::PcscKind, name, true, true, "", "", 0, false, SYSTYPE_FIRST);
    m_ConfiguredReaders.push_back({false, true, name, ClientSettings::PcscKind});
    return true;
}

bool MainFrame::SaveCtapiReader(int number, std::size_t index) {
    if (index >= m_CtapiReaders.size())
        return false;
    const auto& reader = m_CtapiReaders[index];
    const auto& name = reader.productName;
    WriteReader(number, reader.isSecure, name, name, reader.rowFlag3, false, "", reader.libraryName, reader.port,
                reader.rowFlag1, SYSTYPE_FIRST);
    m_ConfiguredReaders.push_back({true, reader.isSecure, name, name});
    return true;
}

void MainFrame::WriteReader(int number, bool isSecure, const std::string& reader, const std::string& readerName,
                            bool useGUI, bool useBeep, const std::string& userMessage, const std::string& ctapi,
                            int ctPort, bool closeOnExit, Vantor::SysType sysType) {
    const SubTreeWriter subTree(ClientSettings::ReaderPrefix + std::to_string(number), sysType);
    subTree.Flag(ReaderKey::IsSecure, isSecure);
    subTree.Text(ReaderKey::Reader, reader);
    subTree.Text(ReaderKey::ReaderName, readerName);
    subTree.Flag(ReaderKey::UseGUI, useGUI);
    subTree.Flag(ReaderKey::UseBeep, useBeep);
    subTree.Text(ReaderKey::UserMessage, userMessage);
    if (ctapi.empty())
        return;
    // Twice, as ever: the second write replaces the file once more by the same content.
    subTree.Text(ReaderKey::CTAPI, ctapi);
    subTree.Text(ReaderKey::CTAPI, ctapi);
    subTree.Number(ReaderKey::CTPort, ctPort);
    subTree.Flag(ReaderKey::CloseOnExit, closeOnExit);
}
