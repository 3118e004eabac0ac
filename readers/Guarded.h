// Exceptions end here.
#pragma once

#include <winscard.h>

namespace Vantor {

/// Runs `work`, which returns a PC/SC result code.
/// @return that code, or SCARD_E_NO_MEMORY when `work` throws, which the reader code does for no other reason
template <class Work>
[[nodiscard]] long Guarded(Work work) {
    try {
        return work();
    } catch (...) {
        return SCARD_E_NO_MEMORY;
    }
}

} // namespace Vantor
