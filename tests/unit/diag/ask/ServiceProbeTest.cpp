#include "diag/ask/ServiceProbe.h"

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <winscard.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Diag;

namespace {

PcscFacts Answered(long code) {
    PcscFacts asked;
    asked.answered = true;
    asked.contextCode = code;
    return asked;
}

ServiceFacts Machine(const std::string& program, int process, int connectError) {
    ServiceFacts facts;
    facts.socket = "/run/pcscd/pcscd.comm";
    facts.program = program;
    facts.process = process;
    facts.processState = process == 0 ? '\0' : 'S';
    facts.connectError = connectError;
    return facts;
}

ServiceState Judge(const ServiceFacts& facts, const PcscFacts& asked) {
    return JudgeService(facts, asked).state;
}

constexpr char Program[] = "/usr/sbin/pcscd";

} // namespace

TEST(ServiceProbeTest, AContextMeansFine) {
    EXPECT_EQ(Judge(Machine(Program, 7, 0), Answered(SCARD_S_SUCCESS)), ServiceState::Fine);
    EXPECT_EQ(Judge(Machine("", 0, 0), Answered(SCARD_S_SUCCESS)), ServiceState::Fine)
        << "the daemon of another container, for one";
}

TEST(ServiceProbeTest, AServiceThatWentAwayWhileItWasAskedHasFailed) {
    PcscFacts asked = Answered(SCARD_S_SUCCESS);
    EXPECT_EQ(Judge(Machine(Program, 0, ECONNREFUSED), asked), ServiceState::Failed) << "its socket is abandoned";
    EXPECT_EQ(Judge(Machine(Program, 0, ENOENT), asked), ServiceState::Failed);
    EXPECT_EQ(JudgeService(Machine(Program, 0, ENOENT), asked).code, SCARD_E_NO_SERVICE);
    // Another one listens already, but not all readers were asked.
    asked.readers.resize(2);
    asked.readers[1].cardCode = SCARD_E_NO_SERVICE;
    EXPECT_EQ(Judge(Machine(Program, 8, 0), asked), ServiceState::Failed);
    asked.readers[1].cardCode = SCARD_E_NO_SMARTCARD;
    EXPECT_EQ(Judge(Machine(Program, 8, 0), asked), ServiceState::Fine);
}

TEST(ServiceProbeTest, AServiceThatWentAwayBeforeItListedItsReadersHasFailed) {
    PcscFacts asked = Answered(SCARD_S_SUCCESS);
    for (const long code : {SCARD_E_NO_SERVICE, SCARD_E_SERVICE_STOPPED, SCARD_F_COMM_ERROR}) {
        asked.listCode = code;
        EXPECT_EQ(Judge(Machine(Program, 8, 0), asked), ServiceState::Failed) << std::hex << code;
    }
    asked.listCode = SCARD_E_NO_READERS_AVAILABLE;
    EXPECT_EQ(Judge(Machine(Program, 8, 0), asked), ServiceState::Fine);
}

TEST(ServiceProbeTest, NoProgramAndNobodyListeningMeansNotInstalled) {
    EXPECT_EQ(Judge(Machine("", 0, ENOENT), Answered(SCARD_E_NO_SERVICE)), ServiceState::NotInstalled);
}

TEST(ServiceProbeTest, AProgramWithoutAProcessMeansNotRunning) {
    EXPECT_EQ(Judge(Machine(Program, 0, ENOENT), Answered(SCARD_E_NO_SERVICE)), ServiceState::NotRunning);
    EXPECT_EQ(Judge(Machine(Program, 0, ECONNREFUSED), Answered(SCARD_E_NO_SERVICE)), ServiceState::NotRunning)
        << "a killed daemon leaves its socket behind";
}

TEST(ServiceProbeTest, AProcessWithoutItsSocketMeansNotReachable) {
    EXPECT_EQ(Judge(Machine(Program, 7, ENOENT), Answered(SCARD_E_NO_SERVICE)), ServiceState::NotReachable);
}

TEST(ServiceProbeTest, AClosedSocketMeansNoPermission) {
    EXPECT_EQ(Judge(Machine(Program, 7, EACCES), Answered(SCARD_E_NO_SERVICE)), ServiceState::NoPermission);
    EXPECT_EQ(Judge(Machine("", 0, EPERM), Answered(SCARD_E_NO_SERVICE)), ServiceState::NoPermission);
}

TEST(ServiceProbeTest, AConnectionThatIsHungUpMeansRefused) {
    for (const long code : {SCARD_E_NO_SERVICE, SCARD_F_COMM_ERROR, SCARD_E_NO_ACCESS, SCARD_W_SECURITY_VIOLATION}) {
        EXPECT_EQ(Judge(Machine(Program, 7, 0), Answered(code)), ServiceState::Refused) << std::hex << code;
    }
}

TEST(ServiceProbeTest, ServiceStoppedOnALiveSocketMeansAnotherProtocol) {
    EXPECT_EQ(Judge(Machine(Program, 7, 0), Answered(SCARD_E_SERVICE_STOPPED)), ServiceState::ProtocolMismatch);
}

TEST(ServiceProbeTest, AnyOtherErrorIsAFailure) {
    EXPECT_EQ(Judge(Machine(Program, 7, 0), Answered(SCARD_E_NO_MEMORY)), ServiceState::Failed);
}

TEST(ServiceProbeTest, SilenceMeansNotAnswering) {
    PcscFacts silent;
    silent.hangingCall = "SCardEstablishContext";
    const Service service = JudgeService(Machine(Program, 7, 0), silent);
    EXPECT_EQ(service.state, ServiceState::NotAnswering);
    EXPECT_EQ(service.call, "SCardEstablishContext");
    EXPECT_FALSE(service.answered);
    EXPECT_EQ(Judge(Machine(Program, 7, EAGAIN), Answered(SCARD_E_NO_SERVICE)), ServiceState::NotAnswering)
        << "so many wait that no more are let in";
    PcscFacts later = Answered(SCARD_S_SUCCESS);
    later.hangingCall = "SCardEstablishContext";
    EXPECT_EQ(Judge(Machine(Program, 7, 0), later), ServiceState::NotAnswering) << "it stopped while it was asked";
}

TEST(ServiceProbeTest, WithoutAProcessNobodyWasAsked) {
    PcscFacts asked;
    asked.obstacle = {"fork", EAGAIN};
    const Service service = JudgeService(Machine(Program, 7, 0), asked);
    EXPECT_EQ(service.state, ServiceState::NotAsked);
    EXPECT_EQ(service.obstacle.call, "fork");
    EXPECT_EQ(service.obstacle.number, EAGAIN);
    EXPECT_EQ(service.process, 7) << "what can be seen without asking is told";
}

TEST(ServiceProbeTest, WhatWasSeenIsPassedOn) {
    const Service service = JudgeService(Machine(Program, 7, ENOENT), Answered(SCARD_E_NO_SERVICE));
    EXPECT_EQ(service.code, SCARD_E_NO_SERVICE);
    EXPECT_EQ(service.program, Program);
    EXPECT_EQ(service.process, 7);
    EXPECT_EQ(service.processState, 'S');
    EXPECT_EQ(service.socket, "/run/pcscd/pcscd.comm");
}

TEST(ServiceProbeTest, ConnectingTellsMissingAbandonedAndLiveSocketsApart) {
    const test::TemporaryFolder folder;
    const std::string path = folder / "socket";
    EXPECT_EQ(TryToConnect(path), ENOENT);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path.c_str());
    ASSERT_EQ(bind(listener, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(TryToConnect(path), ECONNREFUSED);
    ASSERT_EQ(listen(listener, 0), 0);
    EXPECT_EQ(TryToConnect(path), 0);
    EXPECT_EQ(TryToConnect(path), EAGAIN) << "the queue is full, and this must not block";
    close(listener);
    EXPECT_EQ(TryToConnect(std::string(200, 'x')), ENAMETOOLONG);
}

TEST(ServiceProbeTest, AnotherSocketCanBeNamed) {
    setenv("PCSCLITE_CSOCK_NAME", "/run/other.comm", 1);
    EXPECT_EQ(LookForService().socket, "/run/other.comm");
    unsetenv("PCSCLITE_CSOCK_NAME");
    EXPECT_EQ(LookForService().socket, "/run/pcscd/pcscd.comm");
}

TEST(ServiceProbeTest, WithoutADaemonThereIsNoProcess) {
    EXPECT_EQ(LookForService().process, 0) << "each test has a machine of its own";
    EXPECT_EQ(LookForService().program, "/usr/sbin/pcscd");
}

TEST(ServiceProbeTest, TheDaemonIsFoundByTheNumberThatItLeftElseByItsName) {
    // given: two programs of its name, of which the later one is the service
    const test::TemporaryFolder folder;
    std::filesystem::copy("/bin/sleep", folder / "pcscd");
    const Support::Process first({folder / "pcscd", "600"});
    const Support::Process second({folder / "pcscd", "600"});
    ASSERT_TRUE(Support::waitUntil([] { return LookForService().process != 0; }));
    std::filesystem::create_directories("/run/pcscd");
    const auto isFound = [](const std::string& left, pid_t process) {
        test::WriteText("/run/pcscd/pcscd.pid", left);
        return Support::waitUntil([&] { return LookForService().process == process; });
    };
    EXPECT_TRUE(isFound(std::to_string(second.pid()) + "\n", second.pid()));
    EXPECT_TRUE(isFound(std::to_string(first.pid()), first.pid()));
    // A number of somebody else, or none at all, tells nothing.
    for (const std::string& left :
         {std::to_string(getpid()), std::string("999999999"), std::string("self"), std::string()}) {
        EXPECT_TRUE(isFound(left, first.pid())) << left;
    }
}

TEST(ServiceProbeTest, AProcessThatHasEndedIsNone) {
    const test::TemporaryFolder folder;
    std::filesystem::copy("/bin/true", folder / "pcscd");
    const Support::Process ended({folder / "pcscd"}); // nobody has asked for its exit status yet
    std::filesystem::create_directories("/run/pcscd");
    test::WriteText("/run/pcscd/pcscd.pid", std::to_string(ended.pid()));
    const std::string stat = "/proc/" + std::to_string(ended.pid()) + "/stat";
    ASSERT_TRUE(Support::waitUntil([&] { return test::ReadText(stat).find("(pcscd) Z") != std::string::npos; }));
    EXPECT_EQ(LookForService().process, 0);
}
