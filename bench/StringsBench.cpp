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

void compareBase64(const std::string& size, const Bytes& bytes) {
    std::string standard(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    standard.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(standard.data()),
                                                             bytes.data(), static_cast<int>(bytes.size()))));
    for (int variant = 0; variant < kVariants; ++variant) {
        Base64 codec;
        codec.Init(static_cast<eBase64Type>(variant));
        const std::string text = codec.Encode(bytes);
        const std::string suffix = size + " variant " + std::to_string(variant);
        compare(
            "Base64 encode " + suffix, [=]() mutable { benchmark::DoNotOptimize(codec.Encode(bytes)); },
            [=] {
                std::string out(4 * ((bytes.size() + 2) / 3) + 1, '\0');
                EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), bytes.data(),
                                static_cast<int>(bytes.size()));
                benchmark::DoNotOptimize(out);
            });
        compare(
            "Base64 decode " + suffix, [=]() mutable { benchmark::DoNotOptimize(codec.Decode(text)); },
            [=] {
                Bytes out(standard.size() / 4 * 3);
                EVP_DecodeBlock(out.data(), reinterpret_cast<const unsigned char*>(standard.data()),
                                static_cast<int>(standard.size()));
                benchmark::DoNotOptimize(out);
            });
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
