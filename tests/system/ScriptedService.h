// A listener at the socket of the PC/SC service that misbehaves as told.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

/// Listens from construction to destruction; the true daemon must not run meanwhile.
class ScriptedService {
public:
    /// What each connection gets.
    struct Script {
        bool closes = false; ///< at once, unread
        std::string answer;  ///< to the first message; empty: none, ever
    };

    explicit ScriptedService(const Script& script);
    ~ScriptedService();
    ScriptedService(const ScriptedService&) = delete;
    ScriptedService& operator=(const ScriptedService&) = delete;

    [[nodiscard]] static Script closesAtOnce() { return {true, {}}; }
    [[nodiscard]] static Script saysNothing() { return {false, {}}; }
    /// The answer to the library's question for the protocol's version: two numbers and a PC/SC result.
    [[nodiscard]] static Script answersVersion(std::int32_t major, std::int32_t minor, std::uint32_t result);

    /// What the daemon that runs now answers when a client speaks this version.
    [[nodiscard]] static std::string trueAnswerTo(std::int32_t major, std::int32_t minor);

private:
    void serve();
    void serve(int connection) const;

    Script script_;
    int listener_;
    std::atomic<bool> ends_{false};
    std::thread thread_;
};
