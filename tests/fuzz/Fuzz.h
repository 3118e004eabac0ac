// What all fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

namespace fuzz {

/// Ends the run with a report when a promise is broken.
inline void require(bool kept, const char* promise) {
    if (!kept) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

} // namespace fuzz
