// PC/SC numbers in words: result codes, attributes, PIN-pad features, protocols.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Diag {

/// "SCARD_E_NO_SMARTCARD (0x8010000C)"; a code without a name is "unknown (0x...)". Takes what a 32-bit `long` makes
/// of a code as well.
[[nodiscard]] std::string ResultText(long code);
/// The name alone, "unknown" when it has none.
[[nodiscard]] std::string ResultName(long code);
/// Eight digits with a prefix, "0x8010000C".
[[nodiscard]] std::string HexNumber(unsigned long value);

/// One of the six attributes that identify a reader.
struct AttributeName {
    unsigned long tag;
    const char* key;   ///< for programs
    const char* label; ///< for people, a message id
};

/// In the order in which the reader code asks for them.
constexpr std::size_t AttributeCount = 6;
extern const AttributeName AttributeNames[AttributeCount];

/// A PIN-pad feature (PC/SC part 10), as the reader's list has it.
struct Feature {
    unsigned tag = 0;
    std::string name; ///< "VERIFY_PIN_DIRECT"; empty for a tag without a name
    std::uint32_t controlCode = 0;
};

/// The records of a feature list in their order.
[[nodiscard]] std::vector<Feature> ParseFeatures(const std::string& list);
/// Whether the list is whole records with the right lengths, no tag twice and no control code 0.
[[nodiscard]] bool IsSoundFeatureList(const std::string& list);
/// Whether the list has what a reader needs to verify, and to change, a PIN on its own pad.
[[nodiscard]] bool CanVerify(const std::vector<Feature>& features);
[[nodiscard]] bool CanModify(const std::vector<Feature>& features);

/// "T=0", "T=1", "RAW"; empty for none.
[[nodiscard]] std::string ProtocolName(unsigned long protocol);

} // namespace Diag
