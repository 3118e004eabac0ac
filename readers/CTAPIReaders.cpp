// Terminals behind CT-API libraries: the table of known ones and the record of one that answered.
#include "readers/EnumReaders.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "readers/Logging.h"

namespace Vantor {

// The layout of a row is fixed: three texts, then the flags without a gap.
static_assert(offsetof(ReaderTableRow, flag1) == 96 && offsetof(ReaderTableRow, secure) == 97 &&
              offsetof(ReaderTableRow, flag3) == 98);

// Row 6 is never found, for row 4's key is a prefix of its key. The client shares this table, so the row stays.
// clang-format off
constexpr std::array<ReaderTableRow, 23> strReaderTable = {{
    // key               product                     vendor        flag1  secure flag3  A  B
    {"DExxxCT399",      "KOBIL KAAN Professional",  "KOBIL",       true,  true,  true, 1, 10000},
    {"DEKOBCT399",      "KOBIL KAAN Professional",  "KOBIL",       true,  true,  true, 1, 10000},
    {"DExxxCT198",      "KOBIL KAAN Standard plus", "KOBIL",       true,  true,  true, 0, 15000},
    {"DExxxCT101V1.70", "KOBIL KAAN Standard plus", "KOBIL",       true,  true,  true, 0, 15000},
    {"DExxxCT199",      "KOBIL B1 S",               "KOBIL",       true,  false, true, 0, 10000},
    {"DExxxCT101V2.06", "KOBIL B1 PCMCIA",          "KOBIL",       true,  false, true, 0, 10000},
    {"DExxxCT199V1.63", "KOBIL B1 PCMCIA",          "KOBIL",       true,  false, true, 0, 10000},
    {"DEUTICM   ",      "Cardman 8630",             "Utimaco",     true,  true,  true, 1,  5000},
    {"DEUTI3621 ",      "Cardman 3621",             "Utimaco",     true,  true,  true, 1,  5000},
    {"DESCTECUSB",      "cyberJack e-com",          "REINER SCT",  true,  true,  true, 1,  5000},
    {"DESCTECLPT",      "cyberJack e-com",          "REINER SCT",  true,  true,  true, 1,  5000},
    {"DESCTCJECA",      "cyberJack e-com",          "REINER SCT",  true,  true,  true, 1,  5000},
    {"DESCTPPUSB",      "cyberJack pinpad",         "REINER SCT",  true,  true,  true, 2,  5000},
    {"DESCTPPLPT",      "cyberJack pinpad",         "REINER SCT",  true,  true,  true, 2,  5000},
    {"DESCTCJPPA",      "cyberJack pinpad",         "REINER SCT",  true,  true,  true, 2,  5000},
    {"DESCTCJECP",      "cyberJack e-com plus",     "REINER SCT",  true,  true,  true, 2,  5000},
    {"DESCTCJSEC",      "cyberJack Secoder",        "REINER SCT",  true,  true,  true, 2,  5000},
    {"DESCT     ",      "cyberJack kb",             "REINER SCT",  true,  true,  true, 0, 10000},
    {"DECYMPC/SC",      "Cherry G83-67xx",          "Cherry GmbH", true,  true,  true, 0,  5000},
    {"DESCMSCR24",      "SCM SCR241",               "SCM",         false, false, true, 0,  5000},
    {"DESCMSPRx3",      "SCM SPR532",               "SCM",         false, true,  true, 0,  5000},
    {"ATSAGCT600",      "Siemens Signator",         "Siemens",     true,  true,  true, 0,  5000},
    {"",                "",                         "",            true,  true,  true, 0,     0},
}};
// clang-format on

constexpr std::array<const char*, 2> CTAPI_Libs = {"libct.so", "libctapi.so"};

namespace {

bool BeginsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

std::string LibraryName(std::string_view path) {
    constexpr std::string_view windowsFolder = "C:\\Windows\\SysWOW64\\";
    if (BeginsWith(path, windowsFolder)) {
        path.remove_prefix(windowsFolder.size());
    }
    // The client loads the vendor's 32-bit library.
    return BeginsWith(path, "ctrsct64.dll") ? "ctrsct32.dll" : std::string(path);
}

} // namespace

bool ListCTAPIReaders(std::vector<CTAPIReaderConfig>& readers) {
    LibReaderImpl::LogMessage("ListCTAPIReaders");
    for (const char* const library : CTAPI_Libs) {
        ScanLibrary(library, readers);
    }
    return true;
}

// No CT-API library is scanned on Linux.
void ScanLibrary(const char* /*library*/, std::vector<CTAPIReaderConfig>& /*readers*/) {}

void SetReaderEntry(const char* libraryPath, int port, unsigned char* terminalId,
                    std::vector<CTAPIReaderConfig>& readers) {
    const auto* const text = reinterpret_cast<const char*>(terminalId);
    const auto* const row = std::find_if(strReaderTable.begin(), strReaderTable.end(), [text](const auto& known) {
        return std::strncmp(text, known.key, std::strlen(known.key)) == 0;
    });
    if (row == strReaderTable.end()) {
        LibReaderImpl::LogError("cannot find reader in reader table -> ignore reader");
        return;
    }

    CTAPIReaderConfig reader;
    reader.libraryPath = libraryPath;
    reader.libraryName = LibraryName(libraryPath);
    reader.vendor = row->vendor;
    reader.readerId = row->key;
    reader.productName = row->product;
    reader.port = port;
    reader.isSecure = row->secure;
    reader.rowFlag3 = row->flag3;
    reader.rowFlag1 = row->flag1;
    readers.push_back(std::move(reader));
}

} // namespace Vantor
