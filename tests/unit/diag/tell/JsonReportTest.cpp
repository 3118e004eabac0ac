#include "diag/tell/JsonReport.h"

#include "diag/tell/Language.h"
#include "tests/support/Environment.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/diag/tell/Sample.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <winscard.h>

#include <random>

using namespace Diag;
using nlohmann::json;
using testing::HasSubstr;

namespace {

class JsonReportTest : public testing::Test {
protected:
    JsonReportTest() { UseLanguage("en", CATALOG_FOLDER); }

    static std::string Format(const Report& report) { return FormatJson(report, DeriveFindings(report), false); }

    /// What the schema has against a document; empty for nothing.
    static std::string Complaint(const std::string& document) {
        const test::TemporaryFolder folder;
        test::WriteText(folder / "report.json", document);
        const auto ending = Support::run({SOURCE_FOLDER "/scripts/check-report", folder / "report.json"});
        return ending.status == 0 ? ""
                                  : ending.output + ending.errors + " (status " + std::to_string(ending.status) + ")";
    }

    test::Variable zone{"TZ", "UTC"};
};

std::string RandomBytes(std::mt19937& random, std::size_t most) {
    std::string bytes(random() % (most + 1), ' ');
    for (char& c : bytes) {
        c = static_cast<char>(random());
    }
    return bytes;
}

} // namespace

TEST_F(JsonReportTest, EverythingIsAsInTheGoldenFile) {
    const std::string text = Format(SampleReport());
    EXPECT_EQ(text, Golden("report.json", text));
}

TEST_F(JsonReportTest, TheFullReportKeepsTheSchema) {
    EXPECT_EQ(Complaint(Format(SampleReport())), "");
}

TEST_F(JsonReportTest, TheEmptyReportKeepsTheSchema) {
    Report report;
    report.version = "1.0.0";
    EXPECT_EQ(Complaint(Format(report)), "");
}

TEST_F(JsonReportTest, TheSchemaNoticesWhatDoesNotBelong) {
    json document = json::parse(Format(SampleReport()));
    document["pin"] = "1234";
    EXPECT_THAT(Complaint(document.dump()), HasSubstr("pin"));
    document = json::parse(Format(SampleReport()));
    document["service"]["state"] = "tired";
    EXPECT_THAT(Complaint(document.dump()), HasSubstr("tired"));
    document = json::parse(Format(SampleReport()));
    document["readers"][0].erase("name");
    EXPECT_THAT(Complaint(document.dump()), HasSubstr("name"));
}

TEST_F(JsonReportTest, CallsThatWereNotMadeOrDidNotReturnHaveNoResult) {
    Report report = SampleReport();
    json document = json::parse(Format(report));
    EXPECT_EQ(document["service"]["result"]["name"], "Success");
    EXPECT_EQ(document["listResult"]["name"], "Success");
    const json& readers = document["readers"];
    EXPECT_EQ(readers[0]["card"]["result"]["name"], "Success");
    EXPECT_EQ(readers[0]["directResult"], nullptr) << "the card was enough";
    EXPECT_EQ(readers[1]["card"]["result"], nullptr) << "there is none";
    EXPECT_EQ(readers[1]["directResult"]["name"], "Success");
    EXPECT_EQ(readers[2]["card"]["result"]["name"], "SCARD_E_SHARING_VIOLATION");
    EXPECT_EQ(readers[2]["directResult"], nullptr) << "what is held is not asked twice";
    EXPECT_EQ(readers[3]["card"]["result"], nullptr) << "it hangs";
    EXPECT_EQ(readers[3]["directResult"], nullptr);
    // and: a service that does not answer at all
    report.service.answered = report.listed = false;
    document = json::parse(Format(report));
    EXPECT_EQ(document["service"]["result"], nullptr);
    EXPECT_EQ(document["listResult"], nullptr);
    EXPECT_EQ(Complaint(document.dump()), "");
}

TEST_F(JsonReportTest, WhetherAHiddenLogFolderExistsIsNotClaimed) {
    Report report = SampleReport();
    report.logs.client.isHidden = true;
    const std::string document = Format(report);
    EXPECT_EQ(json::parse(document)["logs"]["client"]["exists"], nullptr);
    EXPECT_EQ(json::parse(document)["logs"]["miniDriver"]["exists"], true);
    EXPECT_EQ(Complaint(document), "");
}

TEST_F(JsonReportTest, IdsDoNotDependOnTheLanguage) {
    const json english = json::parse(Format(SampleReport()));
    UseLanguage("de", CATALOG_FOLDER);
    const json german = json::parse(Format(SampleReport()));
    ASSERT_EQ(english["findings"].size(), german["findings"].size());
    for (std::size_t i = 0; i < english["findings"].size(); ++i) {
        EXPECT_EQ(english["findings"][i]["id"], german["findings"][i]["id"]);
        EXPECT_NE(english["findings"][i]["title"], german["findings"][i]["title"]);
    }
    EXPECT_EQ(english["readers"], german["readers"]);
}

TEST_F(JsonReportTest, AnyBytesOfADriverMakeValidJson) {
    std::mt19937 random(3); // NOLINT(cert-msc51-cpp): the same reports in each run
    Report report;
    report.version = "1.0.0";
    report.service.state = ServiceState::Fine;
    for (int i = 0; i < 200; ++i) {
        Reader reader;
        reader.asked = reader.connected = reader.featuresAsked = true;
        reader.name = RandomBytes(random, 60);
        reader.atr = RandomBytes(random, 33);
        reader.features = RandomBytes(random, 60);
        reader.attributes = {{0x00010100, 0, RandomBytes(random, 100)}, {0x7FFF0001, 0, RandomBytes(random, 8)}};
        reader.cardCode = static_cast<long>(random() & 0xFFFFFFFFU);
        reader.protocol = random() % 8;
        report.readers.push_back(reader);
    }
    const std::string document = Format(report);
    EXPECT_EQ(json::parse(document)["readers"].size(), report.readers.size());
    EXPECT_EQ(Complaint(document), "");
}

TEST_F(JsonReportTest, TheDocumentSaysWhetherItIsRedactedAndWhetherSomethingIsWrong) {
    const Report report = SampleReport();
    EXPECT_EQ(json::parse(FormatJson(report, {}, true))["redacted"], true);
    EXPECT_EQ(json::parse(FormatJson(report, {}, false))["wrong"], false);
    EXPECT_EQ(json::parse(Format(report))["wrong"], true);
}
