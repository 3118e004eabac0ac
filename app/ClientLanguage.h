// The toolkit's codes for the languages of the client's file.
#pragma once

#include <wx/intl.h>

namespace ClientLanguage {

/// The present toolkit's code for a number of `ClientSettings`: one language for all its variants, wxLANGUAGE_DEFAULT
/// for the system's, and wxLANGUAGE_USER_DEFINED, a language that no system has, for a number that stands for none.
[[nodiscard]] wxLanguage ToToolkit(long number);

} // namespace ClientLanguage
