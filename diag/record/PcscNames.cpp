#include "diag/record/PcscNames.h"

#include "diag/record/Mark.h"
#include "readers/FeatureList.h"
#include "readers/Logging.h"

#include <reader.h>
#include <winscard.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <set>
#include <sstream>

namespace Diag {

namespace {

struct CodeName {
    unsigned long code;
    const char* name;
};

/// Codes that the reader code's own table, which log readers count on, does not name.
constexpr CodeName LaterCodes[] = {
    {0x8010001F, "SCARD_E_UNSUPPORTED_FEATURE"},
    {0x80100023, "SCARD_E_DIR_NOT_FOUND"},
    {0x80100027, "SCARD_E_NO_ACCESS"},
    {0x8010002B, "SCARD_E_UNKNOWN_RES_MNG"},
    {0x8010002E, "SCARD_E_NO_READERS_AVAILABLE"},
    {0x8010002F, "SCARD_E_COMM_DATA_LOST"},
    {0x80100031, "SCARD_E_SERVER_TOO_BUSY"},
    {0x8010006A, "SCARD_W_SECURITY_VIOLATION"},
    {0x8010006E, "SCARD_W_CANCELLED_BY_USER"},
};

struct FeatureName {
    unsigned tag;
    const char* name;
};

constexpr FeatureName FeatureNames[] = {
    {FEATURE_VERIFY_PIN_START, "VERIFY_PIN_START"},
    {FEATURE_VERIFY_PIN_FINISH, "VERIFY_PIN_FINISH"},
    {FEATURE_MODIFY_PIN_START, "MODIFY_PIN_START"},
    {FEATURE_MODIFY_PIN_FINISH, "MODIFY_PIN_FINISH"},
    {FEATURE_GET_KEY_PRESSED, "GET_KEY_PRESSED"},
    {FEATURE_VERIFY_PIN_DIRECT, "VERIFY_PIN_DIRECT"},
    {FEATURE_MODIFY_PIN_DIRECT, "MODIFY_PIN_DIRECT"},
    {FEATURE_MCT_READER_DIRECT, "MCT_READER_DIRECT"},
    {FEATURE_MCT_UNIVERSAL, "MCT_UNIVERSAL"},
    {FEATURE_IFD_PIN_PROPERTIES, "IFD_PIN_PROPERTIES"},
    {FEATURE_ABORT, "ABORT"},
    {FEATURE_SET_SPE_MESSAGE, "SET_SPE_MESSAGE"},
    {FEATURE_VERIFY_PIN_DIRECT_APP_ID, "VERIFY_PIN_DIRECT_APP_ID"},
    {FEATURE_MODIFY_PIN_DIRECT_APP_ID, "MODIFY_PIN_DIRECT_APP_ID"},
    {FEATURE_WRITE_DISPLAY, "WRITE_DISPLAY"},
    {FEATURE_GET_KEY, "GET_KEY"},
    {FEATURE_IFD_DISPLAY_PROPERTIES, "IFD_DISPLAY_PROPERTIES"},
    {FEATURE_GET_TLV_PROPERTIES, "GET_TLV_PROPERTIES"},
    {FEATURE_CCID_ESC_COMMAND, "CCID_ESC_COMMAND"},
    {FEATURE_EXECUTE_PACE, "EXECUTE_PACE"},
};

constexpr std::size_t RecordSize = 6;

/// A negative code, as 32-bit machines have it, without the sign's digits.
unsigned long Bits(long code) {
    return static_cast<unsigned long>(code) & 0xFFFFFFFFUL;
}

std::string NameOfFeature(unsigned tag) {
    const auto* const found = std::find_if(std::begin(FeatureNames), std::end(FeatureNames),
                                           [tag](const FeatureName& row) { return row.tag == tag; });
    return found == std::end(FeatureNames) ? std::string() : found->name;
}

/// Where a tag stands twice the last one counts, as it does when the reader is used.
bool Has(const std::vector<Feature>& features, unsigned tag) {
    const auto last =
        std::find_if(features.rbegin(), features.rend(), [tag](const Feature& feature) { return feature.tag == tag; });
    return last != features.rend() && last->controlCode != 0;
}

} // namespace

const AttributeName AttributeNames[AttributeCount] = {
    {SCARD_ATTR_VENDOR_NAME, "vendorName", Mark("Hersteller")},
    {SCARD_ATTR_VENDOR_IFD_TYPE, "vendorIfdType", Mark("Typ")},
    {SCARD_ATTR_DEVICE_UNIT, "deviceUnit", Mark("Gerätenummer")},
    {SCARD_ATTR_VENDOR_IFD_SERIAL_NO, "vendorIfdSerialNo", Mark("Seriennummer")},
    {SCARD_ATTR_DEVICE_SYSTEM_NAME_A, "systemName", Mark("Systemname")},
    {SCARD_ATTR_DEVICE_FRIENDLY_NAME_A, "friendlyName", Mark("Anzeigename")},
};

std::string HexNumber(unsigned long value) {
    std::array<char, sizeof("0xFFFFFFFFFFFFFFFF")> text{};
    std::snprintf(text.data(), text.size(), "0x%08lX", value);
    return text.data();
}

std::string ResultName(long code) {
    const auto* const later = std::find_if(std::begin(LaterCodes), std::end(LaterCodes),
                                           [code](const CodeName& row) { return row.code == Bits(code); });
    if (later != std::end(LaterCodes)) {
        return later->name;
    }
    std::stringstream name;
    Vantor::LibReaderImpl::SCardErrorToString(name, static_cast<long>(Bits(code)));
    return name.str() == "Unknown Error" ? "unknown" : name.str();
}

std::string ResultText(long code) {
    return ResultName(code) + " (" + HexNumber(Bits(code)) + ")";
}

std::vector<Feature> ParseFeatures(const std::string& list) {
    std::vector<Feature> features;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(list.data());
    Vantor::ForEachFeature(bytes, list.size(), [&](unsigned char tag, std::uint32_t code) {
        features.push_back({tag, NameOfFeature(tag), code});
    });
    return features;
}

bool IsSoundFeatureList(const std::string& list) {
    std::set<unsigned> seen;
    for (const Feature& feature : ParseFeatures(list)) {
        if (feature.controlCode == 0 || !seen.insert(feature.tag).second) {
            return false;
        }
    }
    for (std::size_t i = 1; i < list.size(); i += RecordSize) {
        if (list[i] != '\x04') {
            return false;
        }
    }
    return list.size() % RecordSize == 0;
}

bool CanVerify(const std::vector<Feature>& features) {
    return Has(features, FEATURE_VERIFY_PIN_DIRECT) || Has(features, FEATURE_VERIFY_PIN_START);
}

bool CanModify(const std::vector<Feature>& features) {
    return Has(features, FEATURE_MODIFY_PIN_DIRECT) || Has(features, FEATURE_MODIFY_PIN_START);
}

std::string ProtocolName(unsigned long protocol) {
    switch (protocol) {
    case SCARD_PROTOCOL_T0:
        return "T=0";
    case SCARD_PROTOCOL_T1:
        return "T=1";
    case SCARD_PROTOCOL_RAW:
        return "RAW";
    default:
        return protocol == 0 ? std::string() : HexNumber(protocol);
    }
}

} // namespace Diag
