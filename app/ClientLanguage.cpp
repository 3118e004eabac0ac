#include "app/ClientLanguage.h"

#include "config/ClientSettings.h"

wxLanguage ClientLanguage::ToToolkit(long number) {
    const auto language = ClientSettings::LanguageOfNumber(number);
    if (!language)
        return wxLANGUAGE_USER_DEFINED;
    switch (*language) {
    case ClientSettings::Language::System:
        return wxLANGUAGE_DEFAULT;
    case ClientSettings::Language::English:
        return wxLANGUAGE_ENGLISH;
    case ClientSettings::Language::German:
        return wxLANGUAGE_GERMAN;
    }
    return wxLANGUAGE_USER_DEFINED;
}
