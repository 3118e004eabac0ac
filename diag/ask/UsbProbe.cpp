#include "diag/ask/UsbProbe.h"

#include "diag/record/Printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

namespace Diag {

namespace {

namespace fs = std::filesystem;

constexpr char SmartCardClass[] = "0b";
constexpr std::uint32_t UsbChannel = 0x20;
/// Shorter names, "CCID" for one, would be found in many readers' names.
constexpr std::size_t ShortestTellingName = 5;

/// The one line of a sysfs file without blanks around it; empty when there is none.
std::string ReadLine(const fs::path& file) {
    std::string line;
    std::ifstream stream(file);
    std::getline(stream, line);
    const std::size_t last = line.find_last_not_of(" \t\r\n");
    line.erase(last == std::string::npos ? 0 : last + 1);
    return Printable(line);
}

std::string DriverOf(const fs::path& interfaceFolder) {
    std::error_code error;
    const fs::path driver = fs::read_symlink(interfaceFolder / "driver", error);
    return error ? std::string() : driver.filename().string();
}

UsbReader DescribeDevice(const fs::path& device, const fs::path& interfaceFolder) {
    UsbReader reader;
    reader.port = device.filename().string();
    reader.vendorId = ReadLine(device / "idVendor");
    reader.productId = ReadLine(device / "idProduct");
    reader.manufacturer = ReadLine(device / "manufacturer");
    reader.product = ReadLine(device / "product");
    reader.serial = ReadLine(device / "serial");
    reader.driver = DriverOf(interfaceFolder);
    reader.bus = std::atoi(ReadLine(device / "busnum").c_str());
    reader.device = std::atoi(ReadLine(device / "devnum").c_str());
    return reader;
}

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

bool HasProductName(const UsbReader& device, const Reader& reader) {
    const std::string product = LowerCase(device.product);
    return product.size() >= ShortestTellingName && LowerCase(reader.name).find(product) != std::string::npos;
}

bool IsSame(const UsbReader& device, const Reader& reader) {
    int bus = 0;
    int number = 0;
    if (ReadUsbChannel(reader.channel, bus, number)) {
        return bus == device.bus && number == device.device;
    }
    return HasProductName(device, reader);
}

} // namespace

std::vector<UsbReader> ListUsbReaders(const std::string& folder) {
    std::map<std::string, UsbReader> found; // a device with two such interfaces counts once
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        // An interface is named for its device: "1-1.2:1.0".
        const std::string name = entry->path().filename().string();
        const std::size_t colon = name.find(':');
        if (colon == std::string::npos || ReadLine(entry->path() / "bInterfaceClass") != SmartCardClass) {
            continue;
        }
        const fs::path device = fs::path(folder) / name.substr(0, colon);
        found.emplace(device.filename().string(), DescribeDevice(device, entry->path()));
    }
    std::vector<UsbReader> readers;
    readers.reserve(found.size());
    for (const auto& device : found) {
        readers.push_back(device.second);
    }
    return readers;
}

bool IsListed(const UsbReader& device, const std::vector<Reader>& readers) {
    return std::any_of(readers.begin(), readers.end(), [&](const Reader& reader) { return IsSame(device, reader); });
}

bool ReadUsbChannel(const std::string& channel, int& bus, int& device) {
    std::uint32_t value = 0;
    if (channel.size() < sizeof(value)) {
        return false;
    }
    std::memcpy(&value, channel.data(), sizeof(value));
    if (value >> 16 != UsbChannel) {
        return false;
    }
    bus = static_cast<int>(value >> 8 & 0xFFU);
    device = static_cast<int>(value & 0xFFU);
    return true;
}

} // namespace Diag
