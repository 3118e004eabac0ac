#include "readers/iCardReader.h"

#include <cstring>
#include <type_traits>

#include "tests/unit/readers/ReaderTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace Vantor;

namespace {

/// A reader that answers as told and notes what it is asked.
class ScriptedReader : public iCardReader {
public:
    using iCardReader::ConnectCard;
    using iCardReader::SendApdu;

    bool ConnectReader() override { return true; }
    bool ConnectCard(bool force) override {
        FakePcsc::Note(force ? "ConnectCard(true)" : "ConnectCard(false)");
        return connects;
    }
    bool Disconnect() override { return true; }
    void SetConfig(bool isSecure, bool wantsGui, bool wantsBeep) override {
        secure = isSecure;
        useGui = wantsGui;
        useBeep = wantsBeep;
    }
    void CheckReaderCapabilities(bool& canVerify, bool& canModify) override {
        FakePcsc::Note("CheckReaderCapabilities");
        canVerify = verifies;
        canModify = modifies;
    }
    bool BeginTransaction() override { return true; }
    bool EndTransaction() override { return true; }
    bool SendApdu(const unsigned char* apdu, unsigned long length, ByteArray& response) override {
        response = ByteArray(apdu, length);
        return sends;
    }
    int VerifyPin(const ByteArray&, const PINVerifyData*, ByteArray&) override { return 0; }
    int ChangePin(const ByteArray&, const PINVerifyData*, ByteArray&) override { return 0; }
    bool IsOk() override { return true; }
    bool IsTokenPresent() override { return true; }
    bool GetAtr(ByteArray&) override { return true; }
    int GetStatus() override { return 0; }
    bool Reconnect(bool, bool) override { return true; }
    long GetReaderName(std::string& vendorName, std::string& ifdType, std::string& ifdSerialNo, std::string& deviceUnit,
                       std::string& systemName, std::string& friendlyName) override {
        vendorName = vendor;
        ifdType = "Type";
        ifdSerialNo = "Serial";
        deviceUnit = "Unit";
        systemName = "System";
        friendlyName = "Friendly";
        return 0;
    }

    bool connects = true;
    bool sends = true;
    bool verifies = true;
    bool modifies = true;
    std::string vendor = "Vendor";
};

} // namespace

using iCardReaderTest = ReaderTest;

TEST_F(iCardReaderTest, IsNeitherCopiedNorAssigned) {
    EXPECT_FALSE(std::is_copy_constructible_v<ScriptedReader>);
    EXPECT_FALSE(std::is_copy_assignable_v<ScriptedReader>);
    EXPECT_FALSE(std::is_move_constructible_v<ScriptedReader>);
    EXPECT_TRUE(std::is_abstract_v<iCardReader>);
    EXPECT_TRUE((std::is_base_of_v<Uncopyable, iCardReader>));
    EXPECT_FALSE((std::is_convertible_v<iCardReader*, Uncopyable*>)) << "the base is private";
    EXPECT_TRUE(std::has_virtual_destructor_v<iCardReader>);
}

#if defined(__x86_64__) || defined(__aarch64__) || defined(__arm__)
/// Where an operation stands in the table of virtual functions; the destructor takes the first two places. By the C++
/// ABI of these machines the first word of a pointer to a virtual member function is its offset, and one more on x86.
template <class Operation>
std::size_t SlotOf(Operation operation) {
    std::size_t word = 0;
    std::memcpy(&word, &operation, sizeof(word));
    return word / sizeof(void*);
}

TEST_F(iCardReaderTest, HasItsOperationsInTheOrderThatCompiledUsersCount) {
    const std::vector<std::size_t> slots = {
        SlotOf(&iCardReader::ConnectReader),
        SlotOf(static_cast<bool (iCardReader::*)(bool)>(&iCardReader::ConnectCard)),
        SlotOf(&iCardReader::Disconnect),
        SlotOf(&iCardReader::SetConfig),
        SlotOf(&iCardReader::CheckReaderCapabilities),
        SlotOf(&iCardReader::BeginTransaction),
        SlotOf(&iCardReader::EndTransaction),
        SlotOf(static_cast<bool (iCardReader::*)(const unsigned char*, unsigned long, ByteArray&)>(
            &iCardReader::SendApdu)),
        SlotOf(&iCardReader::VerifyPin),
        SlotOf(&iCardReader::ChangePin),
        SlotOf(&iCardReader::IsOk),
        SlotOf(&iCardReader::IsTokenPresent),
        SlotOf(&iCardReader::GetAtr),
        SlotOf(&iCardReader::GetStatus),
        SlotOf(&iCardReader::Reconnect),
        SlotOf(&iCardReader::GetReaderName),
        SlotOf(&iCardReader::VendorID),
    };
    for (std::size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(slots[i], i + 2) << "operation " << i + 1;
    }
}
#endif

TEST_F(iCardReaderTest, HasPinDataWithItsFieldsInTheirOrder) {
    const PINVerifyData data = {1, 2, 3, 4, 5};
    EXPECT_EQ(data.reserved, 1U);
    EXPECT_EQ(data.pinFormat, 2);
    EXPECT_EQ(data.minPinLength, 3U);
    EXPECT_EQ(data.maxPinLength, 4U);
    EXPECT_EQ(data.pinBlockString, 5);
}

TEST_F(iCardReaderTest, IsSecureAndWantsDialogAndBeepsAtFirst) {
    ScriptedReader reader;
    EXPECT_TRUE(reader.UseGui());
    EXPECT_TRUE(reader.UseBeep());
    EXPECT_TRUE(reader.IsSecure());
}

TEST_F(iCardReaderTest, ReturnsTheFlagsThatWereSet) {
    ScriptedReader reader;
    reader.SetConfig(true, false, true);
    EXPECT_FALSE(reader.UseGui());
    EXPECT_TRUE(reader.UseBeep());
    reader.SetConfig(true, true, false);
    EXPECT_TRUE(reader.UseGui());
    EXPECT_FALSE(reader.UseBeep());
}

TEST_F(iCardReaderTest, ConnectsTheCardWithoutForce) {
    ScriptedReader reader;
    EXPECT_TRUE(reader.ConnectCard());
    reader.connects = false;
    EXPECT_FALSE(reader.ConnectCard());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("ConnectCard(false)", "ConnectCard(false)"));
}

TEST_F(iCardReaderTest, IsSecureOnlyWhenItCanBothVerifyAndModify) {
    ScriptedReader reader;
    for (const bool verifies : {false, true}) {
        for (const bool modifies : {false, true}) {
            reader.verifies = verifies;
            reader.modifies = modifies;
            EXPECT_EQ(reader.IsSecure(), verifies && modifies);
        }
    }
}

TEST_F(iCardReaderTest, DoesNotAskTheDriverWhenItMayNotBeSecure) {
    ScriptedReader reader;
    reader.SetSecure(false);
    EXPECT_FALSE(reader.IsSecure());
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());

    reader.SetSecure(true);
    EXPECT_TRUE(reader.IsSecure());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("CheckReaderCapabilities"));
}

TEST_F(iCardReaderTest, SendsAllBytesOfAnArray) {
    ScriptedReader reader;
    const ByteArray apdu = Bytes(std::string("\x00\xA4\x04\x00", 4));
    ByteArray response;
    EXPECT_TRUE(reader.SendApdu(apdu, response));
    EXPECT_EQ(response, apdu);
    reader.sends = false;
    EXPECT_FALSE(reader.SendApdu(apdu, response));
}

TEST_F(iCardReaderTest, IsKnownByVendorAndTypeWithABlankBetween) {
    ScriptedReader reader;
    EXPECT_EQ(reader.VendorModelName(), "Vendor Type");
    EXPECT_EQ(reader.VendorID(), "Vendor Type");
}

TEST_F(iCardReaderTest, KeepsACountedTerminatingZeroInItsName) {
    ScriptedReader reader;
    reader.vendor = std::string("Vendor\0", 7);
    EXPECT_EQ(reader.VendorModelName(), std::string("Vendor\0 Type", 12));
}

TEST_F(iCardReaderTest, LogsItsSixAttributes) {
    ScriptedReader reader;
    reader.LogReaderName();
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("card message: Vendor Name: Vendor", "card message: Vendor IFD Version: Type",
                            "card message: Vendor IFD Serial No.: Serial", "card message: Device Unit: Unit",
                            "card message: System Name: System", "card message: Friendly Name: Friendly"));
}

TEST_F(iCardReaderTest, AcceptsTheExpectedStatusWordSilently) {
    ScriptedReader reader;
    EXPECT_TRUE(reader.CheckApduSW(Bytes(std::string("\x90\x00", 2)), 0x90, 0x00));
    EXPECT_TRUE(reader.CheckApduSW(Bytes(std::string("\x01\x02\x03\x61\x10", 5)), 0x61, 0x10, true));
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());
}

TEST_F(iCardReaderTest, LogsAnotherStatusWordInHexadecimal) {
    ScriptedReader reader;
    EXPECT_FALSE(reader.CheckApduSW(Bytes("\x6A\x82"), 0x90, 0x00));
    EXPECT_FALSE(reader.CheckApduSW(Bytes(std::string("\x6F\x90\x00", 3)), 0x0A, 0xFF, true));
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("card error: Apdu SW: 0x6a 0x82 - expected: 0x90 0x0",
                                               "card error: Apdu SW: 0x90 0x0 - expected: 0xa 0xff"));
}

TEST_F(iCardReaderTest, WantsBothBytesOfTheStatusWord) {
    ScriptedReader reader;
    EXPECT_FALSE(reader.CheckApduSW(Bytes("\x90\x01"), 0x90, 0x00, false));
    EXPECT_FALSE(reader.CheckApduSW(Bytes(std::string("\x61\x00", 2)), 0x90, 0x00, false));
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty()) << "mismatches are logged on request only";
}

TEST_F(iCardReaderTest, LogsAResponseWithoutStatusWordAlways) {
    ScriptedReader reader;
    EXPECT_FALSE(reader.CheckApduSW(ByteArray(), 0x90, 0x00, false));
    EXPECT_FALSE(reader.CheckApduSW(Bytes("\x90"), 0x90, 0x00));
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("card error: CheckApduSW, input len < 2)", "card error: CheckApduSW, input len < 2)"));
}
