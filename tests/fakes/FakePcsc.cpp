#include "tests/fakes/FakePcsc.h"

#include <winscard.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <reader.h>
#include <set>
#include <sstream>
#include <unistd.h>

#include "tests/fakes/FakeMemory.h"

namespace FakePcsc {

namespace {

struct Line {
    std::string text;
    bool isCall;
};

struct Connection {
    std::string reader;
    SCARDCONTEXT context = 0;
    DWORD mode = 0;
    int transactions = 0;
    bool isReset = false; ///< somebody else reset the card, or it was taken out
};

struct Machine {
    std::vector<Reader> readers;
    std::map<Function, std::deque<Answer>> script;
    std::vector<Line> trace;
    std::set<long> contexts;
    std::map<SCARDHANDLE, Connection> cards;
    long nextContext = 101;
    long nextCard = 201;
};

std::mutex machineMutex;
Machine machine;

struct Lock {
    explicit Lock(std::mutex& mutex) : guard(mutex) {}
    std::lock_guard<std::mutex> guard;
    FakeMemory::Plenty memory;
};

std::vector<std::string> Lines(bool calls, bool notes) {
    const Lock lock(machineMutex);
    std::vector<std::string> lines;
    for (const Line& line : machine.trace) {
        if (line.isCall ? calls : notes) {
            lines.push_back(line.text);
        }
    }
    return lines;
}

template <class... Parts>
void RecordCall(Parts... parts) {
    std::ostringstream line;
    (line << ... << parts);
    machine.trace.push_back({line.str(), true});
}

std::string Code(unsigned long code) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%08lx", code);
    return text.data();
}

std::string Hex(const unsigned char* bytes, unsigned long length) {
    std::string text;
    for (unsigned long i = 0; i < length; ++i) {
        std::array<char, 4> byte{};
        std::snprintf(byte.data(), byte.size(), i == 0 ? "%02x" : " %02x", bytes[i]);
        text += byte.data();
    }
    return text;
}

const char* Buffer(const void* buffer) {
    return buffer == nullptr ? "null" : "buffer";
}

/// The scripted answer of a call, if there is one.
std::optional<Answer> Next(Function function) {
    auto& queue = machine.script[function];
    if (queue.empty()) {
        return std::nullopt;
    }
    Answer answer = queue.front();
    queue.pop_front();
    return answer;
}

Reader* FindReader(const std::string& name) {
    const auto found = std::find_if(machine.readers.begin(), machine.readers.end(),
                                    [&](const Reader& reader) { return reader.name == name; });
    return found == machine.readers.end() ? nullptr : &*found;
}

Connection* FindConnection(SCARDHANDLE card) {
    const auto found = machine.cards.find(card);
    return found == machine.cards.end() || FindReader(found->second.reader) == nullptr ? nullptr : &found->second;
}

Reader* ReaderOfCard(SCARDHANDLE card) {
    const Connection* const connection = FindConnection(card);
    return connection == nullptr ? nullptr : FindReader(connection->reader);
}

bool IsUsed(const std::string& reader, bool onlyExclusively) {
    return std::any_of(machine.cards.begin(), machine.cards.end(), [&](const auto& card) {
        return card.second.reader == reader && (!onlyExclusively || card.second.mode == SCARD_SHARE_EXCLUSIVE);
    });
}

/// Every connection to the reader but one finds its card reset.
void ResetCard(const std::string& reader, SCARDHANDLE except = 0) {
    for (auto& [handle, connection] : machine.cards) {
        connection.isReset = connection.isReset || (connection.reader == reader && handle != except);
    }
}

/// What most calls on a connection begin with.
long CheckCard(SCARDHANDLE card) {
    const Connection* const connection = FindConnection(card);
    if (connection == nullptr) {
        return SCARD_E_INVALID_HANDLE;
    }
    if (!ReaderOfCard(card)->cardPresent && connection->mode != SCARD_SHARE_DIRECT) {
        return SCARD_W_REMOVED_CARD;
    }
    return connection->isReset ? SCARD_W_RESET_CARD : SCARD_S_SUCCESS;
}

Answer FromTable(const std::map<unsigned long, std::string>& table, unsigned long key) {
    const auto found = table.find(key);
    return found == table.end() ? Answer::Failure(SCARD_E_UNSUPPORTED_FEATURE) : Answer::Bytes(found->second);
}

/// Puts the answer's bytes into a buffer of `*length` bytes, and the length it claims into `*length`.
long Fill(const Answer& answer, void* buffer, unsigned long capacity, unsigned long* length) {
    if (buffer != nullptr) {
        const auto fits = static_cast<std::ptrdiff_t>(std::min<std::size_t>(capacity, answer.bytes.size()));
        std::copy(answer.bytes.begin(), answer.bytes.begin() + fits, static_cast<char*>(buffer));
    }
    if (length != nullptr && !answer.leavesLength) {
        *length = answer.length.value_or(answer.bytes.size());
    }
    return answer.code;
}

/// As Fill, but refuses a buffer that is too small: what the real library does for honest drivers.
/// @param writesPart  whether that buffer gets what fits
long FillHonestly(const Answer& answer, void* buffer, unsigned long* length, bool writesPart) {
    const unsigned long capacity = *length;
    const bool isTooSmall = answer.code == SCARD_S_SUCCESS && buffer != nullptr && capacity < answer.bytes.size();
    const long code = Fill(answer, isTooSmall && !writesPart ? nullptr : buffer, capacity, length);
    return isTooSmall ? SCARD_E_INSUFFICIENT_BUFFER : code;
}

/// With SCARD_AUTOALLOCATE as length the caller's "buffer" is a pointer, which gets memory for SCardFreeMemory.
void* Allocated(void* buffer, DWORD* length, std::size_t size) {
    if (buffer == nullptr || *length != SCARD_AUTOALLOCATE) {
        return buffer;
    }
    *length = size;
    return *static_cast<void**>(buffer) = std::calloc(size, 1);
}

/// What SCardConnect answers when nothing is scripted.
long TryConnect(SCARDCONTEXT context, const char* name, DWORD mode, DWORD protocols, DWORD* activeProtocol) {
    if (name == nullptr) {
        return SCARD_E_UNKNOWN_READER;
    }
    if (machine.contexts.count(context) == 0) {
        return SCARD_E_INVALID_HANDLE;
    }
    *activeProtocol = 0;
    const Reader* const reader = FindReader(name);
    if (reader == nullptr) {
        return SCARD_E_UNKNOWN_READER;
    }
    while (reader->hangs) {
        pause();
    }
    if (mode < SCARD_SHARE_EXCLUSIVE || mode > SCARD_SHARE_DIRECT) {
        return SCARD_E_INVALID_VALUE;
    }
    if (IsUsed(name, true)) {
        return SCARD_E_SHARING_VIOLATION;
    }
    if (mode == SCARD_SHARE_DIRECT) {
        *activeProtocol = reader->cardPresent && IsUsed(name, false) ? SCARD_PROTOCOL_T1 : 0;
        return SCARD_S_SUCCESS;
    }
    if (!reader->cardPresent) {
        return SCARD_E_NO_SMARTCARD;
    }
    if ((protocols & SCARD_PROTOCOL_T1) == 0) { // all cards here speak T=1
        return SCARD_E_PROTO_MISMATCH;
    }
    *activeProtocol = SCARD_PROTOCOL_T1;
    return mode == SCARD_SHARE_EXCLUSIVE && IsUsed(name, false) ? SCARD_E_SHARING_VIOLATION : SCARD_S_SUCCESS;
}

} // namespace

void Reset() {
    const Lock lock(machineMutex);
    machine = Machine();
}

void AddReader(Reader reader) {
    const Lock lock(machineMutex);
    machine.readers.push_back(std::move(reader));
}

void MoveCard(std::size_t number, bool in) {
    const Lock lock(machineMutex);
    machine.readers.at(number).cardPresent = in;
    ResetCard(machine.readers[number].name);
}

std::vector<Reader>& Readers() {
    return machine.readers;
}

void Script(Function function, Answer answer) {
    const Lock lock(machineMutex);
    machine.script[function].push_back(std::move(answer));
}

void Script(Function function, const Answer& answer, int count) {
    for (int i = 0; i < count; ++i) {
        Script(function, answer);
    }
}

bool ScriptIsUsedUp() {
    const Lock lock(machineMutex);
    return std::all_of(machine.script.begin(), machine.script.end(),
                       [](const auto& queue) { return queue.second.empty(); });
}

void Note(std::string line) {
    const Lock lock(machineMutex);
    machine.trace.push_back({std::move(line), false});
}

std::vector<std::string> Trace() {
    return Lines(true, true);
}

std::vector<std::string> Calls() {
    return Lines(true, false);
}

std::vector<std::string> Notes() {
    return Lines(false, true);
}

void ClearTrace() {
    const Lock lock(machineMutex);
    machine.trace.clear();
}

std::size_t OpenContexts() {
    const Lock lock(machineMutex);
    return machine.contexts.size();
}

std::size_t OpenCards() {
    const Lock lock(machineMutex);
    return machine.cards.size();
}

std::string FeatureList(const std::vector<std::pair<unsigned char, unsigned int>>& features) {
    std::string list;
    for (const auto& [tag, code] : features) {
        list += {static_cast<char>(tag),        4,
                 static_cast<char>(code >> 24), static_cast<char>(code >> 16),
                 static_cast<char>(code >> 8),  static_cast<char>(code)};
    }
    return list;
}

} // namespace FakePcsc

using namespace FakePcsc;

extern "C" {

const SCARD_IO_REQUEST g_rgSCardT0Pci = {SCARD_PROTOCOL_T0, sizeof(SCARD_IO_REQUEST)};
const SCARD_IO_REQUEST g_rgSCardT1Pci = {SCARD_PROTOCOL_T1, sizeof(SCARD_IO_REQUEST)};
const SCARD_IO_REQUEST g_rgSCardRawPci = {SCARD_PROTOCOL_RAW, sizeof(SCARD_IO_REQUEST)};

LONG SCardEstablishContext(DWORD scope, LPCVOID reserved1, LPCVOID reserved2, LPSCARDCONTEXT context) {
    const Lock lock(machineMutex);
    RecordCall("SCardEstablishContext(scope=", scope, ", ", Buffer(reserved1), ", ", Buffer(reserved2), ")");
    const Answer usual = scope <= SCARD_SCOPE_GLOBAL ? Answer() : Answer::Failure(SCARD_E_INVALID_VALUE);
    const Answer answer = Next(Function::EstablishContext).value_or(usual);
    *context = answer.code == SCARD_S_SUCCESS ? answer.handle.value_or(machine.nextContext++) : 0;
    if (answer.code == SCARD_S_SUCCESS) {
        machine.contexts.insert(*context);
    }
    return answer.code;
}

LONG SCardReleaseContext(SCARDCONTEXT context) {
    const Lock lock(machineMutex);
    RecordCall("SCardReleaseContext(context=", context, ")");
    const bool known = machine.contexts.erase(context) != 0;
    for (auto card = machine.cards.begin(); card != machine.cards.end();) {
        card = card->second.context == context ? machine.cards.erase(card) : std::next(card);
    }
    if (const auto answer = Next(Function::ReleaseContext)) {
        return answer->code;
    }
    return known ? SCARD_S_SUCCESS : SCARD_E_INVALID_HANDLE;
}

LONG SCardListReaders(SCARDCONTEXT context, LPCSTR groups, LPSTR buffer, LPDWORD length) {
    const Lock lock(machineMutex);
    RecordCall("SCardListReaders(context=", context, ", groups=", Buffer(groups), ", ", Buffer(buffer),
               ", length=", *length, ")");
    if (const auto answer = Next(Function::ListReaders)) {
        return Fill(*answer, buffer, *length, length);
    }
    if (machine.contexts.count(context) == 0) {
        return SCARD_E_INVALID_HANDLE;
    }
    if (machine.readers.empty()) {
        *length = 1; // the empty list
        return SCARD_E_NO_READERS_AVAILABLE;
    }
    std::string names;
    for (const Reader& reader : machine.readers) {
        names += reader.name + '\0';
    }
    names += '\0';
    return FillHonestly(Answer::Bytes(names), Allocated(buffer, length, names.size()), length, false);
}

LONG SCardFreeMemory(SCARDCONTEXT context, LPCVOID memory) {
    const Lock lock(machineMutex);
    if (machine.contexts.count(context) == 0) {
        return SCARD_E_INVALID_HANDLE;
    }
    std::free(const_cast<void*>(memory));
    return SCARD_S_SUCCESS;
}

LONG SCardConnect(SCARDCONTEXT context, LPCSTR name, DWORD shareMode, DWORD protocols, LPSCARDHANDLE card,
                  LPDWORD activeProtocol) {
    const Lock lock(machineMutex);
    RecordCall("SCardConnect(context=", context, ", \"", name == nullptr ? "" : name, "\", share=", shareMode,
               ", protocols=", protocols, ")");
    Answer answer;
    if (const auto scripted = Next(Function::Connect)) {
        answer = *scripted;
        *activeProtocol = answer.code == SCARD_S_SUCCESS ? SCARD_PROTOCOL_T1 : 0;
    } else {
        answer.code = TryConnect(context, name, shareMode, protocols, activeProtocol);
    }
    *card = 0; // whatever was there
    if (answer.code == SCARD_S_SUCCESS) {
        *card = answer.handle.value_or(machine.nextCard++);
        machine.cards[*card] = {name, context, shareMode};
    }
    return answer.code;
}

LONG SCardReconnect(SCARDHANDLE card, DWORD shareMode, DWORD protocols, DWORD initialisation, LPDWORD activeProtocol) {
    const Lock lock(machineMutex);
    RecordCall("SCardReconnect(card=", card, ", share=", shareMode, ", protocols=", protocols,
               ", initialisation=", initialisation, ")");
    if (const auto answer = Next(Function::Reconnect)) {
        *activeProtocol = SCARD_PROTOCOL_T0;
        return answer->code;
    }
    Connection* const connection = FindConnection(card);
    if (connection == nullptr) {
        return SCARD_E_INVALID_HANDLE;
    }
    *activeProtocol = 0;
    if (initialisation > SCARD_UNPOWER_CARD) {
        return SCARD_E_INVALID_VALUE;
    }
    if (!ReaderOfCard(card)->cardPresent) {
        return SCARD_E_NO_SMARTCARD;
    }
    *activeProtocol = SCARD_PROTOCOL_T1;
    connection->isReset = false;
    if (initialisation != SCARD_LEAVE_CARD) {
        ResetCard(connection->reader, card);
    }
    return SCARD_S_SUCCESS;
}

LONG SCardDisconnect(SCARDHANDLE card, DWORD disposition) {
    const Lock lock(machineMutex);
    RecordCall("SCardDisconnect(card=", card, ", disposition=", disposition, ")");
    const Connection* const connection = FindConnection(card);
    const bool known = connection != nullptr;
    if (known && disposition != SCARD_LEAVE_CARD) {
        ResetCard(connection->reader);
    }
    machine.cards.erase(card);
    if (const auto answer = Next(Function::Disconnect)) {
        return answer->code;
    }
    return known ? SCARD_S_SUCCESS : SCARD_E_INVALID_HANDLE;
}

LONG SCardBeginTransaction(SCARDHANDLE card) {
    const Lock lock(machineMutex);
    RecordCall("SCardBeginTransaction(card=", card, ")");
    if (const auto answer = Next(Function::BeginTransaction)) {
        return answer->code;
    }
    const long code = CheckCard(card);
    if (code == SCARD_S_SUCCESS) {
        ++machine.cards[card].transactions;
    }
    return code;
}

LONG SCardEndTransaction(SCARDHANDLE card, DWORD disposition) {
    const Lock lock(machineMutex);
    RecordCall("SCardEndTransaction(card=", card, ", disposition=", disposition, ")");
    if (const auto answer = Next(Function::EndTransaction)) {
        return answer->code;
    }
    if (const long code = CheckCard(card); code != SCARD_S_SUCCESS) {
        return code;
    }
    int& transactions = machine.cards[card].transactions;
    if (transactions == 0) {
        return SCARD_E_NOT_TRANSACTED;
    }
    --transactions;
    return SCARD_S_SUCCESS;
}

LONG SCardStatus(SCARDHANDLE card, LPSTR name, LPDWORD nameLength, LPDWORD state, LPDWORD protocol, LPBYTE atr,
                 LPDWORD atrLength) {
    const Lock lock(machineMutex);
    RecordCall("SCardStatus(card=", card, ", name=", Buffer(name), " length=", *nameLength, ", atr=", Buffer(atr),
               " length=", *atrLength, ")");
    if (const auto answer = Next(Function::Status)) {
        *state = answer->state;
        *protocol = SCARD_PROTOCOL_T1;
        return Fill(*answer, atr, *atrLength, atrLength);
    }
    const unsigned long nameCapacity = *nameLength;
    *nameLength = *state = *protocol = 0;
    if (const long code = CheckCard(card); code != SCARD_S_SUCCESS) {
        *atrLength = 0;
        return code;
    }
    const Reader& reader = *ReaderOfCard(card);
    if (name != nullptr) {
        std::strncpy(name, reader.name.c_str(), nameCapacity);
    }
    *nameLength = reader.name.size() + 1;
    *state = reader.cardPresent ? SCARD_PRESENT | SCARD_POWERED | SCARD_NEGOTIABLE : SCARD_ABSENT;
    *protocol = reader.cardPresent ? SCARD_PROTOCOL_T1 : 0;
    const long code = FillHonestly(Answer::Bytes(reader.cardPresent ? reader.atr : ""), atr, atrLength, true);
    return name != nullptr && nameCapacity < *nameLength ? SCARD_E_INSUFFICIENT_BUFFER : code;
}

LONG SCardGetAttrib(SCARDHANDLE card, DWORD attribute, LPBYTE buffer, LPDWORD length) {
    const Lock lock(machineMutex);
    RecordCall("SCardGetAttrib(card=", card, ", ", Code(attribute), ", ", Buffer(buffer), ", length=", *length, ")");
    if (const auto answer = Next(Function::GetAttrib)) {
        return Fill(*answer, buffer, *length, length);
    }
    void* const target = Allocated(buffer, length, MAX_BUFFER_SIZE);
    if (buffer == nullptr) {
        *length = MAX_BUFFER_SIZE;
    }
    if (const long code = CheckCard(card); code != SCARD_S_SUCCESS) {
        return code;
    }
    const Answer answer = FromTable(ReaderOfCard(card)->attributes, attribute);
    return answer.code == SCARD_S_SUCCESS ? FillHonestly(answer, target, length, true) : answer.code;
}

LONG SCardGetStatusChange(SCARDCONTEXT context, DWORD timeout, SCARD_READERSTATE* states, DWORD count) {
    const Lock lock(machineMutex);
    RecordCall("SCardGetStatusChange(context=", context, ", timeout=", timeout, ", readers=", count, ")");
    if (const auto answer = Next(Function::GetStatusChange)) {
        return answer->code;
    }
    for (DWORD i = 0; i < count; ++i) {
        SCARD_READERSTATE& state = states[i];
        const Reader* const reader = FindReader(state.szReader);
        if (reader == nullptr) {
            return SCARD_E_UNKNOWN_READER;
        }
        state.dwEventState = (reader->cardPresent ? SCARD_STATE_PRESENT : SCARD_STATE_EMPTY) | SCARD_STATE_CHANGED |
                             reader->moreState | (IsUsed(reader->name, true) ? SCARD_STATE_EXCLUSIVE : 0) |
                             (IsUsed(reader->name, false) ? SCARD_STATE_INUSE : 0);
        state.cbAtr = reader->cardPresent ? std::min(reader->atr.size(), sizeof(state.rgbAtr)) : 0;
        std::copy_n(reader->atr.begin(), state.cbAtr, state.rgbAtr);
    }
    return SCARD_S_SUCCESS;
}

LONG SCardControl(SCARDHANDLE card, DWORD code, LPCVOID input, DWORD inputLength, LPVOID buffer, DWORD bufferLength,
                  LPDWORD returned) {
    const Lock lock(machineMutex);
    const auto* const bytes = static_cast<const unsigned char*>(input);
    RecordCall("SCardControl(card=", card, ", ", Code(code),
               ", input=", input == nullptr ? std::string("null") : Hex(bytes, inputLength), " length=", inputLength,
               ", ", Buffer(buffer), "=", bufferLength, ")");
    *returned = 0;
    if (const auto answer = Next(Function::Control)) {
        return Fill(*answer, buffer, bufferLength, returned);
    }
    const Reader* const reader = ReaderOfCard(card);
    if (reader == nullptr) {
        return SCARD_E_INVALID_HANDLE;
    }
    *returned = bufferLength;
    return FillHonestly(FromTable(reader->controls, code), buffer, returned, false);
}

LONG SCardTransmit(SCARDHANDLE card, const SCARD_IO_REQUEST* sendPci, LPCBYTE apdu, DWORD apduLength,
                   SCARD_IO_REQUEST* receivePci, LPBYTE buffer, LPDWORD length) {
    const Lock lock(machineMutex);
    RecordCall("SCardTransmit(card=", card, ", protocol=", sendPci->dwProtocol, " length=", sendPci->cbPciLength,
               ", apdu=", Hex(apdu, apduLength), ", pci=", Buffer(receivePci), ", ", Buffer(buffer), "=", *length, ")");
    if (const auto answer = Next(Function::Transmit)) {
        return Fill(*answer, buffer, *length, length);
    }
    long code = CheckCard(card);
    if (code == SCARD_S_SUCCESS && !ReaderOfCard(card)->cardPresent) {
        code = SCARD_E_NO_SMARTCARD;
    } else if (code == SCARD_S_SUCCESS && sendPci->dwProtocol != SCARD_PROTOCOL_T1) {
        code = SCARD_E_PROTO_MISMATCH;
    }
    const Answer answer = code == SCARD_S_SUCCESS ? Answer::Bytes(std::string("\x90\0", 2)) : Answer::Failure(code);
    return FillHonestly(answer, buffer, length, false);
}

// With the PC/SC calls, so that it is linked also where a sanitizer's library has a `sleep` of its own.
unsigned int sleep(unsigned int seconds) {
    const Lock lock(machineMutex);
    machine.trace.push_back({"sleep(" + std::to_string(seconds) + ")", true});
    return 0;
}

} // extern "C"
