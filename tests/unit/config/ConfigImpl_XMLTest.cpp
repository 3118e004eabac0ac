#include "config/ConfigImpl_XML.h"
#include "tests/support/Valgrind.h"

#include "ConfigFiles.h"
#include "config/XmlDocument.h"

#include <boost/property_tree/xml_parser.hpp>

#include <chrono>
#include <climits>
#include <clocale>
#include <locale>
#include <memory>
#include <random>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace Vantor;
using namespace test;

namespace {

sConfig Machine(const std::string& path, const std::string& key) {
    return {CONFIG_ALLUSERS, path, key, SYSTYPE_FIRST};
}

sConfig User(const std::string& path, const std::string& key) {
    return {CONFIG_USER, path, key, SYSTYPE_FIRST};
}

/// A backend on the client's files as they are now.
class XmlBackend : public testing::Test {
protected:
    void Open(const std::string& name = "lumoclient") {
        backend = std::make_unique<ConfigImpl_XML>();
        ASSERT_TRUE(backend->Init(name));
    }

    void OpenOn(const std::string& document) {
        WriteFile(MachineFile, document);
        Open();
    }

    bool Set(const std::string& path, const std::string& key, const std::string& value) {
        sConfig entry = Machine(path, key);
        return backend->SetString(&entry, value);
    }

    std::string Get(const std::string& path, const std::string& key) {
        sConfig entry = Machine(path, key);
        std::string value = "(none)";
        backend->GetString(&entry, value);
        return value;
    }

    std::vector<std::string> Names(const std::string& path, const std::string& prefix = "") {
        sConfig entry = Machine(path, "");
        return backend->EnumSubDirs(&entry, prefix);
    }

    std::unique_ptr<ConfigImpl_XML> backend;
};

using XmlBackendPaths = XmlBackend;
using XmlBackendValues = XmlBackend;
using XmlBackendRemoval = XmlBackend;
using XmlBackendListing = XmlBackend;
using XmlBackendFiles = XmlBackend;
using XmlBackendRefusal = XmlBackend;
using XmlBackendUnreadable = XmlBackend;
using XmlBackendSpeed = XmlBackend;

} // namespace

TEST_F(XmlBackendPaths, PathAndKeyMapToNestedElements) {
    const sConfig entry = Machine("lumo Client\\Trace", "LogLevel");
    EXPECT_EQ(ConfigImpl_XML::getPath(&entry), "config.lumo_Client.Trace.");
    EXPECT_EQ(ConfigImpl_XML::getPathKey(&entry), "config.lumo_Client.Trace.LogLevel");
}

TEST_F(XmlBackendPaths, OtherSpellingsOfAPathMapTheSame) {
    for (const char* path :
         {"\\lumo Client\\Trace", "lumo Client/Trace", "\\lumo Client/Trace\\", "lumo_Client\\Trace"}) {
        const sConfig entry = Machine(path, "LogLevel");
        EXPECT_EQ(ConfigImpl_XML::getPathKey(&entry), "config.lumo_Client.Trace.LogLevel") << path;
    }
}

TEST_F(XmlBackendPaths, DotsAndBlanksOfAPathBecomeUnderscores) {
    const sConfig entry = Machine("Version 2.0\\a b", "k");
    EXPECT_EQ(ConfigImpl_XML::getPathKey(&entry), "config.Version_2_0.a_b.k");
}

TEST_F(XmlBackendPaths, AnEmptyPathIsTheRootElement) {
    const sConfig entry = Machine("", "k");
    EXPECT_EQ(ConfigImpl_XML::getPath(&entry), "config.");
    EXPECT_EQ(ConfigImpl_XML::getPathKey(&entry), "config.k");
}

TEST_F(XmlBackendPaths, KeysAreNotTranslated) {
    const sConfig entry = Machine("a", "some key/with\\more");
    EXPECT_EQ(ConfigImpl_XML::getPathKey(&entry), "config.a.some key/with\\more");
}

TEST_F(XmlBackendFiles, InitMakesBothDirectoriesAndNoFile) {
    Open();
    EXPECT_TRUE(std::filesystem::is_directory(MachineFolder));
    EXPECT_TRUE(std::filesystem::is_directory(std::filesystem::path(UserFile()).parent_path()));
    EXPECT_FALSE(std::filesystem::exists(MachineFile));
    EXPECT_FALSE(std::filesystem::exists(UserFile()));
}

TEST_F(XmlBackendFiles, TheFirstWriteCreatesTheFileWithTheRootElement) {
    Open();
    EXPECT_EQ(Get("a", "k"), "(none)");
    EXPECT_TRUE(Set("a", "k", "v"));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a><k>v</k></a></config>");
}

TEST_F(XmlBackendFiles, HoldExactlyTheseBytes) {
    Open();
    sConfig level = Machine("lumo Client\\Trace", "LogLevel");
    sConfig fix = Machine("lumo Client", "FixIt");
    sConfig logging = Machine("LumoMiniDriver", "EnableLogging");
    sConfig clean = Machine("lumo Client", "CleanCertsOnRefresh");
    sConfig message = Machine("lumo Client\\Reader0", "UserMessage");
    EXPECT_TRUE(backend->SetInteger(&level, 3));
    EXPECT_TRUE(backend->SetString(&fix, "YES"));
    EXPECT_TRUE(backend->SetInteger(&logging, 1));
    EXPECT_TRUE(backend->SetBoolean(&clean, false));
    EXPECT_TRUE(backend->SetString(&message, ""));
    EXPECT_EQ(ReadFile(MachineFile),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<config>"
              "<lumo_Client><Trace><LogLevel>3</LogLevel></Trace><FixIt>YES</FixIt>"
              "<CleanCertsOnRefresh>false</CleanCertsOnRefresh><Reader0><UserMessage/></Reader0></lumo_Client>"
              "<LumoMiniDriver><EnableLogging>1</EnableLogging></LumoMiniDriver>"
              "</config>");
}

TEST_F(XmlBackendFiles, EachChangeIsInTheFileAtOnce) {
    Open();
    for (int i = 0; i < 5; ++i) {
        const std::string value = "value " + std::to_string(i);
        EXPECT_TRUE(Set("a\\b", "k", value));
        EXPECT_TRUE(AnotherProcessReads("a\\b", "k", value));
    }
    sConfig entry = Machine("a\\b", "k");
    EXPECT_TRUE(backend->RemoveKey(&entry));
    EXPECT_TRUE(AnotherProcessReads("a\\b", "k", ""));
}

TEST_F(XmlBackendFiles, TheTwoTreesHaveTheirOwnFiles) {
    Open();
    sConfig user = User("a", "k");
    EXPECT_TRUE(backend->SetString(&user, "mine"));
    EXPECT_TRUE(Set("a", "k", "everyone's"));
    EXPECT_EQ(ReadFile(UserFile()), Declaration + "<config><a><k>mine</k></a></config>");
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a><k>everyone&apos;s</k></a></config>");
    EXPECT_TRUE(AnotherProcessReads("a", "k", "mine", CONFIG_USER));
    EXPECT_TRUE(AnotherProcessReads("a", "k", "everyone's", CONFIG_ALLUSERS));
}

TEST_F(XmlBackendFiles, AnUnknownTypeUsesTheUsersTreeButIsNeverWritten) {
    Open();
    sConfig odd = {static_cast<ConfigType>(7), "a", "k", SYSTYPE_FIRST};
    sConfig user = User("a", "k");
    std::string value;
    EXPECT_FALSE(backend->SetString(&odd, "x"));
    EXPECT_TRUE(backend->GetString(&odd, value));
    EXPECT_TRUE(backend->GetString(&user, value));
    EXPECT_EQ(value, "x");
    EXPECT_FALSE(backend->RemoveKey(&odd));
    EXPECT_FALSE(std::filesystem::exists(UserFile()));
    EXPECT_FALSE(std::filesystem::exists(MachineFile));
}

TEST_F(XmlBackendFiles, AnotherNameMeansOtherFiles) {
    Open("other");
    Set("a", "k", "v");
    EXPECT_TRUE(std::filesystem::exists("/etc/vantor/other/config"));
    EXPECT_FALSE(std::filesystem::exists(MachineFolder));
}

TEST_F(XmlBackendFiles, ChildrenKeepTheOrderOfTheirCreation) {
    Open();
    for (const char* key : {"z", "a", "m", "z"}) {
        Set("p", key, "1");
    }
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><p><z>1</z><a>1</a><m>1</m></p></config>");
}

TEST_F(XmlBackendFiles, WhatAnotherProcessWritesIsNotSeenAndReplaced) {
    Open();
    Set("a", "k", "ours");
    WriteFile(MachineFile, "<config><a><k>theirs</k></a></config>");
    EXPECT_EQ(Get("a", "k"), "ours");
    Set("a", "other", "x");
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a><k>ours</k><other>x</other></a></config>");
}

TEST_F(XmlBackendFiles, AWriteRestoresAFileThatWasDeleted) {
    Open();
    Set("a", "k", "v");
    std::filesystem::remove(MachineFile);
    EXPECT_TRUE(Set("a", "k", "v"));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a><k>v</k></a></config>");
}

TEST_F(XmlBackendFiles, WhatTheProgramDoesNotKnowSurvives) {
    OpenOn("<?xml version='1.0'?><!-- by hand --><config version=\"3\"><unknown a=\"1\"><deep>x</deep></unknown>"
           "<lumo_Client><!-- note --><Version kind=\"beta\">2.0</Version></lumo_Client></config>");
    EXPECT_EQ(Get("lumo Client", "Version"), "2.0");
    EXPECT_TRUE(Set("lumo Client", "Version", "2.1"));
    EXPECT_EQ(ReadFile(MachineFile),
              Declaration + "<!-- by hand --><config version=\"3\"><unknown a=\"1\"><deep>x</deep></unknown>"
                            "<lumo_Client><!-- note --><Version kind=\"beta\">2.1</Version></lumo_Client></config>");
}

TEST_F(XmlBackendFiles, LoadingAndSavingAThousandTimesLeavesTheBytes) {
    NOT_UNDER_VALGRIND("too slow there");
    OpenOn("<config a=\"1\">\n  <!-- c -->\n  <lumo_Client>\n    <Version> 2.0 </Version>\n    <n>&#32;</n>\n"
           "  </lumo_Client>\n  <x y=\"&lt;&quot;\"/>\n</config>\n");
    ASSERT_TRUE(Set("lumo Client", "Language", "58"));
    const std::string first = ReadFile(MachineFile);
    for (int i = 0; i < 1000; ++i) {
        Open();
        ASSERT_TRUE(Set("lumo Client", "Language", "58"));
    }
    EXPECT_EQ(ReadFile(MachineFile), first);
    EXPECT_EQ(Get("lumo Client", "Version"), " 2.0 ");
    EXPECT_EQ(Get("lumo Client", "n"), " ");
}

TEST_F(XmlBackendFiles, AMissingFolderMakesWritesFailAndTheValueStaysInMemory) {
    Open();
    std::filesystem::remove_all("/etc/vantor");
    EXPECT_FALSE(Set("a", "k", "v"));
    EXPECT_EQ(Get("a", "k"), "v");
    std::filesystem::create_directories(MachineFolder);
    EXPECT_TRUE(Set("a", "k2", "v2"));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a><k>v</k><k2>v2</k2></a></config>");
}

TEST_F(XmlBackendFiles, DirectoriesThatCannotBeMadeDoNotStopTheStart) {
    WriteFile("/etc/vantor", "in the way");
    setenv("HOME", "/proc/nowhere", 1);
    Open();
    EXPECT_FALSE(Set("a", "k", "v"));
    EXPECT_EQ(Get("a", "k"), "v");
    EXPECT_EQ(ReadFile("/etc/vantor"), "in the way");
}

TEST_F(XmlBackendFiles, DestroyWritesBothTrees) {
    OpenOn("<config>\n<a>1</a></config>");
    EXPECT_TRUE(backend->Destroy());
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config>\n<a>1</a></config>");
    EXPECT_EQ(ReadFile(UserFile()), Declaration) << "an empty tree";
}

TEST_F(XmlBackendFiles, DestroyWritesTheSecondTreeEvenIfTheFirstCannotBeWritten) {
    Open();
    std::filesystem::remove_all("/etc/vantor");
    EXPECT_FALSE(backend->Destroy());
    EXPECT_TRUE(std::filesystem::exists(UserFile()));

    std::filesystem::create_directories(MachineFolder);
    std::filesystem::remove_all(std::string(getenv("HOME")) + "/.vantor");
    EXPECT_FALSE(backend->Destroy());
    EXPECT_TRUE(std::filesystem::exists(MachineFile));
}

TEST_F(XmlBackendFiles, WhatAKilledProgramLeftIsLookedForOnce) {
    Open();
    const std::string leftover = MachineFile + ".saving-4711-3";
    WriteFile(leftover, "half a fi");
    EXPECT_TRUE(Set("a", "k", "first"));
    EXPECT_FALSE(std::filesystem::exists(leftover));
    WriteFile(leftover, "half a fi");
    EXPECT_TRUE(Set("a", "k", "second"));
    EXPECT_TRUE(std::filesystem::exists(leftover)) << "one press of OK is over a hundred writes";
}

TEST_F(XmlBackendFiles, EndingWithoutDestroyWritesNothing) {
    Open();
    backend.reset();
    EXPECT_FALSE(std::filesystem::exists(MachineFile));
    EXPECT_FALSE(std::filesystem::exists(UserFile()));
}

TEST_F(XmlBackendFiles, InitAgainReadsTheFilesAgain) {
    OpenOn("<config><a><k>old</k></a></config>");
    std::filesystem::remove(MachineFile);
    EXPECT_TRUE(backend->Init("lumoclient"));
    EXPECT_EQ(Get("a", "k"), "(none)");
}

TEST_F(XmlBackendValues, IntegersAreDecimal) {
    Open();
    for (const long number : {0L, 1L, -1L, 1234567L, LONG_MAX, LONG_MIN}) {
        sConfig entry = Machine("a", "k");
        long read = 99;
        EXPECT_TRUE(backend->SetInteger(&entry, number));
        EXPECT_EQ(Get("a", "k"), std::to_string(number));
        EXPECT_TRUE(backend->GetInteger(&entry, read));
        EXPECT_EQ(read, number);
    }
}

namespace {

/// Groups digits as German does.
struct GermanNumbers : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "wahr"; }
    std::string do_falsename() const override { return "falsch"; }
};

} // namespace

TEST_F(XmlBackendValues, NoLocaleChangesNumbersOrTruthValues) {
    // The window sets the C library's locale; a host of this library may even set the language's global one.
    setenv("LOCPATH", TEST_LOCALES, 1);
    ASSERT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    std::locale::global(std::locale(std::locale::classic(), new GermanNumbers));
    Open();
    sConfig entry = Machine("a", "number");
    sConfig flag = Machine("a", "flag");
    long number = 0;
    bool truth = false;
    EXPECT_TRUE(backend->SetInteger(&entry, 1234567));
    EXPECT_TRUE(backend->SetBoolean(&flag, true));
    EXPECT_TRUE(backend->GetInteger(&entry, number));
    EXPECT_TRUE(backend->GetBoolean(&flag, truth));
    EXPECT_EQ(number, 1234567);
    EXPECT_TRUE(truth);
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a><number>1234567</number><flag>true</flag></a></config>");
    Set("a", "number", "1.234");
    EXPECT_FALSE(backend->GetInteger(&entry, number));
    std::locale::global(std::locale::classic());
}

TEST_F(XmlBackendValues, BlanksAroundNumbersAreAllowed) {
    OpenOn("<config><a>\n 5 \n</a><b>+7</b></config>");
    sConfig entry = Machine("", "a");
    long number = 0;
    EXPECT_TRUE(backend->GetInteger(&entry, number));
    EXPECT_EQ(number, 5);
    entry.key = "b";
    EXPECT_TRUE(backend->GetInteger(&entry, number));
    EXPECT_EQ(number, 7);
}

TEST_F(XmlBackendValues, WhatIsNoNumberKeepsThePreset) {
    Open();
    for (const char* text : {"", " ", "x", "5x", "0x10", "1.5", "99999999999999999999", "5 6", "--1"}) {
        sConfig entry = Machine("a", "k");
        long number = 42;
        Set("a", "k", text);
        EXPECT_FALSE(backend->GetInteger(&entry, number)) << text;
        EXPECT_EQ(number, 42) << text;
    }
}

TEST_F(XmlBackendValues, BooleansAreWords) {
    Open();
    sConfig entry = Machine("a", "k");
    bool read = false;
    EXPECT_TRUE(backend->SetBoolean(&entry, true));
    EXPECT_EQ(Get("a", "k"), "true");
    EXPECT_TRUE(backend->GetBoolean(&entry, read));
    EXPECT_TRUE(read);
    EXPECT_TRUE(backend->SetBoolean(&entry, false));
    EXPECT_EQ(Get("a", "k"), "false");
    EXPECT_TRUE(backend->GetBoolean(&entry, read));
    EXPECT_FALSE(read);
}

TEST_F(XmlBackendValues, OneAndZeroAreBooleansToo) {
    Open();
    sConfig entry = Machine("a", "k");
    bool read = false;
    Set("a", "k", "1");
    EXPECT_TRUE(backend->GetBoolean(&entry, read));
    EXPECT_TRUE(read);
    Set("a", "k", "0");
    EXPECT_TRUE(backend->GetBoolean(&entry, read));
    EXPECT_FALSE(read);
}

TEST_F(XmlBackendValues, WhatIsNoBooleanKeepsThePreset) {
    Open();
    for (const char* text : {"", "Yes", "YES", "TRUE", "2", "-1", "truex", "tru"}) {
        sConfig entry = Machine("a", "k");
        bool read = true;
        Set("a", "k", text);
        EXPECT_FALSE(backend->GetBoolean(&entry, read)) << text;
        EXPECT_TRUE(read) << text;
    }
}

TEST_F(XmlBackendValues, StringsAreKeptUnchanged) {
    Open();
    for (const char* text : {"plain", "", " ", "   ", "\n", "\t\n", " lead", "trail ", "a\r\nb", "<&>\"'", "&lt;",
                             "]]>", "<!-- -->", "\xC3\xA4\xE2\x82\xAC", "\xFF\xFE", "\x01\x02\x7F", "&#32;"}) {
        EXPECT_TRUE(Set("a", "k", text)) << text;
        EXPECT_EQ(Get("a", "k"), text);
        EXPECT_TRUE(AnotherProcessReads("a", "k", text));
    }
}

TEST_F(XmlBackendValues, BinaryIsBase64WithoutLineBreaks) {
    Open();
    sConfig entry = Machine("a", "k");
    std::vector<unsigned char> bytes{0xFB, 0xFF, 0xBF, 0x00};
    std::vector<unsigned char> read{9};
    EXPECT_TRUE(backend->SetBinary(&entry, bytes));
    EXPECT_EQ(Get("a", "k"), "+/+/AA==");
    EXPECT_TRUE(backend->GetBinary(&entry, read));
    EXPECT_EQ(read, bytes);

    std::vector<unsigned char> many(1000, 'x');
    EXPECT_TRUE(backend->SetBinary(&entry, many));
    EXPECT_EQ(Get("a", "k").find_first_of("\r\n"), std::string::npos);
    EXPECT_TRUE(backend->GetBinary(&entry, read));
    EXPECT_EQ(read, many);
}

TEST_F(XmlBackendValues, EmptyBinaryIsTheEmptyText) {
    Open();
    sConfig entry = Machine("a", "k");
    std::vector<unsigned char> nothing;
    std::vector<unsigned char> read{9};
    EXPECT_TRUE(backend->SetBinary(&entry, nothing));
    EXPECT_EQ(Get("a", "k"), "");
    EXPECT_TRUE(backend->GetBinary(&entry, read));
    EXPECT_TRUE(read.empty());
}

TEST_F(XmlBackendValues, ATextThatIsNoBase64ReadsAsNoBytes) {
    Open();
    Set("a", "k", "no*base64");
    sConfig entry = Machine("a", "k");
    std::vector<unsigned char> read{9};
    EXPECT_TRUE(backend->GetBinary(&entry, read));
    EXPECT_TRUE(read.empty());
}

TEST_F(XmlBackendValues, MissingElementsKeepEveryPreset) {
    Open();
    sConfig entry = Machine("no\\such", "thing");
    long number = 1;
    std::string text = "preset";
    bool flag = true;
    std::vector<unsigned char> bytes{1};
    EXPECT_FALSE(backend->GetInteger(&entry, number));
    EXPECT_FALSE(backend->GetString(&entry, text));
    EXPECT_FALSE(backend->GetBoolean(&entry, flag));
    EXPECT_FALSE(backend->GetBinary(&entry, bytes));
    EXPECT_EQ(number, 1);
    EXPECT_EQ(text, "preset");
    EXPECT_TRUE(flag);
    EXPECT_EQ(bytes, std::vector<unsigned char>{1});
}

TEST_F(XmlBackendValues, AnEmptyElementIsAnEmptyStringAndNothingElse) {
    OpenOn("<config><a/></config>");
    sConfig entry = Machine("", "a");
    long number = 1;
    bool flag = true;
    EXPECT_EQ(Get("", "a"), "");
    EXPECT_FALSE(backend->GetInteger(&entry, number));
    EXPECT_FALSE(backend->GetBoolean(&entry, flag));
    EXPECT_EQ(number, 1);
    EXPECT_TRUE(flag);
}

TEST_F(XmlBackendValues, AnEmptyKeyReadsThePathNodeItself) {
    OpenOn("<config><a>text<b/></a></config>");
    EXPECT_EQ(Get("a", ""), "text");
    EXPECT_EQ(Get("", ""), "");
}

TEST_F(XmlBackendRefusal, AnEmptyKeyIsNeverWritten) {
    OpenOn("<config><a>text</a></config>");
    sConfig entry = Machine("a", "");
    std::vector<unsigned char> bytes{1};
    EXPECT_FALSE(backend->SetString(&entry, "x"));
    EXPECT_FALSE(backend->SetInteger(&entry, 1));
    EXPECT_FALSE(backend->SetBoolean(&entry, true));
    EXPECT_FALSE(backend->SetBinary(&entry, bytes));
    EXPECT_EQ(ReadFile(MachineFile), "<config><a>text</a></config>");
    EXPECT_EQ(Get("a", ""), "text");
}

TEST_F(XmlBackendRefusal, PathsAndKeysThatAreNoElementNamesChangeNothing) {
    const std::string before = "<config><a>text</a></config>";
    OpenOn(before);
    const std::pair<const char*, const char*> refused[] = {
        {"/a", "k"}, {"a//b", "k"}, {"a/", "k"},      {"\\\\a", "k"}, {"a\\\\b", "k"},      {"a", "a key"}, {"a", "k."},
        {"a", ".k"}, {"a", "k..l"}, {"a", "k/l"},     {"a", "k\\l"},  {"a", "<k"},          {"a", "k\tl"},  {"a", "1k"},
        {"1a", "k"}, {"a<b", "k"},  {"a", "k=\"1\""}, {"a&b", "k"},   {"a", "<xmlattr>.k"}, {"a", "k\n"},   {"a", " "}};
    for (const auto& [path, key] : refused) {
        EXPECT_FALSE(Set(path, key, "x")) << path << " | " << key;
        EXPECT_EQ(Get(path, key), "(none)") << path << " | " << key;
        EXPECT_EQ(ReadFile(MachineFile), before) << path << " | " << key;
    }
    EXPECT_TRUE(Set("a", "k", "x"));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a>text<k>x</k></a></config>") << "no trace of the refused";
}

TEST_F(XmlBackendRefusal, ANulByteChangesNeitherFileNorMemory) {
    Open();
    Set("a", "k", "old");
    const std::string before = ReadFile(MachineFile);
    EXPECT_FALSE(Set("a", "k", std::string("x\0y", 3)));
    EXPECT_FALSE(Set("a", "new", std::string("\0", 1)));
    EXPECT_FALSE(Set("b\\c", "new", std::string("\0", 1)));
    EXPECT_FALSE(Set("a", std::string("k\0", 2), "x"));
    EXPECT_EQ(ReadFile(MachineFile), before);
    EXPECT_EQ(Get("a", "k"), "old");
    EXPECT_EQ(Get("a", "new"), "(none)");
    EXPECT_EQ(Names(""), std::vector<std::string>{"a"});
}

TEST_F(XmlBackendRefusal, ADocumentThatTheNextStartWouldNotReadIsNeverWritten) {
    NOT_UNDER_VALGRIND("too slow there");
    Open();
    Set("a", "k", "old");
    const std::string before = ReadFile(MachineFile);
    EXPECT_FALSE(Set("a", "k", std::string(MaxXmlSize, 'x')));
    EXPECT_EQ(Get("a", "k"), "old");

    std::string deep = "d";
    for (std::size_t i = 0; i < MaxXmlDepth; ++i) {
        deep += "\\d";
    }
    EXPECT_FALSE(Set(deep, "k", "x"));
    EXPECT_FALSE(Set(std::string(1000000, '\\') + "d", "k", "x"));
    EXPECT_EQ(Names(""), std::vector<std::string>{"a"});
    EXPECT_EQ(ReadFile(MachineFile), before);
    EXPECT_TRUE(Set("a", "k", std::string(MaxXmlSize / 2, 'x')));
    Open();
    EXPECT_EQ(Get("a", "k").size(), MaxXmlSize / 2);
}

TEST_F(XmlBackendRefusal, AKeyWithADotReachesANestedElement) {
    Open();
    EXPECT_TRUE(Set("a", "b.c", "x"));
    EXPECT_EQ(Get("a\\b", "c"), "x");
}

TEST_F(XmlBackendRemoval, RemoveKeyLeavesAnEmptyElement) {
    OpenOn("<config><a><k x=\"1\">5<!-- c --><l/></k><m>6</m></a></config>");
    sConfig entry = Machine("a", "k");
    long number = 1;
    EXPECT_TRUE(backend->RemoveKey(&entry));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a><k/><m>6</m></a></config>");
    EXPECT_EQ(Get("a", "k"), "");
    EXPECT_FALSE(backend->GetInteger(&entry, number));
    EXPECT_TRUE(AnotherProcessReads("a", "k", ""));
}

TEST_F(XmlBackendRemoval, RemovePathEmptiesTheNodeWhateverTheKey) {
    OpenOn("<config><a><b>t<k>5</k><l><m/></l></b><c/></a></config>");
    sConfig entry = Machine("a\\b", "k");
    EXPECT_TRUE(backend->RemovePath(&entry));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a><b/><c/></a></config>");
}

TEST_F(XmlBackendRemoval, RemoveKeyWithAnEmptyKeyEmptiesThePathNode) {
    OpenOn("<config><a><b>5</b></a></config>");
    sConfig entry = Machine("a", "");
    EXPECT_TRUE(backend->RemoveKey(&entry));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a/></config>");
}

TEST_F(XmlBackendRemoval, OfWhatIsMissingFailsAndWritesNothing) {
    Open();
    sConfig entry = Machine("a", "k");
    EXPECT_FALSE(backend->RemoveKey(&entry));
    EXPECT_FALSE(backend->RemovePath(&entry));
    EXPECT_FALSE(std::filesystem::exists(MachineFile));
}

TEST_F(XmlBackendRemoval, FailsWhenTheFileCannotBeWrittenButHoldsInMemory) {
    Open();
    Set("a", "k", "v");
    std::filesystem::remove_all("/etc/vantor");
    sConfig entry = Machine("a", "k");
    EXPECT_FALSE(backend->RemoveKey(&entry));
    EXPECT_EQ(Get("a", "k"), "");
    EXPECT_FALSE(backend->RemovePath(&entry));
    EXPECT_EQ(Get("a", "k"), "(none)");
}

TEST_F(XmlBackendRemoval, OfTheEmptyPathLeavesTheRootElement) {
    OpenOn("<!--c--><config><a/></config>");
    sConfig entry = Machine("", "");
    EXPECT_TRUE(backend->RemovePath(&entry));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<!--c--><config/>");
}

TEST_F(XmlBackendRemoval, OfTheEmptyPathEmptiesTheWholeTreeOfTheConfigurationNamedConfig) {
    WriteFile("/etc/vantor/config/config", "<!--c--><config><a/></config><other/>");
    Open("config");
    sConfig entry = Machine("", "");
    EXPECT_TRUE(backend->RemovePath(&entry));
    EXPECT_EQ(ReadFile("/etc/vantor/config/config"), Declaration);
    EXPECT_TRUE(backend->RemoveKey(&entry)) << "an empty tree can be emptied again";
}

TEST_F(XmlBackendRemoval, AnEmptiedSubTreeCanBeFilledAgain) {
    OpenOn("<config><Reader0><a>1</a></Reader0><x/></config>");
    sConfig entry = Machine("Reader0", "");
    EXPECT_TRUE(backend->RemovePath(&entry));
    EXPECT_TRUE(Set("Reader0", "b", "2"));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><Reader0><b>2</b></Reader0><x/></config>");
}

TEST_F(XmlBackendRemoval, OfAUsersValueTouchesTheUsersTreeAndFileAlone) {
    const std::string both = "<config><a><k>v</k></a><b><k>v</k></b></config>";
    WriteFile(UserFile(), both);
    OpenOn(both);
    sConfig key = User("a", "k");
    sConfig path = User("b", "");
    EXPECT_TRUE(backend->RemoveKey(&key));
    EXPECT_TRUE(backend->RemovePath(&path));
    EXPECT_EQ(ReadFile(UserFile()), Declaration + "<config><a><k/></a><b/></config>");
    EXPECT_EQ(ReadFile(MachineFile), both);
    EXPECT_EQ(Get("a", "k"), "v");
}

TEST_F(XmlBackendListing, GivesNamesOfTheEntrysOwnTree) {
    WriteFile(UserFile(), "<config><p><Mine/></p></config>");
    OpenOn("<config><p><Everybodys/></p></config>");
    sConfig entry = User("p", "");
    EXPECT_EQ(backend->EnumSubDirs(&entry, ""), std::vector<std::string>{"Mine"});
    EXPECT_EQ(Names("p"), std::vector<std::string>{"Everybodys"});
}

TEST_F(XmlBackendListing, GivesNamesInFileOrder) {
    OpenOn("<config><p><Reader1/><UseGUI>x</UseGUI><Reader2/></p></config>");
    EXPECT_EQ(Names("p", "Reader"), (std::vector<std::string>{"Reader1", "Reader2"}));
    EXPECT_EQ(Names("p"), (std::vector<std::string>{"Reader1", "UseGUI", "Reader2"}));
    sConfig entry = Machine("p", "ignored");
    EXPECT_EQ(backend->EnumSubDirs(&entry).size(), 3u);
}

TEST_F(XmlBackendListing, ComparesThePrefixExactly) {
    OpenOn("<config><Reader1/><reader2/><Read/><ReaderX><Reader3/></ReaderX><AReader/></config>");
    EXPECT_EQ(Names("", "Reader"), (std::vector<std::string>{"Reader1", "ReaderX"}));
    EXPECT_TRUE(Names("", "Reader12").empty());
}

TEST_F(XmlBackendListing, OfAMissingOrEmptyNodeIsEmpty) {
    OpenOn("<config><a/></config>");
    EXPECT_TRUE(Names("b").empty());
    EXPECT_TRUE(Names("a").empty());
    EXPECT_TRUE(Names("a//b").empty());
}

TEST_F(XmlBackendListing, LeavesOutAttributesAndComments) {
    OpenOn("<config><a x=\"1\"><!-- c --><b/></a></config>");
    EXPECT_EQ(Names("a"), std::vector<std::string>{"b"});
}

TEST_F(XmlBackendListing, KeepsTwins) {
    OpenOn("<config><R/><R/></config>");
    EXPECT_EQ(Names("", "R").size(), 2u);
}

namespace {

const std::string KeptFile = MachineFile + ".unreadable";

/// Documents that leave the tree empty.
std::vector<std::string> UnreadableDocuments() {
    std::string deep = "<config>";
    for (int i = 0; i < 100000; ++i) {
        deep += "<a>";
    }
    return {"no xml",
            "<config><a>",
            "<config>\0</config>",
            std::string("<config/>\0x", 11),
            deep,
            "<config>" + std::string(MaxXmlSize, 'x') + "</config>",
            "<config><a>&#0;</a></config>"};
}

} // namespace

TEST_F(XmlBackendUnreadable, FilesLeaveTheTreeEmptyAndStayUntilTheFirstWrite) {
    for (const std::string& document : UnreadableDocuments()) {
        OpenOn(document);
        EXPECT_TRUE(Names("").empty());
        EXPECT_EQ(ReadFile(MachineFile), document);
        EXPECT_FALSE(std::filesystem::exists(KeptFile));
    }
}

TEST_F(XmlBackendUnreadable, FilesAreKeptBesideTheOneThatReplacesThem) {
    for (const std::string& document : UnreadableDocuments()) {
        OpenOn(document);
        EXPECT_TRUE(Set("a", "k", "v"));
        EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><a><k>v</k></a></config>");
        EXPECT_TRUE(ReadFile(KeptFile) == document) << "one, the newest";
    }
}

TEST_F(XmlBackendUnreadable, OnlyTheFirstWriteKeepsTheFile) {
    OpenOn("no xml");
    Set("a", "k", "1");
    Set("a", "k", "2");
    EXPECT_EQ(ReadFile(KeptFile), "no xml");
}

TEST_F(XmlBackendUnreadable, AFailedWriteKeepsItForTheNext) {
    OpenOn("no xml");
    EXPECT_FALSE(Set("a", "k", std::string(MaxXmlSize, 'x'))) << "refused";
    EXPECT_FALSE(std::filesystem::exists(KeptFile));
    EXPECT_TRUE(Set("a", "k", "1"));
    EXPECT_EQ(ReadFile(KeptFile), "no xml");
}

TEST_F(XmlBackendUnreadable, RemovalAndDestroyKeepTheFileToo) {
    OpenOn("no xml");
    sConfig entry = Machine("", "");
    EXPECT_FALSE(backend->RemovePath(&entry)) << "nothing there to remove";
    EXPECT_EQ(ReadFile(MachineFile), "no xml");
    EXPECT_TRUE(backend->Destroy());
    EXPECT_EQ(ReadFile(KeptFile), "no xml");
}

TEST_F(XmlBackendUnreadable, TheUsersFileIsKeptLikewise) {
    WriteFile(UserFile(), "<broken");
    Open();
    sConfig entry = User("a", "k");
    EXPECT_TRUE(backend->SetString(&entry, "v"));
    EXPECT_EQ(ReadFile(UserFile() + ".unreadable"), "<broken");
    EXPECT_FALSE(std::filesystem::exists(KeptFile));
}

TEST_F(XmlBackendUnreadable, ReadableAndEmptyFilesAreNotKept) {
    OpenOn("<config/>");
    Set("a", "k", "1");
    OpenOn("");
    Set("a", "k", "1");
    std::filesystem::remove(MachineFile);
    Open();
    Set("a", "k", "1");
    EXPECT_FALSE(std::filesystem::exists(KeptFile));
}

TEST_F(XmlBackendUnreadable, APipeOrFolderInItsPlaceNeitherHangsNorGoesAway) {
    std::filesystem::create_directories(MachineFolder);
    ASSERT_EQ(mkfifo(MachineFile.c_str(), 0600), 0);
    Open();
    EXPECT_FALSE(Set("a", "k", "v"));
    EXPECT_TRUE(std::filesystem::is_fifo(MachineFile));
    std::filesystem::remove(MachineFile);
    std::filesystem::create_directory(MachineFile);
    Open();
    EXPECT_FALSE(Set("a", "k", "v"));
    EXPECT_TRUE(std::filesystem::is_directory(MachineFile));
}

TEST_F(XmlBackendUnreadable, NoDamageToAFileEndsTheProgram) {
    NOT_UNDER_VALGRIND("too slow there");
    Open();
    for (int reader = 0; reader < 4; ++reader) {
        for (const char* key : {"IsSecure", "Reader", "ReaderName", "UseGUI", "UseBeep"}) {
            Set("lumo Client\\Reader" + std::to_string(reader), key, "Yes & \xC3\xA4");
        }
    }
    const std::string whole = ReadFile(MachineFile);
    std::size_t readable = 0;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        OpenOn(whole.substr(0, length));
        readable += Names("lumo Client").empty() ? 0 : 1;
    }
    EXPECT_EQ(readable, 1u) << "only the whole file has readers";

    std::mt19937 random(4711);
    constexpr int Damages = 10000;
    for (int round = 0; round < Damages; ++round) {
        std::string damaged = whole;
        for (auto i = random() % 6 + 1; i > 0; --i) {
            damaged[random() % damaged.size()] = static_cast<char>(random() % 256);
        }
        OpenOn(damaged);
        Names("lumo Client");
    }
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    std::cout << whole.size() + 1 << " prefixes and " << Damages << " damages, at most " << usage.ru_maxrss / 1024
              << " MiB\n";
#ifndef __SANITIZE_ADDRESS__ // which holds back what was freed
    EXPECT_LT(usage.ru_maxrss, 150 * 1024);
#endif
}

TEST_F(XmlBackendSpeed, ListingTenThousandSubTreesIsLinear) {
    NOT_UNDER_VALGRIND("measures time");
    // Given a node with 10,000 sub-trees, and one with a hundredth of them
    std::string document = "<config><few>";
    for (int i = 0; i < 100; ++i) {
        document += "<Reader" + std::to_string(i) + "><a>1</a></Reader" + std::to_string(i) + ">";
    }
    document += "</few><many>";
    for (int i = 0; i < 10000; ++i) {
        document += "<Reader" + std::to_string(i) + "><a>1</a></Reader" + std::to_string(i) + ">";
    }
    OpenOn(document + "</many></config>");
    const auto measure = [&](const char* path, int times) {
        auto best = std::chrono::nanoseconds::max();
        for (int attempt = 0; attempt < 5; ++attempt) {
            const auto begin = std::chrono::steady_clock::now();
            for (int i = 0; i < times; ++i) {
                EXPECT_FALSE(Names(path, "Reader").empty());
            }
            best = std::min<std::chrono::nanoseconds>(best, std::chrono::steady_clock::now() - begin);
        }
        return best.count();
    };
    // When both are listed, the small one a hundred times
    const auto few = measure("few", 100);
    const auto many = measure("many", 1);
    // Then it takes about the same time; were it quadratic, a hundred times as much
    EXPECT_LT(many, 8 * few);
    EXPECT_EQ(Names("many", "Reader").size(), 10000u);
}

TEST_F(XmlBackendSpeed, AChangeOfALargeFileCostsLittleMoreThanTheXmlWriterAlone) {
    NOT_UNDER_VALGRIND("measures time");
    std::string document = "<config>";
    for (int i = 0; document.size() < 1000000; ++i) {
        const std::string name = "Reader" + std::to_string(i);
        document +=
            "<" + name + "><ReaderName>Some reader with a name</ReaderName><IsSecure>Yes</IsSecure></" + name + ">";
    }
    OpenOn(document + "</config>");
    boost::property_tree::ptree tree;
    ASSERT_TRUE(ParseXml(document + "</config>", tree));

    const auto measure = [](const auto& action) {
        auto best = std::chrono::nanoseconds::max();
        for (int attempt = 0; attempt < 7; ++attempt) {
            const auto begin = std::chrono::steady_clock::now();
            action();
            best = std::min<std::chrono::nanoseconds>(best, std::chrono::steady_clock::now() - begin);
        }
        return static_cast<double>(best.count()) / 1e6;
    };
    const double set = measure([&] { ASSERT_TRUE(Set("Reader5", "IsSecure", "No")); });
    const double alone = measure([&] {
        boost::property_tree::write_xml("/tmp/alone.xml", tree, std::locale(),
                                        boost::property_tree::xml_writer_settings<std::string>(' ', 0, "utf-8"));
    });
    std::filesystem::remove("/tmp/alone.xml");
    std::cout << "change of a file of 1 MB: " << set << " ms, the XML writer alone: " << alone << " ms\n";
    EXPECT_LT(set, 2 * alone);
}
