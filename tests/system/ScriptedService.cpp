#include "tests/system/ScriptedService.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr auto kSocket = "/run/pcscd/pcscd.comm";
constexpr int kLookEvery = 20; // milliseconds

template <typename Number>
void append(std::string& bytes, Number number) {
    std::array<char, sizeof(number)> raw{};
    std::memcpy(raw.data(), &number, sizeof(number));
    bytes.append(raw.data(), raw.size());
}

sockaddr_un address() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", kSocket);
    return address;
}

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error("cannot " + what + " " + kSocket + ": " + std::strerror(errno));
}

} // namespace

ScriptedService::Script ScriptedService::answersVersion(std::int32_t major, std::int32_t minor, std::uint32_t result) {
    Script script;
    append(script.answer, major);
    append(script.answer, minor);
    append(script.answer, result);
    return script;
}

std::string ScriptedService::trueAnswerTo(std::int32_t major, std::int32_t minor) {
    // The library's first message: length and number of the command, then the same record as the answer.
    constexpr std::uint32_t versionCommand = 0x11;
    const auto record = answersVersion(major, minor, 0).answer;
    std::string question;
    append(question, static_cast<std::uint32_t>(record.size()));
    append(question, versionCommand);
    question += record;
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto there = address();
    std::string answer(record.size(), '\0');
    const bool answered =
        connect(connection, reinterpret_cast<const sockaddr*>(&there), sizeof(there)) == 0 &&
        send(connection, question.data(), question.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(question.size()) &&
        recv(connection, answer.data(), answer.size(), MSG_WAITALL) == static_cast<ssize_t>(answer.size());
    close(connection);
    if (!answered)
        fail("ask at");
    return answer;
}

ScriptedService::ScriptedService(const Script& script)
    : script_(script), listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    std::filesystem::create_directories("/run/pcscd");
    std::filesystem::remove(kSocket);
    const auto here = address();
    if (bind(listener_, reinterpret_cast<const sockaddr*>(&here), sizeof(here)) != 0 || listen(listener_, 8) != 0)
        fail("listen at");
    thread_ = std::thread([this] { serve(); });
}

ScriptedService::~ScriptedService() {
    ends_ = true;
    thread_.join();
    close(listener_);
    std::filesystem::remove(kSocket);
}

void ScriptedService::serve() {
    while (!ends_) {
        pollfd news{listener_, POLLIN, 0};
        if (poll(&news, 1, kLookEvery) != 1)
            continue;
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (!script_.closes)
            serve(connection);
        close(connection);
    }
}

// One after another: the program asks in no other way.
void ScriptedService::serve(int connection) const {
    std::array<char, 256> bytes{};
    bool answered = script_.answer.empty();
    while (!ends_) {
        pollfd news{connection, POLLIN, 0};
        if (poll(&news, 1, kLookEvery) != 1)
            continue;
        if (read(connection, bytes.data(), bytes.size()) <= 0)
            return;
        if (!answered)
            answered = send(connection, script_.answer.data(), script_.answer.size(), MSG_NOSIGNAL) > 0;
    }
}
