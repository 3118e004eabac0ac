// Base64 and hexadecimal text: any input is survived, and what was encoded comes back the same.

#include "tests/fuzz/Fuzz.h"
#include "util/Base64.h"
#include "util/ByteArray.h"

#include <string>
#include <vector>

namespace {

using Vantor::ByteArray;

void base64(Vantor::eBase64Type type, const std::vector<unsigned char>& bytes) {
    Vantor::Base64 codec;
    codec.Init(type);
    fuzz::require(codec.Decode(codec.Encode(bytes)) == bytes, "Base64 comes back the same");
    const std::string text(bytes.begin(), bytes.end());
    fuzz::require(codec.Decode(text).size() <= bytes.size(), "decoding never grows");
}

void hexadecimal(unsigned short form, const std::vector<unsigned char>& bytes) {
    ByteArray parsed;
    parsed.FromHexString(std::string(bytes.begin(), bytes.end()));
    fuzz::require(parsed.size() <= bytes.size(), "a byte takes at least one character");
    if (bytes.empty()) {
        return;
    }
    ByteArray again;
    again.FromHexString(ByteArray(bytes).ToHexString(form));
    fuzz::require(again == ByteArray(bytes), "hexadecimal text comes back the same");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::vector<unsigned char> bytes(data + 1, data + size);
    base64(static_cast<Vantor::eBase64Type>(data[0] % 15), bytes);
    hexadecimal(data[0] % 4, bytes);
    return 0;
}
