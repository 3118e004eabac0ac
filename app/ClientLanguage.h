// The language numbers in the client's configuration.
#pragma once

#include <wx/intl.h>

/// The client numbers languages as an older toolkit did. The numbers stay as they are, because the client reads them.
namespace ClientLanguage {

constexpr long English = 58; ///< the first of its variants, which go up to 73
constexpr long German = 89;  ///< the first of its variants, which go up to 94

/// True for English and each of its variants.
[[nodiscard]] bool IsEnglish(long number);

/// The present toolkit's code: one language for all its variants, wxLANGUAGE_DEFAULT for 0 and 1, and
/// wxLANGUAGE_USER_DEFINED, a language that no system has, for any other number.
[[nodiscard]] wxLanguage ToToolkit(long number);

} // namespace ClientLanguage
