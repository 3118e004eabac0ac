#include "resources/XpmFile.h"

#include <cstddef>

// Defined in Logo.S.
extern "C" const char lumo_logo_file[];
extern "C" const char lumo_logo_file_end[];

XpmFile::XpmFile(std::string_view text) : content(text) {
    std::size_t open = content.find('"');
    while (open != std::string::npos) {
        const std::size_t close = content.find('"', open + 1);
        if (close == std::string::npos)
            break;
        content[close] = '\0';
        rows.push_back(&content[open + 1]);
        open = content.find('"', close + 1);
    }
}

std::string_view LogoXpmText() {
    return {lumo_logo_file, static_cast<std::size_t>(lumo_logo_file_end - lumo_logo_file)};
}
