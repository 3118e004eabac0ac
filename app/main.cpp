// Entry of the program.
#include "app/MyApp.h"

#include <wx/debug.h>
#include <wx/init.h>
#include <wx/log.h>

wxIMPLEMENT_APP_NO_MAIN(MyApp);

int main(int argc, char** argv) {
    wxSetAssertHandler(nullptr);
    wxLog::SetLogLevel(wxLOG_Info);
    return wxEntry(argc, argv);
}
