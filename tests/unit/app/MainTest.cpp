// The program's entry, with the toolkit's own entry replaced by a look at what was prepared for it.
#include <wx/debug.h>
#include <wx/init.h>
#include <wx/log.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// The program's main, renamed for this test.
int ProgramMain(int argc, char** argv);

namespace {

struct Entry {
    int calls = 0;
    std::vector<std::string> arguments;
    wxLogLevel logLevel = 0;
    wxAssertHandler_t assertHandler = nullptr;
};

Entry seen;

void Complain(const wxString&, int, const wxString&, const wxString&, const wxString&) {}

} // namespace

/// Goes before the toolkit's.
int wxEntry(int& argc, char** argv) {
    ++seen.calls;
    seen.arguments.assign(argv, argv + argc);
    seen.logLevel = wxLog::GetLogLevel();
    seen.assertHandler = wxSetAssertHandler(nullptr);
    return 42;
}

TEST(Main, HandsOverToTheToolkitWithAssertionsOffAndInformationLogged) {
    wxSetAssertHandler(Complain);
    wxLog::SetLogLevel(wxLOG_Trace);
    char program[] = "lumoadmin";
    char argument[] = "-x";
    char* arguments[] = {program, argument, nullptr};

    const int status = ProgramMain(2, arguments);

    EXPECT_EQ(status, 42);
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.arguments, (std::vector<std::string>{"lumoadmin", "-x"}));
    EXPECT_EQ(seen.logLevel, 5u);
    EXPECT_EQ(seen.assertHandler, nullptr);
}
