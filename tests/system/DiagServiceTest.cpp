// What lumodiag says about the PC/SC service in every state that it can be in, each made for real.
#include "tests/system/DiagTest.h"
#include "tests/system/ScriptedService.h"

#include <algorithm>

#include <sys/stat.h>

namespace {

constexpr auto kSocket = "/run/pcscd/pcscd.comm";

// The report of a machine whose service is in trouble: one finding about the service, with what to type.
void expectTrouble(const DiagReport& report, const std::string& state, const std::string& finding) {
    EXPECT_EQ(report.ending.status, 1);
    EXPECT_EQ(report.document.at("wrong"), true);
    EXPECT_EQ(report.document.at("service").at("state"), state);
    const auto ids = report.findings();
    ASSERT_FALSE(ids.empty());
    EXPECT_EQ(ids.front(), finding);
    EXPECT_EQ(std::count_if(ids.begin(), ids.end(), [](const auto& id) { return id.rfind("service-", 0) == 0; }), 1);
    EXPECT_FALSE(report.finding(finding).at("commands").empty());
    EXPECT_EQ(report.finding(finding).at("entry"), "failures.md#" + finding);
    EXPECT_THAT(ids, Not(Contains("no-readers"))) << "nobody knows about readers now";
}

TEST(DiagService, IsFineWhenItAnswers) {
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.ending.status, 0);
    EXPECT_EQ(report.document.at("wrong"), false);
    const auto& service = report.document.at("service");
    EXPECT_EQ(service.at("state"), "fine");
    EXPECT_EQ(service.at("process"), Pcscd::pid());
    EXPECT_EQ(service.at("program"), "/usr/sbin/pcscd");
    EXPECT_EQ(service.at("socket"), kSocket);
    EXPECT_THAT(report.findings(), ElementsAre("configuration-missing"));
}

TEST(DiagService, IsNotInstalled) {
    Pcscd::stop();
    ASSERT_EQ(Support::run({"mount", "--bind", "/dev/null", "/usr/sbin/pcscd"}).status, 0);
    const auto report = Lumodiag::report();
    expectTrouble(report, "not-installed", "service-not-installed");
    EXPECT_EQ(report.document.at("service").at("program"), nullptr);
    EXPECT_THAT(report.finding("service-not-installed").at("commands"), ElementsAre("sudo apt install pcscd libccid"));
}

TEST(DiagService, IsInstalledAndStopped) {
    Pcscd::stop();
    const auto report = Lumodiag::report();
    expectTrouble(report, "not-running", "service-not-running");
    EXPECT_EQ(report.document.at("service").at("process"), nullptr);
    EXPECT_EQ(report.document.at("service").at("result").at("name"), "SCARD_E_NO_SERVICE");
}

TEST(DiagService, WasKilledAndLeftItsSocketBehind) {
    Pcscd::kill();
    ASSERT_TRUE(fs::exists(kSocket));
    expectTrouble(Lumodiag::report(), "not-running", "service-not-running");
}

TEST(DiagService, IsFrozenAndFoundOutInTime) {
    Pcscd::freeze();
    const auto report = Lumodiag::report();
    expectTrouble(report, "not-answering", "service-frozen");
    EXPECT_GE(report.took.count(), 2000) << "it gets the time that a busy machine needs";
    EXPECT_LT(report.took.count(), 5000) << "two seconds and what a loaded machine adds";
    EXPECT_EQ(report.document.at("service").at("hangingCall"), "SCardEstablishContext");
    EXPECT_EQ(report.document.at("service").at("processState"), "T");
    EXPECT_EQ(report.document.at("service").at("result"), nullptr) << "none came back";
    EXPECT_EQ(report.document.at("listResult"), nullptr);
    EXPECT_THAT(report.finding("service-frozen").at("commands"),
                ElementsAre("sudo kill -CONT " + std::to_string(Pcscd::pid())));
    // when: that is typed, as good as
    Pcscd::thaw();
    EXPECT_EQ(Lumodiag::report().ending.status, 0);
}

TEST(DiagService, RunsWithoutItsSocket) {
    fs::remove(kSocket);
    const auto report = Lumodiag::report();
    expectTrouble(report, "not-reachable", "service-not-reachable");
    EXPECT_EQ(report.finding("service-not-reachable").at("subject"), kSocket);
    EXPECT_EQ(report.document.at("service").at("process"), Pcscd::pid());
}

TEST(DiagService, KeepsOutWhomTheSocketsPermissionsKeepOut) {
    ASSERT_EQ(chmod(kSocket, 0), 0);
    expectTrouble(Lumodiag::reportWithoutRights(), "no-permission", "service-no-permission");
    EXPECT_EQ(Lumodiag::report().ending.status, 0) << "root comes in";
    // The same by way of the folder.
    ASSERT_EQ(chmod(kSocket, 0666) + chmod("/run/pcscd", 0), 0);
    const auto report = Lumodiag::reportWithoutRights();
    EXPECT_EQ(report.ending.status, 1);
    expectTrouble(report, "no-permission", "service-no-permission");
}

TEST(DiagService, ClosesTheDoorLikeOneWithPolkit) {
    Pcscd::stop();
    const ScriptedService service(ScriptedService::closesAtOnce());
    const auto report = Lumodiag::report();
    expectTrouble(report, "refused", "service-refused");
    EXPECT_THAT(report.finding("service-refused").at("remedy"), HasSubstr("polkit"));
}

TEST(DiagService, SpeaksAnotherVersionOfTheProtocol) {
    // given: what the true daemon answers to a library of another version
    const auto answer = ScriptedService::trueAnswerTo(3, 0);
    Pcscd::stop();
    const ScriptedService service({false, answer});
    const auto report = Lumodiag::report();
    expectTrouble(report, "protocol-mismatch", "service-protocol-mismatch");
    EXPECT_EQ(report.document.at("service").at("result").at("name"), "SCARD_E_SERVICE_STOPPED");
}

TEST(DiagService, FailsWithAnErrorOfItsOwn) {
    Pcscd::stop();
    const ScriptedService service(ScriptedService::answersVersion(4, 0, 0x80100006)); // SCARD_E_NO_MEMORY
    const auto report = Lumodiag::report();
    expectTrouble(report, "failed", "service-failed");
    EXPECT_THAT(report.finding("service-failed").at("details"), ElementsAre("SCARD_E_NO_MEMORY (0x80100006)"));
}

TEST(DiagService, AcceptsAndNeverAnswers) {
    Pcscd::stop();
    const ScriptedService service(ScriptedService::saysNothing());
    const auto report = Lumodiag::report();
    expectTrouble(report, "not-answering", "service-not-answering");
    EXPECT_LT(report.took.count(), 5000);
}

TEST(DiagService, DiesWhileItsReadersAreAsked) {
    const Support::SimulatedReader reader(0);
    reader.write("hang", "IFDHControl\n");
    Support::Process process(Lumodiag::command({"--json"}));
    ASSERT_TRUE(reader.logged("IFDHControl hangs"));
    Pcscd::kill();
    const auto ending = process.wait();
    reader.remove("hang");
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->status, 1);
    const auto document = nlohmann::json::parse(ending->output);
    EXPECT_EQ(document.at("service").at("state"), "failed");
    EXPECT_EQ(document.at("findings").at(0).at("id"), "service-failed");
    EXPECT_EQ(document.at("service").at("process"), nullptr) << "it was there when the readers were begun with";
    EXPECT_EQ(document.at("readers").size(), 2U) << "what was known before is told";
    EXPECT_EQ(document.at("readers").at(0).at("attributes").at("vendorName").at("text"), "Vantor");
}

TEST(DiagService, IsFrozenWhileItsReadersAreAskedAndTheyAreNotBlamed) {
    const Support::SimulatedReader reader(0);
    reader.write("hang", "IFDHControl\n");
    Support::Process process(Lumodiag::command({"--json"}));
    ASSERT_TRUE(reader.logged("IFDHControl hangs"));
    Pcscd::freeze();
    const auto ending = process.wait();
    Pcscd::thaw();
    reader.remove("hang");
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->status, 1);
    const auto document = nlohmann::json::parse(ending->output);
    EXPECT_EQ(document.at("readers").at(0).at("hangingCall"), "SCardControl");
    EXPECT_EQ(document.at("findings").at(0).at("id"), "service-frozen");
    for (const auto& finding : document.at("findings")) {
        EXPECT_NE(finding.at("id"), "reader-not-answering");
        EXPECT_NE(finding.at("id"), "reader-busy");
    }
}

TEST(DiagService, IsFrozenWhileManyReadersAreAskedAtOnceAndNoneIsBlamed) {
    Pcscd::serve(9);
    for (int number = 0; number < 9; ++number)
        Support::SimulatedReader(number).write("hang", "IFDHControl\n");
    Support::Process process(Lumodiag::command({"--json"}));
    ASSERT_TRUE(Support::SimulatedReader(0).logged("IFDHControl hangs"));
    Pcscd::freeze();
    const auto ending = process.wait();
    Pcscd::thaw();
    for (int number = 0; number < 9; ++number)
        Support::SimulatedReader(number).remove("hang");
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->status, 1);
    const auto document = nlohmann::json::parse(ending->output);
    EXPECT_EQ(document.at("service").at("state"), "not-answering");
    EXPECT_EQ(document.at("findings").at(0).at("id"), "service-frozen");
    for (const auto& finding : document.at("findings")) {
        EXPECT_NE(finding.at("id"), "reader-not-answering");
        EXPECT_NE(finding.at("id"), "reader-busy");
    }
}

TEST(DiagService, IsLookedForWhereTheLibraryLooks) {
    const std::string elsewhere = "/run/elsewhere";
    auto command = Lumodiag::command({"--json"});
    command.insert(command.begin(), {"env", "PCSCLITE_CSOCK_NAME=" + elsewhere});
    const auto report = Lumodiag::report(command);
    expectTrouble(report, "not-reachable", "service-not-reachable");
    EXPECT_EQ(report.document.at("service").at("socket"), elsewhere);
}

} // namespace
