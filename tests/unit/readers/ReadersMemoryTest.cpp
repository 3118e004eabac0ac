// The reader code when memory runs out: no exception leaves it, no handle is lost.
#include <winscard.h>

#include <functional>
#include <reader.h>

#include "readers/EnumReaders.h"
#include "tests/fakes/FakeMemory.h"
#include "tests/unit/readers/OpenReaders.h"
#include "tests/unit/readers/ReaderTest.h"

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::SizeIs;
using namespace Vantor;

namespace {

// Longer than what a string holds without memory of its own.
const char* const firstName = "Vantor Simulated Reader 1 00 00";
const char* const secondName = "Vantor Simulated Reader 2 01 00";

} // namespace

class ReadersMemoryTest : public ReaderTest {
protected:
    ReadersMemoryTest() {
        for (const char* const name : {firstName, secondName}) {
            FakePcsc::AddReader({name,
                                 true,
                                 "\x3B\x80",
                                 {{SCARD_ATTR_VENDOR_NAME, "A vendor with a rather long name"}},
                                 {{0x42000D48, FakePcsc::FeatureList({{6, 0x42330006}, {7, 0x42330007}})},
                                  {0x42330006, std::string("\x90\x00", 2)}}});
        }
    }

    /// Runs `work` as often as it allocates, each time with another allocation that fails, and looks at what it did.
    static void FailEachAllocation(const std::function<void()>& work, const std::function<void()>& look) {
        int failures = 0;
        for (bool failed = true; failed; failures += failed ? 1 : 0) {
            FakePcsc::ClearTrace();
            FakeMemory::FailAt(failures);
            EXPECT_NO_THROW(work()) << "allocation " << failures;
            failed = FakeMemory::BeEnough();
            look();
        }
        EXPECT_GT(failures, 0) << "nothing allocates";
    }
};

TEST_F(ReadersMemoryTest, NamesAreListedAllOrNone) {
    std::vector<std::string> names = {"earlier"};
    bool isListed = false;
    int misses = 0;
    FailEachAllocation([&] { isListed = ListPCSCReaders(names); },
                       [&] {
                           if (isListed) {
                               EXPECT_THAT(names, ElementsAre("earlier", firstName, secondName));
                           } else {
                               ++misses;
                               EXPECT_THAT(names, ElementsAre("earlier"));
                               EXPECT_THAT(FakePcsc::Notes(),
                                           Contains(ErrorLine("cannot list readers (2)", SCARD_E_NO_MEMORY)));
                           }
                           EXPECT_EQ(FakePcsc::OpenContexts(), 0U);
                           names = std::vector<std::string>{"earlier"};
                       });
    EXPECT_GE(misses, 3) << "the buffer, the names, the list";
}

TEST_F(ReadersMemoryTest, ReadersAreListedAllOrNoneAndGivenBack) {
    std::vector<PCSCReaderConfig> readers;
    bool isListed = false;
    int misses = 0;
    FailEachAllocation([&] { isListed = ListPCSCReaders(readers); },
                       [&] {
                           EXPECT_THAT(readers, SizeIs(isListed ? 2 : 0));
                           if (!isListed) {
                               ++misses;
                               EXPECT_THAT(FakePcsc::Notes(),
                                           Contains(ErrorLine("cannot list readers (2)", SCARD_E_NO_MEMORY)));
                           }
                           EXPECT_EQ(FakePcsc::OpenContexts() + FakePcsc::OpenCards(), 0U);
                           readers = std::vector<PCSCReaderConfig>();
                       });
    EXPECT_GE(misses, 5);
}

TEST_F(ReadersMemoryTest, AConnectionIsMadeOrFails) {
    OpenPCSCReader reader;
    reader.SetReaderId(firstName);
    bool isConnected = false;
    FailEachAllocation(
        [&] {
            isConnected = false;
            reader.Disconnect();
            isConnected = reader.ConnectReader() && reader.ConnectCard() && reader.IsTokenPresent() &&
                          reader.BeginTransaction() && reader.EndTransaction() && reader.Reconnect(false, false);
        },
        [&] {
            if (!isConnected) {
                EXPECT_THAT(FakePcsc::Notes(), Contains(ErrorLine("cannot connect card ", SCARD_E_NO_MEMORY)));
            }
        });
    reader.Disconnect();
    EXPECT_EQ(FakePcsc::OpenContexts() + FakePcsc::OpenCards(), 0U);
}

TEST_F(ReadersMemoryTest, APinIsVerifiedOrNot) {
    OpenPCSCReader reader;
    reader.SetReaderId(firstName);
    ASSERT_TRUE(reader.ConnectReader() && reader.ConnectCard());
    const ByteArray apdu = Bytes(std::string("\x00\x20\x00\x81\x08\x41", 6));
    const PINVerifyData data;
    ByteArray response;
    int result = -1;
    bool wasUnsupported = false;
    FailEachAllocation(
        [&] {
            result = -1;
            response = ByteArray();
            bool canVerify = false;
            bool canModify = false;
            reader.CheckReaderCapabilities(canVerify, canModify);
            result = reader.VerifyPin(apdu, &data, response);
        },
        [&] {
            EXPECT_THAT(result, AnyOf(0, 1, 2));
            EXPECT_EQ(response.size(), result == 0 ? 2U : 0U);
            wasUnsupported = wasUnsupported || result == 2;
        });
    EXPECT_FALSE(wasUnsupported) << "VerifyPin asks again";
    reader.Disconnect();
}

TEST_F(ReadersMemoryTest, AnAnswerIsTakenOrTheCallFails) {
    OpenPCSCReader reader;
    reader.SetReaderId(firstName);
    ASSERT_TRUE(reader.ConnectReader() && reader.ConnectCard());
    const ByteArray apdu = Bytes("\x01");
    ByteArray response;
    ByteArray atr;
    std::string vendor;
    bool isSent = false;
    bool hasAtr = false;
    long code = 0;
    FailEachAllocation(
        [&] {
            response = ByteArray();
            atr = ByteArray();
            vendor = std::string();
            isSent = reader.SendApdu(apdu, response);
            hasAtr = reader.GetAtr(atr);
            code = reader.MySCardGetAttrib(SCARD_ATTR_VENDOR_NAME, vendor, false);
            reader.LogReaderName();
        },
        [&] {
            EXPECT_EQ(response.size(), isSent ? 2U : 0U);
            EXPECT_EQ(atr.size(), hasAtr ? 2U : 0U);
            EXPECT_EQ(vendor.empty(), code != SCARD_S_SUCCESS);
            EXPECT_THAT(code, AnyOf(SCARD_S_SUCCESS, SCARD_E_NO_MEMORY));
        });
    reader.Disconnect();
}
