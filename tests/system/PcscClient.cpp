#include "tests/system/PcscClient.h"

#include <algorithm>

#include <reader.h>

namespace {

PcscResult result(LONG code, Bytes buffer, DWORD length) {
    // The library leaves lengths above the buffer's on some errors.
    buffer.resize(std::min<std::size_t>(buffer.size(), length));
    return {code, std::move(buffer), length};
}

} // namespace

PcscClient::PcscClient() : contextCode_(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context_)) {}

PcscClient::~PcscClient() {
    disconnect();
    if (contextCode_ == SCARD_S_SUCCESS)
        SCardReleaseContext(context_);
}

LONG PcscClient::listReadersCode() const {
    DWORD length = 0;
    return SCardListReaders(context_, nullptr, nullptr, &length);
}

std::vector<std::string> PcscClient::readers() const {
    DWORD length = 0;
    if (SCardListReaders(context_, nullptr, nullptr, &length) != SCARD_S_SUCCESS)
        return {};
    std::vector<char> names(length + 2);
    if (SCardListReaders(context_, nullptr, names.data(), &length) != SCARD_S_SUCCESS)
        return {};
    std::vector<std::string> list;
    for (const char* name = names.data(); *name != '\0'; name += list.back().size() + 1)
        list.emplace_back(name);
    return list;
}

LONG PcscClient::connect(const std::string& reader, DWORD mode) {
    return SCardConnect(context_, reader.c_str(), mode,
                        mode == SCARD_SHARE_DIRECT ? 0 : SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1, &card_, &protocol_);
}

void PcscClient::disconnect(DWORD disposition) {
    if (card_ != 0)
        SCardDisconnect(card_, disposition);
    card_ = 0;
}

LONG PcscClient::reconnect(DWORD initialisation) {
    return SCardReconnect(card_, SCARD_SHARE_SHARED, SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1, initialisation, &protocol_);
}

PcscResult PcscClient::atr() const {
    Bytes buffer(MAX_ATR_SIZE);
    DWORD length = MAX_ATR_SIZE;
    DWORD nameLength = 0;
    DWORD state = 0;
    DWORD protocol = 0;
    const LONG code = SCardStatus(card_, nullptr, &nameLength, &state, &protocol, buffer.data(), &length);
    return result(code, std::move(buffer), length);
}

PcscResult PcscClient::attribute(DWORD tag, DWORD room) const {
    Bytes buffer(room);
    DWORD length = room;
    const LONG code = SCardGetAttrib(card_, tag, room > 0 ? buffer.data() : nullptr, &length);
    return result(code, std::move(buffer), length);
}

PcscResult PcscClient::control(DWORD code, const Bytes& input, DWORD room) const {
    Bytes buffer(room);
    DWORD length = 0;
    const LONG outcome =
        SCardControl(card_, code, input.data(), static_cast<DWORD>(input.size()), buffer.data(), room, &length);
    return result(outcome, std::move(buffer), length);
}

PcscResult PcscClient::transmit(const Bytes& apdu, DWORD room) const {
    Bytes buffer(room);
    DWORD length = room;
    const LONG code = SCardTransmit(card_, SCARD_PCI_T1, apdu.data(), static_cast<DWORD>(apdu.size()), nullptr,
                                    buffer.data(), &length);
    return result(code, std::move(buffer), length);
}

DWORD PcscClient::stateAfter(const std::string& reader, DWORD known, DWORD milliseconds) const {
    SCARD_READERSTATE state{};
    state.szReader = reader.c_str();
    state.dwCurrentState = known;
    const LONG code = SCardGetStatusChange(context_, milliseconds, &state, 1);
    return code == SCARD_S_SUCCESS ? static_cast<DWORD>(state.dwEventState) : static_cast<DWORD>(SCARD_STATE_UNKNOWN);
}
