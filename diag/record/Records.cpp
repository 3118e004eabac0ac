#include "diag/record/Records.h"

#include <winscard.h>

namespace Diag {

namespace {

bool IsLost(long code) {
    return code == SCARD_E_NO_SERVICE || code == SCARD_E_SERVICE_STOPPED;
}

} // namespace

bool IsInUse(const Reader& reader) {
    return (reader.state & (SCARD_STATE_INUSE | SCARD_STATE_EXCLUSIVE)) != 0;
}

bool IsHeld(const Reader& reader) {
    return (reader.state & SCARD_STATE_EXCLUSIVE) != 0 || reader.cardCode == SCARD_E_SHARING_VIOLATION ||
           reader.directCode == SCARD_E_SHARING_VIOLATION;
}

bool LostService(const Reader& reader) {
    return IsLost(reader.cardCode) || IsLost(reader.directCode);
}

} // namespace Diag
