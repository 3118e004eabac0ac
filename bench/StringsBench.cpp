// Base64 against OpenSSL, hex text against a formatted stream and a plain copy.

#include "bench/Compare.h"
#include "util/Base64.h"
#include "util/ByteArray.h"

#include <openssl/evp.h>

#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <vector>

namespace {

using Vantor::Base64;
using Vantor::ByteArray;
using Vantor::eBase64Type;
using Bytes = std::vector<unsigned char>;

constexpr int kVariants = 14;

Bytes sample(std::size_t size) {
    Bytes bytes(size);
    unsigned state = 12345;
    for (unsigned char& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<unsigned char>(state >> 24U);
    }
    return bytes;
}

// Both sides write into a buffer that is there already.
void compareEncode(const std::string& suffix, const Base64& codec, const Bytes& bytes) {
    std::string out(3 * bytes.size() + 64, '\0');
    compare(
        "Base64 encode " + suffix,
        [codec, bytes, out]() mutable {
            std::size_t size = out.size();
            benchmark::DoNotOptimize(codec.Encode(bytes.data(), bytes.size(), out.data(), size));
            benchmark::ClobberMemory();
        },
        [bytes, out]() mutable {
            benchmark::DoNotOptimize(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), bytes.data(),
                                                     static_cast<int>(bytes.size())));
            benchmark::ClobberMemory();
        });
}

void compareDecode(const std::string& suffix, const Base64& codec, const std::string& text,
                   const std::string& standard) {
    Bytes out(text.size());
    compare(
        "Base64 decode " + suffix,
        [codec, text, out]() mutable {
            std::size_t size = out.size();
            benchmark::DoNotOptimize(codec.Decode(text.data(), text.size(), out.data(), size));
            benchmark::ClobberMemory();
        },
        [standard, out]() mutable {
            benchmark::DoNotOptimize(EVP_DecodeBlock(out.data(),
                                                     reinterpret_cast<const unsigned char*>(standard.data()),
                                                     static_cast<int>(standard.size())));
            benchmark::ClobberMemory();
        });
}

void compareBase64(const std::string& size, const Bytes& bytes) {
    std::string standard(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    standard.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(standard.data()),
                                                             bytes.data(), static_cast<int>(bytes.size()))));
    for (int variant = 0; variant < kVariants; ++variant) {
        Base64 codec;
        codec.Init(static_cast<eBase64Type>(variant));
        const std::string suffix = size + " variant " + std::to_string(variant);
        compareEncode(suffix, codec, bytes);
        compareDecode(suffix, codec, codec.Encode(bytes), standard);
    }
}

std::string streamHex(const Bytes& bytes) {
    std::ostringstream out;
    out << std::hex << std::setfill('0');
    for (const unsigned char byte : bytes) {
        out << std::setw(2) << static_cast<int>(byte);
    }
    return out.str();
}

Bytes streamUnhex(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        std::istringstream in(text.substr(i, 2));
        int value = 0;
        in >> std::hex >> value;
        bytes.push_back(static_cast<unsigned char>(value));
    }
    return bytes;
}

void compareHex(const std::string& size, const Bytes& bytes) {
    const ByteArray array(bytes);
    const std::string text = array.ToHexString(ByteArray::NOT_SPACED);
    const auto write = [=] { benchmark::DoNotOptimize(array.ToHexString(ByteArray::NOT_SPACED)); };
    const auto read = [=] {
        ByteArray out;
        out.FromHexString(text);
        benchmark::DoNotOptimize(out);
    };
    const auto copy = [=] { benchmark::DoNotOptimize(Bytes(bytes)); };
    compare("hex write " + size + " to a stream", write, [=] { benchmark::DoNotOptimize(streamHex(bytes)); });
    compare("hex read " + size + " from a stream", read, [=] { benchmark::DoNotOptimize(streamUnhex(text)); });
    compare("hex write " + size + " to a copy", write, copy);
    compare("hex read " + size + " to a copy", read, copy);
}

} // namespace

int main(int argc, char* argv[]) {
    for (const auto& [size, count] : {std::pair<const char*, std::size_t>{"48 B", 48}, {"1 MiB", 1U << 20U}}) {
        compareBase64(size, sample(count));
        compareHex(size, sample(count));
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
