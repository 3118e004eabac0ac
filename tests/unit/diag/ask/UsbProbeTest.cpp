#include "diag/ask/UsbProbe.h"

#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using namespace Diag;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

/// A folder like the kernel's.
class UsbProbeTest : public testing::Test {
protected:
    void Device(const std::string& port, const std::vector<std::pair<std::string, std::string>>& files) const {
        fs::create_directories(folder / port);
        for (const auto& [name, text] : files) {
            test::WriteText(folder / (port + "/" + name), text + "\n");
        }
    }
    void Interface(const std::string& name, const std::string& kind, const std::string& driver = "") const {
        Device(name, {{"bInterfaceClass", kind}});
        if (!driver.empty()) {
            fs::create_directories(folder / ("drivers/" + driver));
            fs::create_symlink("../drivers/" + driver, folder / (name + "/driver"));
        }
    }

    test::TemporaryFolder folder;
};

Reader Named(const std::string& name, const std::string& channel = {}) {
    Reader reader;
    reader.name = name;
    reader.channel = channel;
    return reader;
}

UsbReader At(int bus, int device, const std::string& product) {
    UsbReader reader;
    reader.bus = bus;
    reader.device = device;
    reader.product = product;
    return reader;
}

std::string Channel(std::uint32_t value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof(value));
}

} // namespace

TEST_F(UsbProbeTest, ASmartCardReaderIsDescribed) {
    Device("1-1.2", {{"idVendor", "08e6"},
                     {"idProduct", "3437"},
                     {"manufacturer", "Gemalto"},
                     {"product", "USB SmartCard Reader"},
                     {"serial", "4711"},
                     {"busnum", "1"},
                     {"devnum", "17"}});
    Interface("1-1.2:1.0", "0b", "usbfs");
    const std::vector<UsbReader> readers = ListUsbReaders(folder.Path());
    ASSERT_EQ(readers.size(), 1U);
    EXPECT_EQ(readers[0].port, "1-1.2");
    EXPECT_EQ(readers[0].vendorId + ":" + readers[0].productId, "08e6:3437");
    EXPECT_EQ(readers[0].manufacturer + ", " + readers[0].product, "Gemalto, USB SmartCard Reader");
    EXPECT_EQ(readers[0].serial, "4711");
    EXPECT_EQ(readers[0].driver, "usbfs");
    EXPECT_EQ(readers[0].bus, 1);
    EXPECT_EQ(readers[0].device, 17);
}

TEST_F(UsbProbeTest, OtherDevicesAreLeftOut) {
    Device("1-1", {{"idVendor", "046d"}, {"bDeviceClass", "0b"}});
    Interface("1-1:1.0", "03");
    Interface("1-1:1.1", "0B");
    EXPECT_THAT(ListUsbReaders(folder.Path()), IsEmpty()) << "the kernel writes classes in lower case";
}

TEST_F(UsbProbeTest, AKeyboardWithAReaderIsOne) {
    Device("1-2", {{"idVendor", "046a"}, {"idProduct", "0010"}});
    Interface("1-2:1.0", "03", "usbhid");
    Interface("1-2:1.1", "0b");
    Interface("1-2:1.2", "0b");
    const std::vector<UsbReader> readers = ListUsbReaders(folder.Path());
    ASSERT_EQ(readers.size(), 1U) << "two interfaces of the class are one device";
    EXPECT_EQ(readers[0].driver, "") << "the keyboard's driver is not the reader's";
}

TEST_F(UsbProbeTest, DevicesWithoutTextsAreListed) {
    Device("2-1", {{"idVendor", "08e6"}, {"idProduct", "3437"}});
    Interface("2-1:1.0", "0b");
    const std::vector<UsbReader> readers = ListUsbReaders(folder.Path());
    ASSERT_EQ(readers.size(), 1U);
    EXPECT_EQ(readers[0].product + readers[0].manufacturer + readers[0].serial, "");
}

TEST_F(UsbProbeTest, TextsOfADeviceAreMadePrintable) {
    Device("2-1", {{"product", "evil\x1B[2J"}});
    Interface("2-1:1.0", "0b");
    EXPECT_EQ(ListUsbReaders(folder.Path()).front().product, "evil\\x1B[2J");
}

TEST_F(UsbProbeTest, AMachineWithoutUsbHasNone) {
    EXPECT_THAT(ListUsbReaders(folder / "missing"), IsEmpty());
}

TEST_F(UsbProbeTest, TheChannelTellsBusAndDevice) {
    int bus = 0;
    int device = 0;
    EXPECT_TRUE(ReadUsbChannel(Channel(0x00200311), bus, device));
    EXPECT_EQ(bus, 3);
    EXPECT_EQ(device, 17);
    EXPECT_FALSE(ReadUsbChannel(Channel(0x00010001), bus, device)) << "a serial port";
    EXPECT_FALSE(ReadUsbChannel("", bus, device));
    EXPECT_FALSE(ReadUsbChannel("abc", bus, device));
}

TEST_F(UsbProbeTest, ReadersAreFoundByTheirChannel) {
    const std::vector<Reader> readers = {Named("A", Channel(0x00200104)), Named("B", Channel(0x00200105)),
                                         Named("B slot 2", Channel(0x00200105))};
    EXPECT_TRUE(IsListed(At(1, 5, ""), readers));
    EXPECT_FALSE(IsListed(At(2, 5, ""), readers));
}

TEST_F(UsbProbeTest, ReadersWithoutAChannelAreFoundByTheProductsName) {
    const std::vector<Reader> readers = {Named("Gemalto PC Twin Reader 00 00"), Named("Other 01 00")};
    EXPECT_TRUE(IsListed(At(1, 5, "PC TWIN Reader"), readers));
    EXPECT_FALSE(IsListed(At(1, 5, "SmartCard Reader"), readers));
}

TEST_F(UsbProbeTest, NamesThatTellNothingMatchNothing) {
    const std::vector<Reader> readers = {Named("Generic CCID Reader 00 00")};
    EXPECT_FALSE(IsListed(At(1, 5, "CCID"), readers));
    EXPECT_FALSE(IsListed(At(1, 5, ""), readers));
}

TEST_F(UsbProbeTest, TheChannelOverrulesTheName) {
    const std::vector<Reader> readers = {Named("PC Twin Reader 00 00", Channel(0x00200104))};
    EXPECT_FALSE(IsListed(At(1, 5, "PC Twin Reader"), readers)) << "its twin at the next port";
}
