// What drivers and the PC/SC service hand out: reader multi-strings and PIN-pad feature lists.

#include "readers/FeatureList.h"
#include "readers/MultiString.h"
#include "tests/fuzz/Fuzz.h"

#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    // A copy of exactly that size lets the sanitizer see a read behind the end.
    const auto copy = std::make_unique<unsigned char[]>(size);
    std::copy(data, data + size, copy.get());

    std::vector<std::string> names;
    Vantor::AppendMultiString(reinterpret_cast<const char*>(copy.get()), size, names);
    std::size_t used = 0;
    for (const std::string& name : names) {
        fuzz::require(!name.empty() && name.find('\0') == std::string::npos, "a reader has a name");
        used += name.size() + 1;
    }
    fuzz::require(used <= size + 1, "names come from the text alone");

    std::size_t features = 0;
    Vantor::ForEachFeature(copy.get(), size, [&](unsigned char, std::uint32_t) { ++features; });
    fuzz::require(features == size / 6, "one feature for each whole record");
    return 0;
}
