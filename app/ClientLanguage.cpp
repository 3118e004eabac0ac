#include "app/ClientLanguage.h"

#include <algorithm>
#include <iterator>

namespace {

struct Row {
    long first;
    long last;
    wxLanguage toolkit;

    bool Has(long number) const { return number >= first && number <= last; }
};

constexpr Row SystemDefault{0, 1, wxLANGUAGE_DEFAULT};
constexpr Row EnglishVariants{ClientLanguage::English, 73, wxLANGUAGE_ENGLISH};
constexpr Row GermanVariants{ClientLanguage::German, 94, wxLANGUAGE_GERMAN};

constexpr Row Table[] = {SystemDefault, EnglishVariants, GermanVariants};

} // namespace

bool ClientLanguage::IsEnglish(long number) {
    return EnglishVariants.Has(number);
}

wxLanguage ClientLanguage::ToToolkit(long number) {
    const auto* row =
        std::find_if(std::begin(Table), std::end(Table), [number](const Row& r) { return r.Has(number); });
    return row == std::end(Table) ? wxLANGUAGE_USER_DEFINED : row->toolkit;
}
