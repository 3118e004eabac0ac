// The driver as pcscd sees it: the IFD handler interface 3.0, spread over simulated readers by logical unit number.
#include "tests/simreader/Device.h"

// The header leaves it to its users that pcscd looks for C names.
#pragma GCC visibility push(default)
extern "C" {
#include <PCSC/ifdhandler.h>
}
#pragma GCC visibility pop

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace {

using SimReader::Device;

constexpr std::size_t kReaders = 64; // pcscd counts its units anew after a reader was removed, so more than it serves

struct Units {
    std::mutex mutex;
    std::array<std::shared_ptr<Device>, kReaders> devices;
};

Units& units() {
    static Units all;
    return all;
}

std::size_t readerNumber(DWORD unit) {
    return (unit >> 16) % kReaders;
}

std::shared_ptr<Device> device(DWORD unit) {
    const std::lock_guard lock(units().mutex);
    return units().devices[readerNumber(unit)];
}

std::shared_ptr<Device> exchangeDevice(DWORD unit, std::shared_ptr<Device> next) {
    const std::lock_guard lock(units().mutex);
    units().devices[readerNumber(unit)].swap(next);
    return next;
}

// Calls the unit's device; a unit that was never opened does not exist. No exception may reach pcscd, which is C.
template <typename Action>
RESPONSECODE withDevice(DWORD unit, Action action) noexcept {
    try {
        const auto opened = device(unit);
        return opened ? static_cast<RESPONSECODE>(action(*opened)) : IFD_NO_SUCH_DEVICE;
    } catch (...) {
        return IFD_COMMUNICATION_ERROR;
    }
}

RESPONSECODE openFolder(DWORD unit, const std::string& folder) noexcept {
    try {
        auto next = std::make_shared<Device>(folder);
        const long code = next->open();
        if (code == IFD_SUCCESS)
            exchangeDevice(unit, std::move(next));
        return code;
    } catch (...) {
        return IFD_COMMUNICATION_ERROR;
    }
}

RESPONSECODE waitForChange(DWORD unit, int milliseconds) {
    return withDevice(unit, [=](Device& device) { return device.waitForChange(milliseconds); });
}

RESPONSECODE stopWaiting(DWORD unit) {
    return withDevice(unit, [](Device& device) {
        device.stopWaiting();
        return IFD_SUCCESS;
    });
}

template <typename Value>
RESPONSECODE give(Value value, PDWORD length, PUCHAR target) {
    if (*length < sizeof value)
        return IFD_ERROR_INSUFFICIENT_BUFFER;
    *length = sizeof value;
    std::memcpy(target, &value, sizeof value);
    return IFD_SUCCESS;
}

} // namespace

extern "C" {

RESPONSECODE IFDHCreateChannelByName(DWORD Lun, LPSTR DeviceName) {
    return openFolder(Lun, DeviceName);
}

RESPONSECODE IFDHCreateChannel(DWORD Lun, DWORD Channel) {
    const char* root = std::getenv("LUMOADMIN_SIMREADER_ROOT");
    return openFolder(Lun, std::string(root ? root : "/run/simreader") + "/" + std::to_string(Channel));
}

RESPONSECODE IFDHCloseChannel(DWORD Lun) {
    const auto code = withDevice(Lun, [](Device& device) { return device.close(); });
    exchangeDevice(Lun, nullptr);
    return code;
}

RESPONSECODE IFDHGetCapabilities(DWORD Lun, DWORD Tag, PDWORD Length, PUCHAR Value) {
    switch (Tag) {
    case TAG_IFD_SIMULTANEOUS_ACCESS:
        return give(static_cast<UCHAR>(kReaders), Length, Value);
    case TAG_IFD_SLOTS_NUMBER:
    case TAG_IFD_THREAD_SAFE:
    case TAG_IFD_SLOT_THREAD_SAFE:
        return give(static_cast<UCHAR>(1), Length, Value);
    case TAG_IFD_POLLING_THREAD_KILLABLE:
        return give(static_cast<UCHAR>(0), Length, Value);
    case TAG_IFD_POLLING_THREAD_WITH_TIMEOUT:
        return give(&waitForChange, Length, Value);
    case TAG_IFD_STOP_POLLING_THREAD:
        return give(&stopWaiting, Length, Value);
    default:
        return withDevice(Lun, [=](Device& device) { return device.capability(Tag, {Value, *Length}); });
    }
}

RESPONSECODE IFDHSetCapabilities(DWORD Lun, DWORD Tag, DWORD Length, PUCHAR Value) {
    return withDevice(Lun, [=](Device& device) { return device.setCapability(Tag, Value, Length); });
}

RESPONSECODE IFDHSetProtocolParameters(DWORD Lun, DWORD Protocol, UCHAR, UCHAR, UCHAR, UCHAR) {
    return withDevice(Lun, [=](Device& device) { return device.setProtocol(Protocol); });
}

RESPONSECODE IFDHPowerICC(DWORD Lun, DWORD Action, PUCHAR Atr, PDWORD AtrLength) {
    // pcscd leaves the size of its buffer to MAX_ATR_SIZE.
    *AtrLength = MAX_ATR_SIZE;
    return withDevice(Lun, [=](Device& device) { return device.power(Action, {Atr, *AtrLength}); });
}

RESPONSECODE IFDHTransmitToICC(DWORD Lun, SCARD_IO_HEADER SendPci, PUCHAR TxBuffer, DWORD TxLength, PUCHAR RxBuffer,
                               PDWORD RxLength, PSCARD_IO_HEADER RecvPci) {
    if (RecvPci)
        RecvPci->Protocol = SendPci.Protocol;
    return withDevice(Lun, [=](Device& device) { return device.transmit(TxBuffer, TxLength, {RxBuffer, *RxLength}); });
}

RESPONSECODE IFDHControl(DWORD Lun, DWORD dwControlCode, PUCHAR TxBuffer, DWORD TxLength, PUCHAR RxBuffer,
                         DWORD RxLength, LPDWORD pdwBytesReturned) {
    *pdwBytesReturned = RxLength;
    return withDevice(Lun, [=](Device& device) {
        return device.control(dwControlCode, TxBuffer, TxLength, {RxBuffer, *pdwBytesReturned});
    });
}

RESPONSECODE IFDHICCPresence(DWORD Lun) {
    return withDevice(Lun, [](Device& device) { return device.presence(); });
}

} // extern "C"
