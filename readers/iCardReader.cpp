#include "readers/iCardReader.h"

#include <array>
#include <cstdio>

#include "readers/Logging.h"

namespace Vantor {

std::string iCardReader::VendorID() {
    return VendorModelName();
}

bool iCardReader::ConnectCard() {
    return ConnectCard(false);
}

void iCardReader::SetSecure(bool isSecure) {
    secure = isSecure;
}

bool iCardReader::UseGui() const {
    return useGui;
}

bool iCardReader::UseBeep() const {
    return useBeep;
}

bool iCardReader::IsSecure() {
    if (!secure) {
        return false;
    }
    bool canVerify = false;
    bool canModify = false;
    CheckReaderCapabilities(canVerify, canModify);
    return canVerify && canModify;
}

bool iCardReader::SendApdu(const ByteArray& apdu, ByteArray& response) {
    return SendApdu(apdu.data(), apdu.size(), response);
}

std::string iCardReader::VendorModelName() {
    std::string vendorName, ifdType, ifdSerialNo, deviceUnit, systemName, friendlyName;
    GetReaderName(vendorName, ifdType, ifdSerialNo, deviceUnit, systemName, friendlyName);
    return vendorName + " " + ifdType;
}

void iCardReader::LogReaderName() {
    std::string vendorName, ifdType, ifdSerialNo, deviceUnit, systemName, friendlyName;
    GetReaderName(vendorName, ifdType, ifdSerialNo, deviceUnit, systemName, friendlyName);
    LibReaderAndCard::LogMessage("Vendor Name: ", vendorName);
    // The label says version, the text is the type: log readers know the line so.
    LibReaderAndCard::LogMessage("Vendor IFD Version: ", ifdType);
    LibReaderAndCard::LogMessage("Vendor IFD Serial No.: ", ifdSerialNo);
    LibReaderAndCard::LogMessage("Device Unit: ", deviceUnit);
    LibReaderAndCard::LogMessage("System Name: ", systemName);
    LibReaderAndCard::LogMessage("Friendly Name: ", friendlyName);
}

bool iCardReader::CheckApduSW(const ByteArray& response, unsigned char sw1, unsigned char sw2, bool logMismatch) {
    if (response.size() < 2) {
        // The stray parenthesis stays: people and programs search logs for this text.
        LibReaderAndCard::LogError("CheckApduSW, input len < 2)");
        return false;
    }
    const unsigned char got1 = response[response.size() - 2];
    const unsigned char got2 = response[response.size() - 1];
    const bool matches = got1 == sw1 && got2 == sw2;
    if (!matches && logMismatch) {
        std::array<char, 64> line{};
        static_cast<void>(
            std::snprintf(line.data(), line.size(), "Apdu SW: 0x%x 0x%x - expected: 0x%x 0x%x", got1, got2, sw1, sw2));
        LibReaderAndCard::LogError(line.data());
    }
    return matches;
}

} // namespace Vantor
