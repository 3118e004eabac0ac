// Catalogues of messages for tests.
#pragma once

#include <cstddef>
#include <map>
#include <string>

/// Texts by what they translate, in UTF-8.
using Messages = std::map<std::string, std::string>;

inline std::string LittleEndian(std::size_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>((value >> shift) & 0xff);
    return bytes;
}

/// The file format of GNU gettext: header, both tables of lengths and offsets, then the texts.
inline std::string CompiledCatalog(Messages messages) {
    messages[""] = "Content-Type: text/plain; charset=UTF-8\n";
    const std::size_t count = messages.size();
    std::string originals, translations, texts;
    const auto add = [&](std::string& table, const std::string& text) {
        table += LittleEndian(text.size()) + LittleEndian(28 + 16 * count + texts.size());
        texts += text + '\0';
    };
    for (const auto& [original, translation] : messages) {
        add(originals, original);
        add(translations, translation);
    }
    return LittleEndian(0x950412de) + LittleEndian(0) + LittleEndian(count) + LittleEndian(28) +
           LittleEndian(28 + 8 * count) + LittleEndian(0) + LittleEndian(0) + originals + translations + texts;
}
