// The main window. Its concerns have a source each: MainFrame.cpp holds construction and events, MainFrameLayout.cpp
// the controls and where they stand, MainFrameReaders.cpp the reader list, MainFrameLoad.cpp and MainFrameSave.cpp the
// way from and to the configuration, MainFrameLogging.cpp the log directories and services.
#pragma once

#include "config/Config.h"
#include "readers/EnumReaders.h"

#include <wx/frame.h>

#include <string>
#include <vector>

class wxButton;
class wxCheckBox;
class wxComboBox;
class wxNotebook;
class wxPanel;
class wxRadioButton;
class wxStaticBitmap;
class wxStaticBox;
class wxStaticText;
class wxTextCtrl;

namespace Vantor {
class wxCheckedListCtrl;
}

/// One reader as it stands in the configuration.
struct SelectedReaderConfig {
    bool isCtapi = false;  ///< driven through a CT-API library, otherwise through PC/SC
    bool isSecure = false; ///< has a PIN pad
    std::string name;      ///< UTF-8
    std::string reader;    ///< kind of reader: "PCSC Reader", or the name again for CT-API
};

/// The administration window: five notebook pages over the client's configuration. Everything is read once, by the
/// constructor, and written by `Save`; failures of either are not reported. For the user-interface thread only.
class MainFrame : public wxFrame {
public:
    /// Fixed numbers of the controls that have a handler.
    enum ControlId : int {
        ID_Refresh = 5432,
        ID_LoggingP11 = 5433,
        ID_OpenP11Directory = 5434,
        ID_LoggingMiniDriver = 5435,
        ID_OpenMiniDriverDirectory = 5436,
        ID_AnyReader = 5437,
        ID_SelectedReaders = 5438,
        ID_Ok = 5439,
        ID_Apply = 5440,
        ID_Cancel = 5441,
        ID_InstallService = 5442,
        ID_RestartService = 5443,
    };

    /// Builds the window, loads the configuration into it and lists the readers; it is not shown yet.
    explicit MainFrame(wxWindow* parent);

    virtual void evt_CardReaderChange(wxCommandEvent& event);
    /// Lists the attached readers anew. Marks not saved are lost: the configured readers are marked.
    virtual void evt_aktualisieren(wxCommandEvent& event);
    virtual void evt_LoggingP11(wxCommandEvent& event);
    virtual void evt_openp11loggingdir(wxCommandEvent& event);
    virtual void evt_LoggingMiniTreiber(wxCommandEvent& event);
    virtual void evt_openMinidriverLoggingDir(wxCommandEvent& event);
    /// Saves and closes.
    virtual void evt_buttonok(wxCommandEvent& event);
    /// Saves; the window stays.
    virtual void evt_buttonsave(wxCommandEvent& event);
    /// Closes without saving and without asking.
    virtual void evt_buttonclose(wxCommandEvent& event);
    virtual void evt_installCsp(wxCommandEvent& event);
    virtual void evt_restartCsp(wxCommandEvent& event);

    /// Sets initial values and minimum sizes.
    void SetProperties();
    /// Places the controls and fits the window around them.
    void DoLayout();
    /// Loads the configuration into the controls.
    void SetInitialConfig();

    /// Writes the state of all controls.
    void Save();
    /// Writes the reader sub-trees anew and makes the configured readers what was written.
    void SaveReaderConfig();
    /// Writes the sub-tree of one reader. The three CT-API settings are written only with a library (`ctapi`).
    void WriteReader(int number, bool isSecure, const std::string& reader, const std::string& readerName, bool useGUI,
                     bool useBeep, const std::string& userMessage, const std::string& ctapi, int ctPort,
                     bool closeOnExit, Vantor::SysType sysType);

    /// Enables the list unless any reader may be used.
    void UpdateCardReader();
    /// @param secure  takes no part: a configured reader stays one whatever its PIN-pad flag
    bool IsReaderConfigured(bool isCtapi, bool secure, const std::string& name);
    /// Inserts a row at `index` and sets that to the position after it.
    /// @param name    UTF-8; empty shows as an unknown reader
    /// @param secure  not shown
    /// @param data    tells the reader of the row, see RowData.h
    void AddItemToCardReaders(long& index, bool checked, const std::string& name, wxString iface, bool secure,
                              int data);

    /// Opens a directory in the desktop's file manager and waits for the command; does nothing for an empty name.
    void OpenDir(wxString dir);
    /// There is no service to install here: disables the button.
    void CheckBaseCspService();

protected:
    struct StatusTexts {
        wxString started;
        wxString notStarted;
        wxString installed;
        wxString notInstalled;
        wxString restart;
        wxString start;
    };

    // What the refresh found; the rows' item data are positions in these.
    std::vector<Vantor::PCSCReaderConfig> m_PcscReaders;
    std::vector<Vantor::CTAPIReaderConfig> m_CtapiReaders;
    // What the configuration holds, as last loaded or saved.
    std::vector<SelectedReaderConfig> m_ConfiguredReaders;
    // Translated. The services are the other platform's: here two of the texts show, and never change.
    StatusTexts m_StatusTexts;

private:
    struct InformationPage {
        wxPanel* panel;
        wxStaticBitmap* logo;
        wxStaticText* about;
        wxStaticText* components;
        wxStaticText* notice;
    };
    struct ReaderPage {
        wxPanel* panel;
        wxRadioButton* any;
        wxRadioButton* selected;
        wxPanel* indent;
        Vantor::wxCheckedListCtrl* list;
        wxButton* refresh;
        wxStaticText* hint;
    };
    struct LoggingBox {
        wxStaticBox* box;
        wxCheckBox* enabled;
        wxTextCtrl* directory;
        wxButton* open;
    };
    struct LoggingPage {
        wxPanel* panel;
        LoggingBox p11;
        LoggingBox miniDriver;
    };
    struct StatusRow {
        wxStaticBitmap* picture;
        wxStaticText* text;
        wxButton* button;
    };
    struct WindowsPage {
        wxPanel* panel;
        StatusRow installed;
        StatusRow started;
        wxCheckBox* cleanCertificates;
        wxCheckBox* dialogsOnTop;
    };
    struct FurtherPage {
        wxPanel* panel;
        wxStaticText* label;
        wxComboBox* language;
    };
    struct ButtonPanel {
        wxPanel* panel;
        wxButton* ok;
        wxButton* apply;
        wxButton* cancel;
    };
    void CreateControls(const wxString& about);
    wxPanel* AddPage(const wxString& title);
    void CreateInformationPage(const wxString& about);
    void CreateReaderPage();
    void CreateLoggingPage();
    void CreateWindowsPage();
    void CreateFurtherPage();
    void CreateButtons();

    wxSizer* LayOutInformationPage() const;
    wxSizer* LayOutReaderPage() const;
    wxSizer* LayOutLoggingPage() const;
    wxSizer* LayOutWindowsPage() const;
    wxSizer* LayOutFurtherPage() const;
    wxSizer* LayOutButtons() const;
    void BreakLongTexts();

    void RefreshReaderList();
    void ListPcscReaders(long& row);
    void ListCtapiReaders(long& row);

    void LoadSwitches();
    void LoadReaderMode(const std::vector<std::string>& subTrees);
    void LoadConfiguredReaders(const std::vector<std::string>& subTrees);
    void LoadLanguage();

    void SaveLogging();
    void SaveLanguage();
    void SaveCheckedReaders();
    bool SaveRow(int number, long data);
    bool SavePcscReader(int number, std::size_t index);
    bool SaveCtapiReader(int number, std::size_t index);

    bool m_Starting = true; // until the constructor has finished

    // The toolkit's window tree owns all controls.
    wxPanel* m_MainPanel = nullptr;
    wxNotebook* m_Notebook = nullptr;
    InformationPage m_Information{};
    ReaderPage m_Readers{};
    LoggingPage m_Logging{};
    WindowsPage m_Windows{};
    FurtherPage m_Further{};
    ButtonPanel m_Buttons{};

    wxDECLARE_EVENT_TABLE();
};
