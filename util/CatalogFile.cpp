#include "util/CatalogFile.h"

#include "posix/SystemCalls.h"

#include <cstdint>

#include <fcntl.h>
#include <sys/stat.h>

namespace Vantor {

namespace {

constexpr std::uint32_t Magic = 0x950412de;
constexpr std::uint32_t SwappedMagic = 0xde120495;
constexpr std::size_t HeadSize = 28;
constexpr std::size_t EntrySize = 8;
/// The toolkit reads nested brackets by recursion. The longest formula in use has less than 200 characters.
constexpr std::size_t MaxPluralForms = 500;

/// The file's numbers are unsigned, with 32 bits, in the byte order of its first one. Places are in bytes from the
/// start.
class Catalog {
public:
    explicit Catalog(std::string_view content) : bytes(content) {
        if (bytes.size() > HeadSize) {
            const std::uint32_t magic = NumberAt(0);
            isSwapped = magic == SwappedMagic;
            isCatalog = isSwapped || magic == Magic;
        }
    }

    bool IsSound() const {
        if (!isCatalog || MajorRevision() > 1 || Count() == 0 || !IsTable(Originals()) || !IsTable(Translations())) {
            return false;
        }
        std::size_t room = bytes.size();
        for (std::size_t i = 0; i < Count(); ++i) {
            if (!TakeText(Originals() + i * EntrySize, room) || !TakeText(Translations() + i * EntrySize, room)) {
                return false;
            }
        }
        return Original(0).empty() && Field("Plural-Forms:").size() <= MaxPluralForms;
    }

    std::size_t Count() const { return NumberAt(8); }
    std::string_view Original(std::size_t number) const { return Text(Originals() + number * EntrySize); }
    std::string_view Translation(std::size_t number) const { return Text(Translations() + number * EntrySize); }

    /// What follows a name in the catalogue's head, up to the end of the line.
    std::string_view Field(std::string_view name) const {
        const std::string_view head = Translation(0);
        const std::size_t start = head.find(name);
        return start == std::string_view::npos
                   ? std::string_view()
                   : head.substr(start + name.size(), head.find('\n', start) - start - name.size());
    }

private:
    std::uint32_t NumberAt(std::size_t place) const {
        std::uint32_t number = 0;
        bytes.copy(reinterpret_cast<char*>(&number), sizeof number, place);
        return isSwapped ? __builtin_bswap32(number) : number;
    }
    std::uint32_t MajorRevision() const { return NumberAt(4) >> 16U; }
    std::size_t Originals() const { return NumberAt(12); }
    std::size_t Translations() const { return NumberAt(16); }

    bool IsTable(std::size_t place) const {
        return place % sizeof(std::uint32_t) == 0 && place <= bytes.size() &&
               Count() <= (bytes.size() - place) / EntrySize;
    }
    /// @param room  bytes that are left for texts; less by this one afterwards
    bool TakeText(std::size_t entry, std::size_t& room) const {
        const std::size_t length = NumberAt(entry);
        const std::size_t place = NumberAt(entry + 4);
        if (length >= room || place >= bytes.size() || length >= bytes.size() - place ||
            bytes[place + length] != '\0') {
            return false;
        }
        room -= length + 1;
        return true;
    }
    /// Up to the first NUL: behind that come other plural forms.
    std::string_view Text(std::size_t entry) const { return bytes.data() + NumberAt(entry + 4); }

    std::string_view bytes;
    bool isSwapped = false;
    bool isCatalog = false;
};

bool IsUtf8(const Catalog& catalog) {
    const std::string_view type = catalog.Field("Content-Type:");
    return type.find("charset=UTF-8") != std::string_view::npos || type.find("charset=utf-8") != std::string_view::npos;
}

} // namespace

bool IsSoundCatalog(std::string_view bytes) {
    return Catalog(bytes).IsSound();
}

std::string ReadCatalog(const std::string& path) {
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status = {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size > static_cast<off_t>(MaxCatalogSize)) {
        return {};
    }
    std::string bytes = ReadStart(file, static_cast<std::size_t>(status.st_size));
    return IsSoundCatalog(bytes) ? bytes : std::string();
}

std::map<std::string, std::string> CatalogTexts(std::string_view bytes) {
    const Catalog catalog(bytes);
    std::map<std::string, std::string> texts;
    const std::size_t count = !bytes.empty() && IsUtf8(catalog) ? catalog.Count() : 0;
    for (std::size_t i = 0; i < count; ++i) {
        texts.emplace(catalog.Original(i), catalog.Translation(i));
    }
    return texts;
}

} // namespace Vantor
