#include <cstring>

#include "readers/EnumReaders.h"
#include "tests/unit/readers/ReaderTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace Vantor;

namespace {

CTAPIReaderConfig Enter(std::string terminal, const char* path = "libct.so", int port = 1) {
    std::vector<CTAPIReaderConfig> readers;
    SetReaderEntry(path, port, reinterpret_cast<unsigned char*>(terminal.data()), readers);
    EXPECT_THAT(readers, SizeIs(1));
    return readers.empty() ? CTAPIReaderConfig() : readers.front();
}

struct Row {
    const char* key;
    const char* product;
    const char* vendor;
    bool flag1;
    bool secure;
    bool flag3;
    int numberA;
    int numberB;
};

// Row by row as the vendors' terminals identify themselves.
const std::vector<Row> knownTerminals = {
    {"DExxxCT399", "KOBIL KAAN Professional", "KOBIL", true, true, true, 1, 10000},
    {"DEKOBCT399", "KOBIL KAAN Professional", "KOBIL", true, true, true, 1, 10000},
    {"DExxxCT198", "KOBIL KAAN Standard plus", "KOBIL", true, true, true, 0, 15000},
    {"DExxxCT101V1.70", "KOBIL KAAN Standard plus", "KOBIL", true, true, true, 0, 15000},
    {"DExxxCT199", "KOBIL B1 S", "KOBIL", true, false, true, 0, 10000},
    {"DExxxCT101V2.06", "KOBIL B1 PCMCIA", "KOBIL", true, false, true, 0, 10000},
    {"DExxxCT199V1.63", "KOBIL B1 PCMCIA", "KOBIL", true, false, true, 0, 10000},
    {"DEUTICM   ", "Cardman 8630", "Utimaco", true, true, true, 1, 5000},
    {"DEUTI3621 ", "Cardman 3621", "Utimaco", true, true, true, 1, 5000},
    {"DESCTECUSB", "cyberJack e-com", "REINER SCT", true, true, true, 1, 5000},
    {"DESCTECLPT", "cyberJack e-com", "REINER SCT", true, true, true, 1, 5000},
    {"DESCTCJECA", "cyberJack e-com", "REINER SCT", true, true, true, 1, 5000},
    {"DESCTPPUSB", "cyberJack pinpad", "REINER SCT", true, true, true, 2, 5000},
    {"DESCTPPLPT", "cyberJack pinpad", "REINER SCT", true, true, true, 2, 5000},
    {"DESCTCJPPA", "cyberJack pinpad", "REINER SCT", true, true, true, 2, 5000},
    {"DESCTCJECP", "cyberJack e-com plus", "REINER SCT", true, true, true, 2, 5000},
    {"DESCTCJSEC", "cyberJack Secoder", "REINER SCT", true, true, true, 2, 5000},
    {"DESCT     ", "cyberJack kb", "REINER SCT", true, true, true, 0, 10000},
    {"DECYMPC/SC", "Cherry G83-67xx", "Cherry GmbH", true, true, true, 0, 5000},
    {"DESCMSCR24", "SCM SCR241", "SCM", false, false, true, 0, 5000},
    {"DESCMSPRx3", "SCM SPR532", "SCM", false, true, true, 0, 5000},
    {"ATSAGCT600", "Siemens Signator", "Siemens", true, true, true, 0, 5000},
    {"", "", "", true, true, true, 0, 0},
};

} // namespace

using CTAPIReadersTest = ReaderTest;

TEST_F(CTAPIReadersTest, TheTableHoldsTheKnownTerminalsInTheirOrder) {
    ASSERT_EQ(strReaderTable.size(), knownTerminals.size());
    for (std::size_t i = 0; i < knownTerminals.size(); ++i) {
        const ReaderTableRow& row = strReaderTable.at(i);
        const Row& wanted = knownTerminals[i];
        SCOPED_TRACE("row " + std::to_string(i));
        EXPECT_STREQ(row.key, wanted.key);
        EXPECT_STREQ(row.product, wanted.product);
        EXPECT_STREQ(row.vendor, wanted.vendor);
        EXPECT_EQ(row.flag1, wanted.flag1);
        EXPECT_EQ(row.secure, wanted.secure);
        EXPECT_EQ(row.flag3, wanted.flag3);
        EXPECT_EQ(row.numberA, wanted.numberA);
        EXPECT_EQ(row.numberB, wanted.numberB);
    }
}

TEST_F(CTAPIReadersTest, ARowHasItsFlagsAtBytes96To98) {
    ReaderTableRow row{};
    row.flag1 = row.secure = row.flag3 = true;
    std::array<unsigned char, sizeof(row)> bytes{};
    std::memcpy(bytes.data(), &row, sizeof(row));
    EXPECT_EQ(sizeof(row.key) + sizeof(row.product) + sizeof(row.vendor), 96U);
    EXPECT_THAT(std::vector<int>(bytes.begin() + 95, bytes.begin() + 99), ElementsAre(0, 1, 1, 1));
}

TEST_F(CTAPIReadersTest, ARecordHasItsFieldsInTheirOrder) {
    const CTAPIReaderConfig texts = {"path", "name", "vendor", "id", "product", 5, false, false, false};
    EXPECT_EQ(texts.libraryPath, "path");
    EXPECT_EQ(texts.libraryName, "name");
    EXPECT_EQ(texts.vendor, "vendor");
    EXPECT_EQ(texts.readerId, "id");
    EXPECT_EQ(texts.productName, "product");
    EXPECT_EQ(texts.port, 5);
    EXPECT_TRUE((CTAPIReaderConfig{"", "", "", "", "", 0, true, false, false}.isSecure));
    EXPECT_TRUE((CTAPIReaderConfig{"", "", "", "", "", 0, false, true, false}.rowFlag3));
    EXPECT_TRUE((CTAPIReaderConfig{"", "", "", "", "", 0, false, false, true}.rowFlag1));
}

TEST_F(CTAPIReadersTest, BothLibrariesAreKnown) {
    EXPECT_THAT(CTAPI_Libs, ElementsAre(::testing::StrEq("libct.so"), ::testing::StrEq("libctapi.so")));
}

TEST_F(CTAPIReadersTest, ListingSucceedsAndAddsNothing) {
    std::vector<CTAPIReaderConfig> none;
    EXPECT_TRUE(ListCTAPIReaders(none));
    EXPECT_THAT(none, IsEmpty());

    std::vector<CTAPIReaderConfig> one(1);
    EXPECT_TRUE(ListCTAPIReaders(one));
    EXPECT_THAT(one, SizeIs(1));

    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: ListCTAPIReaders", "message: ListCTAPIReaders"));
}

TEST_F(CTAPIReadersTest, ScanningALibraryAddsNothing) {
    std::vector<CTAPIReaderConfig> readers;
    ScanLibrary("libct.so", readers);
    EXPECT_THAT(readers, IsEmpty());
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());
}

TEST_F(CTAPIReadersTest, EachTerminalIsFoundByItsKey) {
    for (std::size_t i = 0; i < knownTerminals.size(); ++i) {
        if (i == 6) {
            continue; // hidden by row 4, see below
        }
        const Row& row = knownTerminals[i];
        SCOPED_TRACE(row.key);
        const CTAPIReaderConfig reader = Enter(std::string(row.key) + "V1.0", "/usr/lib/libct.so", 7);
        EXPECT_EQ(reader.libraryPath, "/usr/lib/libct.so");
        EXPECT_EQ(reader.libraryName, "/usr/lib/libct.so");
        EXPECT_EQ(reader.vendor, row.vendor);
        EXPECT_EQ(reader.readerId, row.key);
        EXPECT_EQ(reader.productName, row.product);
        EXPECT_EQ(reader.port, 7);
        EXPECT_EQ(reader.isSecure, row.secure);
        EXPECT_EQ(reader.rowFlag3, row.flag3);
        EXPECT_EQ(reader.rowFlag1, row.flag1);
    }
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty()) << "finding a terminal logs nothing";
}

TEST_F(CTAPIReadersTest, APinPadTerminalIsSecure) {
    const CTAPIReaderConfig reader = Enter("DESCTPPUSB0001");
    EXPECT_EQ(reader.productName, "cyberJack pinpad");
    EXPECT_EQ(reader.vendor, "REINER SCT");
    EXPECT_TRUE(reader.isSecure);
}

TEST_F(CTAPIReadersTest, TheSeventhRowIsHiddenByTheFifth) {
    EXPECT_EQ(Enter("DExxxCT199V1.63").productName, "KOBIL B1 S");
}

TEST_F(CTAPIReadersTest, AnUnknownTerminalIsListedWithoutNames) {
    for (const char* const terminal : {"DESCTZZZZZ", "DESCT", "DESCT   V1", "", "desctppusb", " DESCTPPUSB"}) {
        SCOPED_TRACE(terminal);
        const CTAPIReaderConfig reader = Enter(terminal);
        EXPECT_EQ(reader.productName, "");
        EXPECT_EQ(reader.vendor, "");
        EXPECT_EQ(reader.readerId, "");
        EXPECT_TRUE(reader.isSecure);
        EXPECT_TRUE(reader.rowFlag1);
        EXPECT_TRUE(reader.rowFlag3);
    }
}

TEST_F(CTAPIReadersTest, EntriesAreAppended) {
    std::vector<CTAPIReaderConfig> readers;
    std::string first = "DEUTICM   ";
    std::string second = "DEUTI3621 ";
    SetReaderEntry("a", 1, reinterpret_cast<unsigned char*>(first.data()), readers);
    SetReaderEntry("b", -2, reinterpret_cast<unsigned char*>(second.data()), readers);
    ASSERT_THAT(readers, SizeIs(2));
    EXPECT_EQ(readers[0].productName, "Cardman 8630");
    EXPECT_EQ(readers[1].productName, "Cardman 3621");
    EXPECT_EQ(readers[1].port, -2);
}

TEST_F(CTAPIReadersTest, ALibraryIsNamedWithoutTheWindowsFolderAndAsThe32BitOne) {
    const auto name = [](const char* path) { return Enter("DESCTPPUSB", path).libraryName; };
    EXPECT_EQ(name("C:\\Windows\\SysWOW64\\ctapi.dll"), "ctapi.dll");
    EXPECT_EQ(name("C:\\Windows\\SysWOW64\\ctrsct64.dll"), "ctrsct32.dll");
    EXPECT_EQ(name("ctrsct64.dll"), "ctrsct32.dll");
    EXPECT_EQ(name("ctrsct64.dll.old"), "ctrsct32.dll");
    EXPECT_EQ(name("ctrsct64.dl"), "ctrsct64.dl");
    EXPECT_EQ(name("CTRSCT64.DLL"), "CTRSCT64.DLL");
    EXPECT_EQ(name("C:\\windows\\SysWOW64\\ctapi.dll"), "C:\\windows\\SysWOW64\\ctapi.dll");
    EXPECT_EQ(name("D:\\C:\\Windows\\SysWOW64\\ctapi.dll"), "D:\\C:\\Windows\\SysWOW64\\ctapi.dll");
    EXPECT_EQ(name("C:\\Windows\\SysWOW64\\"), "");
    EXPECT_EQ(name(""), "");
}

TEST_F(CTAPIReadersTest, TheLibraryPathStaysAsItIs) {
    EXPECT_EQ(Enter("DESCTPPUSB", "C:\\Windows\\SysWOW64\\ctrsct64.dll").libraryPath,
              "C:\\Windows\\SysWOW64\\ctrsct64.dll");
}
