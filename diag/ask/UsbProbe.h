// Smart-card readers that the kernel sees on USB, whatever PC/SC makes of them.
#pragma once

#include "diag/record/Records.h"

#include <string>
#include <vector>

namespace Diag {

constexpr char UsbFolder[] = "/sys/bus/usb/devices";

/// One record for each device that has an interface of class 0x0B (USB: smart card), in the order of their ports.
[[nodiscard]] std::vector<UsbReader> ListUsbReaders(const std::string& folder = UsbFolder);

/// Whether one of the PC/SC readers is this device: by the channel that the driver tells, else, among readers without
/// one, by the product's name in the reader's name.
[[nodiscard]] bool IsListed(const UsbReader& device, const std::vector<Reader>& readers);

/// Bus and device number in SCARD_ATTR_CHANNEL_ID (PC/SC part 3: channel type 0x20 is USB), as the machine stores
/// numbers. @return false when the bytes tell no USB channel
[[nodiscard]] bool ReadUsbChannel(const std::string& channel, int& bus, int& device);

} // namespace Diag
