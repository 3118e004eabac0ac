// The reader list of the main window.
#include "app/MainFrame.h"
#include "app/RowData.h"
#include "app/wxCheckedListCtrl.h"

#include <wx/button.h>
#include <wx/intl.h>
#include <wx/radiobut.h>
#include <wx/utils.h>

#include <algorithm>
#include <optional>

namespace {

class DisabledMeanwhile {
public:
    explicit DisabledMeanwhile(wxWindow& target) : window(target) { window.Disable(); }
    DisabledMeanwhile(const DisabledMeanwhile&) = delete;
    DisabledMeanwhile& operator=(const DisabledMeanwhile&) = delete;
    ~DisabledMeanwhile() { window.Enable(); }

private:
    wxWindow& window;
};

} // namespace

void MainFrame::UpdateCardReader() {
    m_Readers.list->Enable(!m_Readers.any->GetValue());
}

void MainFrame::evt_aktualisieren(wxCommandEvent& event) {
    RefreshReaderList();
    // Being disabled has cost the pressed button the keyboard.
    if (event.GetEventObject() == m_Readers.refresh)
        m_Readers.refresh->SetFocus();
}

void MainFrame::RefreshReaderList() {
    m_Readers.list->DeleteAllItems();
    const DisabledMeanwhile disabled(*m_Readers.refresh);
    // While the window is being built there is nothing to show a cursor over, and making one takes a while.
    std::optional<wxBusyCursor> busy;
    if (!m_Starting)
        busy.emplace();
    long row = 0;
    ListPcscReaders(row);
    ListCtapiReaders(row);
}

void MainFrame::ListPcscReaders(long& row) {
    m_PcscReaders.clear();
    Vantor::ListPCSCReaders(m_PcscReaders);
    int data = PcscRowData;
    for (const auto& reader : m_PcscReaders) {
        const bool configured = IsReaderConfigured(false, reader.isSecure, reader.name);
        AddItemToCardReaders(row, configured, reader.name, L"PC/SC", reader.isSecure, data++);
    }
}

void MainFrame::ListCtapiReaders(long& row) {
    m_CtapiReaders.clear();
    Vantor::ListCTAPIReaders(m_CtapiReaders);
    int data = 0;
    for (const auto& reader : m_CtapiReaders) {
        const bool configured = IsReaderConfigured(true, reader.isSecure, reader.productName);
        AddItemToCardReaders(row, configured, reader.productName, L"CT-API", reader.isSecure, data++);
    }
}

bool MainFrame::IsReaderConfigured(bool isCtapi, bool /*secure*/, const std::string& name) {
    return std::any_of(m_ConfiguredReaders.begin(), m_ConfiguredReaders.end(),
                       [&](const SelectedReaderConfig& configured) {
                           return configured.isCtapi == isCtapi && configured.name == name;
                       });
}

void MainFrame::AddItemToCardReaders(long& index, bool checked, const std::string& name, wxString iface,
                                     bool /*secure*/, int data) {
    // A driver may break its promise of UTF-8; its reader must not vanish behind an empty label.
    const wxString label = name.empty() ? wxGetTranslation(L"Unbekannter Kartenleser")
                                        : wxString(name.data(), wxConvWhateverWorks, name.size());
    auto& list = *m_Readers.list;
    const long row = list.InsertItem(index, label);
    list.SetChecked(row, checked);
    list.SetItem(row, 1, iface);
    list.SetItemData(row, data);
    index = row + 1;
}
