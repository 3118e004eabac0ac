#include "app/ReaderSubTree.h"

#include "config/ProgramConfig.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;
using Vantor::Config;

constexpr char ConfigFile[] = "/etc/vantor/lumoclient/config";

class ReaderSubTree : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(std::getenv("LUMOADMIN_SANDBOX"), nullptr) << "writes below /etc: run it through ctest";
    }
    void TearDown() override { Config::GetHandle(0)->Destroy(); }

    /// Starts with a file whose client settings hold this.
    static void Load(const std::string& client) {
        fs::create_directories(fs::path(ConfigFile).parent_path());
        std::ofstream(ConfigFile) << "<config><lumo_Client>" << client << "</lumo_Client></config>";
        GenerateConfig();
    }

    /// What the file's client settings hold now.
    static std::string Saved() {
        std::ostringstream text;
        text << std::ifstream(ConfigFile).rdbuf();
        const std::string all = text.str();
        const std::string open = "<lumo_Client>";
        const auto begin = all.find(open) + open.size();
        return all.substr(begin, all.find("</lumo_Client>") - begin);
    }
};

} // namespace

TEST_F(ReaderSubTree, PathIsBelowTheClients) {
    EXPECT_EQ(SubTreePath("Reader0"), "lumo Client/Reader0");
}

TEST_F(ReaderSubTree, NamesBeginWithReaderAndKeepTheirOrder) {
    Load("<Reader2><A>1</A></Reader2><Language>58</Language><Reader0/><CardReader><A>1</A></CardReader>"
         "<Reader10><A>1</A></Reader10>");
    EXPECT_EQ(ReaderSubTreeNames(), (Names{"Reader2", "Reader0", "Reader10"}));
}

TEST_F(ReaderSubTree, SettingsOfReadersAreNoReader) {
    Load("<Reader_Settings><A>1</A></Reader_Settings><Reader0><A>1</A></Reader0>"
         "<Reader_Setting><A>1</A></Reader_Setting>");
    EXPECT_EQ(ReaderSubTreeNames(), (Names{"Reader0", "Reader_Setting"}));
}

TEST_F(ReaderSubTree, EmptyElementsAreNotPresent) {
    Load("<Reader0/><Reader1><A>1</A></Reader1><Reader2></Reader2><Reader3><A/></Reader3>");
    EXPECT_EQ(PresentReaderSubTreeNames(), (Names{"Reader1", "Reader3"}));
}

TEST_F(ReaderSubTree, ASubTreeThatHoldsOnlyATextIsPresent) {
    Load("<ReaderMode>strict</ReaderMode><Reader0> \n</Reader0>");
    EXPECT_EQ(PresentReaderSubTreeNames(), Names{"ReaderMode"});
}

TEST_F(ReaderSubTree, WithoutConfigurationThereAreNone) {
    GenerateConfig();
    EXPECT_TRUE(ReaderSubTreeNames().empty());
    EXPECT_TRUE(PresentReaderSubTreeNames().empty());
}

TEST_F(ReaderSubTree, RemovedOneIsNotPresentAnyMore) {
    Load("<Reader0><A>1</A></Reader0><Reader1><A>1</A></Reader1>");
    RemoveSubTree("Reader0");
    EXPECT_EQ(PresentReaderSubTreeNames(), Names{"Reader1"});
    EXPECT_EQ(Saved(), "<Reader0/><Reader1><A>1</A></Reader1>");
}

TEST_F(ReaderSubTree, RemovingOneThatIsNotThereChangesNothing) {
    Load("<Reader0><A>1</A></Reader0>");
    RemoveSubTree("Reader7");
    EXPECT_EQ(Saved(), "<Reader0><A>1</A></Reader0>");
}

TEST_F(ReaderSubTree, ReadsTextsAndFlags) {
    Load("<Reader0><Name>a b</Name><Yes>yes</Yes><No>No</No><Empty/></Reader0>");
    const SubTreeReader reader("Reader0");
    EXPECT_EQ(reader.Text("Name"), "a b");
    EXPECT_TRUE(reader.Flag("Yes"));
    EXPECT_FALSE(reader.Flag("No"));
    EXPECT_FALSE(reader.Flag("Name"));
    EXPECT_TRUE(reader.Has("Name"));
}

TEST_F(ReaderSubTree, MissingAndEmptySettingsReadAlike) {
    Load("<Reader0><Empty/></Reader0>");
    const SubTreeReader reader("Reader0");
    for (const char* key : {"Empty", "Missing"}) {
        EXPECT_EQ(reader.Text(key), "");
        EXPECT_FALSE(reader.Flag(key));
        EXPECT_FALSE(reader.Has(key));
    }
}

TEST_F(ReaderSubTree, WritesTextsNumbersAndWords) {
    GenerateConfig();
    const SubTreeWriter writer("Reader3", Vantor::SYSTYPE_FIRST);
    writer.Text("Name", "a <b>");
    writer.Text("Message", "");
    writer.Number("Port", -5);
    writer.Flag("On", true);
    writer.Flag("Off", false);
    EXPECT_EQ(Saved(), "<Reader3><Name>a &lt;b&gt;</Name><Message/><Port>-5</Port><On>Yes</On><Off>No</Off></Reader3>");
}

TEST_F(ReaderSubTree, ReadsWhatItWrote) {
    GenerateConfig();
    SubTreeWriter("Reader0", Vantor::SYSTYPE_SECOND).Flag("IsSecure", true);
    EXPECT_TRUE(SubTreeReader("Reader0").Flag("IsSecure"));
    EXPECT_FALSE(SubTreeReader("Reader1").Flag("IsSecure"));
}

TEST_F(ReaderSubTree, TouchesTheReservedIdsOnly) {
    Load("<Reader0><A>1</A></Reader0>");
    EXPECT_EQ(PresentReaderSubTreeNames().size(), 1u);
    SubTreeWriter("Reader1", Vantor::SYSTYPE_SECOND).Number("A", 1);
    RemoveSubTree("Reader0");
    std::vector<unsigned> scratch;
    for (const auto& entry : Config::GetHandle(0)->GetEntries())
        if (entry.first > 60)
            scratch.push_back(entry.first);
    EXPECT_EQ(scratch, (std::vector<unsigned>{500, 501, 5002}));
    EXPECT_EQ(Config::GetHandle(0)->GetEntries().at(501)->sysType, Vantor::SYSTYPE_SECOND);
}
