// The card readers of this machine as plain records: PC/SC readers, and terminals behind CT-API libraries.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace Vantor {

/// One PC/SC reader. The six identification texts hold the driver's bytes as they came, a counted terminating zero
/// included, and are empty where the driver has none or no card is in the reader (they are read through the card).
struct PCSCReaderConfig {
    std::string name;              ///< as the resource manager lists it
    bool isSecure = false;         ///< counts as a PIN pad
    std::string vendorName;        ///< SCARD_ATTR_VENDOR_NAME
    std::string vendorIfdType;     ///< SCARD_ATTR_VENDOR_IFD_TYPE
    std::string vendorIfdSerialNo; ///< SCARD_ATTR_VENDOR_IFD_SERIAL_NO
    std::string deviceUnit;        ///< SCARD_ATTR_DEVICE_UNIT, raw bytes
    std::string systemName;        ///< SCARD_ATTR_DEVICE_SYSTEM_NAME_A
    std::string friendlyName;      ///< SCARD_ATTR_DEVICE_FRIENDLY_NAME_A
};

/// One terminal that answered at a port of a CT-API library.
struct CTAPIReaderConfig {
    std::string libraryPath; ///< as given to the scan, possibly a full path
    std::string libraryName; ///< the path without the Windows system folder, always the 32-bit name
    std::string vendor;      ///< from the table row
    std::string readerId;    ///< the key of the table row
    std::string productName; ///< from the table row
    int port = 0;            ///< CT-API port number
    bool isSecure = false;   ///< PIN pad, from the table row
    bool rowFlag3 = false;   ///< from the table row
    bool rowFlag1 = false;   ///< from the table row
};

/// One known CT-API terminal; all texts are zero-terminated ASCII.
struct ReaderTableRow {
    char key[16]; ///< a terminal is this one when its identification begins with the key, trailing blanks included
    char product[40];
    char vendor[40];
    bool flag1;
    bool secure; ///< has a PIN pad
    bool flag3;
    std::int32_t numberA;
    std::int32_t numberB;
};

/// The known CT-API terminals in the order in which they are tried. The last row's empty key matches every terminal.
extern const std::array<ReaderTableRow, 23> strReaderTable;

/// File names of the CT-API libraries, in the order in which they are scanned.
extern const std::array<const char*, 2> CTAPI_Libs;

/// Appends the names of all PC/SC readers in the resource manager's order; asks in the system's scope, then the user's.
/// Does not throw.
/// @return false, with `names` unchanged and the reason logged, when there is no resource manager (an error line for
///         each scope), when it cannot list its readers (one line), or when memory runs out (one line). pcsc-lite
///         counts having no reader at all as such a failure.
bool ListPCSCReaders(std::vector<std::string>& names);

/// The same through a context that the caller holds.
/// @return the PC/SC result code; `names` is unchanged unless it is SCARD_S_SUCCESS
[[nodiscard]] long ListPCSCReaderNames(long context, std::vector<std::string>& names);

/// Appends one record for each PC/SC reader in the resource manager's order. A reader that cannot be opened is listed
/// all the same, with empty identification texts. May block for a few seconds a reader while a card is recovered. Takes
/// the power of each card that it finds, also under a program that shares it. Does not throw.
/// @return false, with `readers` unchanged, when the names cannot be listed or memory runs out
bool ListPCSCReaders(std::vector<PCSCReaderConfig>& readers);

/// True when `name` contains the model text of a known PIN pad; letter case counts.
[[nodiscard]] bool PCSCIsSecureByName(const std::string& name);

/// Appends one record for each terminal that answers through one of CTAPI_Libs: on Linux none.
/// @return true, always
bool ListCTAPIReaders(std::vector<CTAPIReaderConfig>& readers);

/// Asks every port of one CT-API library for its terminal and hands each answer to SetReaderEntry. Linux has no scan:
/// it appends nothing.
void ScanLibrary(const char* library, std::vector<CTAPIReaderConfig>& readers);

/// Appends the record of a terminal that answered at `port` of a library: the first row of strReaderTable with which
/// its identification begins.
/// @param terminalId  zero-terminated identification text of the terminal
void SetReaderEntry(const char* libraryPath, int port, unsigned char* terminalId,
                    std::vector<CTAPIReaderConfig>& readers);

} // namespace Vantor
