// A plain PC/SC client for tests: every call goes to the machine's own client library and daemon.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <winscard.h>

using Bytes = std::vector<std::uint8_t>;

/// What a call returned: the PC/SC code, the bytes that it delivered and the length that it reported.
struct PcscResult {
    LONG code = SCARD_S_SUCCESS;
    Bytes data;
    DWORD length = 0;
};

/// A resource manager context and at most one card in it; both end with the object.
class PcscClient {
public:
    PcscClient();
    ~PcscClient();
    PcscClient(const PcscClient&) = delete;
    PcscClient& operator=(const PcscClient&) = delete;

    [[nodiscard]] LONG contextCode() const { return contextCode_; }
    /// Names in the order of the service; empty also for a failure.
    [[nodiscard]] std::vector<std::string> readers() const;
    [[nodiscard]] LONG listReadersCode() const;
    [[nodiscard]] LONG connect(const std::string& reader, DWORD mode = SCARD_SHARE_SHARED);
    void disconnect(DWORD disposition = SCARD_LEAVE_CARD);
    [[nodiscard]] LONG reconnect(DWORD initialisation);
    [[nodiscard]] PcscResult atr() const;
    [[nodiscard]] PcscResult attribute(DWORD tag, DWORD room = 264) const;
    [[nodiscard]] PcscResult control(DWORD code, const Bytes& input = {}, DWORD room = 264) const;
    [[nodiscard]] PcscResult transmit(const Bytes& apdu, DWORD room = 264) const;
    /// Waits until the reader's state differs from the one given.
    /// @return the new state, or SCARD_STATE_UNKNOWN if the call failed
    [[nodiscard]] DWORD stateAfter(const std::string& reader, DWORD known, DWORD milliseconds) const;

private:
    SCARDCONTEXT context_ = 0;
    LONG contextCode_;
    SCARDHANDLE card_ = 0;
    DWORD protocol_ = 0;
};
