// The stand-in for the PC/SC library held against the real one: the same calls on the same readers, the same results.
#include "tests/fakes/FakePcsc.h"

#include "tests/support/Pcscd.h"
#include "tests/support/SimulatedReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <sstream>
#include <stdexcept>

#include <dlfcn.h>
#include <reader.h>
#include <winscard.h>

namespace {

namespace Pcscd = Support::Pcscd;
using Support::SimulatedReader;

/// The functions of one of the two libraries.
struct Library {
    decltype(&SCardEstablishContext) establish;
    decltype(&SCardReleaseContext) release;
    decltype(&SCardListReaders) list;
    decltype(&SCardFreeMemory) free;
    decltype(&SCardConnect) connect;
    decltype(&SCardReconnect) reconnect;
    decltype(&SCardDisconnect) disconnect;
    decltype(&SCardBeginTransaction) begin;
    decltype(&SCardEndTransaction) end;
    decltype(&SCardStatus) status;
    decltype(&SCardGetAttrib) attribute;
    decltype(&SCardGetStatusChange) change;
    decltype(&SCardControl) control;
    decltype(&SCardTransmit) transmit;
};

const Library standIn = {SCardEstablishContext, SCardReleaseContext, SCardListReaders, SCardFreeMemory,
                         SCardConnect,          SCardReconnect,      SCardDisconnect,  SCardBeginTransaction,
                         SCardEndTransaction,   SCardStatus,         SCardGetAttrib,   SCardGetStatusChange,
                         SCardControl,          SCardTransmit};

template <class Function>
void Find(void* file, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(file, name));
    if (function == nullptr) {
        throw std::runtime_error(std::string("libpcsclite.so.1 has no ") + name);
    }
}

/// Loaded beside the stand-in, which has the same names.
Library RealLibrary() {
    void* const file = dlopen("libpcsclite.so.1", RTLD_NOW | RTLD_LOCAL);
    if (file == nullptr) {
        throw std::runtime_error(dlerror());
    }
    Library real{};
    Find(file, "SCardEstablishContext", real.establish);
    Find(file, "SCardReleaseContext", real.release);
    Find(file, "SCardListReaders", real.list);
    Find(file, "SCardFreeMemory", real.free);
    Find(file, "SCardConnect", real.connect);
    Find(file, "SCardReconnect", real.reconnect);
    Find(file, "SCardDisconnect", real.disconnect);
    Find(file, "SCardBeginTransaction", real.begin);
    Find(file, "SCardEndTransaction", real.end);
    Find(file, "SCardStatus", real.status);
    Find(file, "SCardGetAttrib", real.attribute);
    Find(file, "SCardGetStatusChange", real.change);
    Find(file, "SCardControl", real.control);
    Find(file, "SCardTransmit", real.transmit);
    return real;
}

const char* const readerA = "Vantor Simulated Reader 1 00 00"; // with a card
const char* const readerB = "Vantor Simulated Reader 2 01 00"; // empty
constexpr DWORD anyProtocol = SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1;
constexpr long untouched = 0x5A5A;
constexpr unsigned char filler = 0xEE;
using Buffer = std::array<unsigned char, 80>;

/// Makes the calls and keeps what they answered. Handles have no value of their own here: 0, as it was, or some.
class Session {
public:
    Session(const Library& usedLibrary, bool usesRealReaders) : library(usedLibrary), isReal(usesRealReaders) {}
    ~Session() {
        for (const SCARDCONTEXT context : contexts) {
            library.release(context);
        }
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    SCARDCONTEXT Establish(DWORD scope = SCARD_SCOPE_SYSTEM) {
        SCARDCONTEXT context = untouched;
        const LONG code = library.establish(scope, nullptr, nullptr, &context);
        if (code == SCARD_S_SUCCESS) {
            contexts.push_back(context);
        }
        Tell("establish ", scope, code, " context=", Handle(context));
        return context;
    }
    void Release(SCARDCONTEXT context) { Tell("release ", Handle(context), library.release(context)); }

    void List(SCARDCONTEXT context, DWORD room) {
        Buffer bytes = Fresh();
        DWORD length = room;
        const LONG code = library.list(context, nullptr, reinterpret_cast<char*>(bytes.data()), &length);
        Tell("list room=", room, code, " length=", length, Text(bytes));
    }
    void ListLength(SCARDCONTEXT context, DWORD before, const char* groups = nullptr) {
        DWORD length = before;
        const LONG code = library.list(context, groups, nullptr, &length);
        Tell("list length ", before, code, " length=", length);
    }
    void ListAllocated(SCARDCONTEXT context) {
        char* names = nullptr;
        DWORD length = SCARD_AUTOALLOCATE;
        const LONG code = library.list(context, nullptr, reinterpret_cast<char*>(&names), &length);
        Tell("list allocated ", "", code, " length=", length, Allocated(names, length));
        Free(context, names);
    }

    SCARDHANDLE Connect(SCARDCONTEXT context, const char* name, DWORD mode = SCARD_SHARE_SHARED,
                        DWORD protocols = anyProtocol) {
        SCARDHANDLE card = untouched;
        DWORD protocol = untouched;
        const LONG code = library.connect(context, name, mode, protocols, &card, &protocol);
        Tell("connect ", name == nullptr ? "null" : name, code, " card=", Handle(card), " protocol=", protocol);
        return card;
    }
    void Reconnect(SCARDHANDLE card, DWORD initialisation, DWORD mode = SCARD_SHARE_SHARED,
                   DWORD protocols = anyProtocol) {
        DWORD protocol = untouched;
        const LONG code = library.reconnect(card, mode, protocols, initialisation, &protocol);
        Tell("reconnect ", initialisation, code, " protocol=", protocol);
    }
    void Disconnect(SCARDHANDLE card, DWORD disposition = SCARD_LEAVE_CARD) {
        Tell("disconnect ", disposition, library.disconnect(card, disposition));
    }
    void Begin(SCARDHANDLE card) { Tell("begin", "", library.begin(card)); }
    void End(SCARDHANDLE card, DWORD disposition = SCARD_LEAVE_CARD) {
        Tell("end ", disposition, library.end(card, disposition));
    }

    void Status(SCARDHANDLE card, DWORD nameRoom, DWORD atrRoom) {
        Buffer name = Fresh();
        Buffer atr = Fresh();
        DWORD nameLength = nameRoom;
        DWORD atrLength = atrRoom;
        DWORD state = untouched;
        DWORD protocol = untouched;
        const LONG code =
            library.status(card, nameRoom == 0 ? nullptr : reinterpret_cast<char*>(name.data()), &nameLength, &state,
                           &protocol, atrRoom == 0 ? nullptr : atr.data(), &atrLength);
        // The upper half of the state counts what happened to the card.
        Tell("status ", atrRoom, code, " name length=", nameLength, Text(name), " state=", state & 0xFFFF,
             " protocol=", protocol, " atr length=", atrLength, Text(atr));
    }
    void Attribute(SCARDHANDLE card, DWORD tag, DWORD room) {
        Buffer bytes = Fresh();
        DWORD length = room;
        const LONG code = library.attribute(card, tag, room == 0 ? nullptr : bytes.data(), &length);
        Tell("attribute ", tag, code, " room=", room, " length=", length, Text(bytes));
    }
    void AttributeAllocated(SCARDCONTEXT context, SCARDHANDLE card, DWORD tag) {
        char* value = nullptr;
        DWORD length = SCARD_AUTOALLOCATE;
        const LONG code = library.attribute(card, tag, reinterpret_cast<unsigned char*>(&value), &length);
        // After a failure the real library leaves whatever was in its memory.
        Tell("attribute allocated ", tag, code, " length=", length,
             code == SCARD_S_SUCCESS ? Allocated(value, length)
             : value == nullptr      ? " none"
                                     : " some");
        Free(context, value);
    }
    void Control(SCARDHANDLE card, DWORD control, DWORD room, const std::string& input = {}) {
        Buffer bytes = Fresh();
        DWORD length = untouched;
        const LONG code = library.control(card, control, input.empty() ? nullptr : input.data(), input.size(),
                                          bytes.data(), room, &length);
        Tell("control ", control, code, " room=", room, " length=", length, Text(bytes));
    }
    void Transmit(SCARDHANDLE card, const std::string& apdu, DWORD room,
                  const SCARD_IO_REQUEST* header = SCARD_PCI_T1) {
        Buffer bytes = Fresh();
        DWORD length = room;
        const LONG code = library.transmit(card, header, reinterpret_cast<const unsigned char*>(apdu.data()),
                                           apdu.size(), nullptr, bytes.data(), &length);
        Tell("transmit ", apdu.size(), code, " room=", room, " length=", length, Text(bytes));
    }
    void State(SCARDCONTEXT context, const char* name) {
        SCARD_READERSTATE state{};
        state.szReader = name;
        const LONG code = library.change(context, 0, &state, 1);
        Tell("state ", name, code, " event=", state.dwEventState & 0xFFFF, " atr length=", state.cbAtr);
    }

    /// Takes the first reader's card out, or puts it back.
    void MoveCard(bool in) {
        if (!isReal) {
            FakePcsc::MoveCard(0, in);
            return;
        }
        in ? SimulatedReader(0).insertCard() : SimulatedReader(0).removeCard();
        SCARDCONTEXT context = 0;
        library.establish(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context);
        SCARD_READERSTATE state{};
        state.szReader = readerA;
        state.dwCurrentState = in ? SCARD_STATE_EMPTY : SCARD_STATE_PRESENT;
        EXPECT_EQ(library.change(context, 10000, &state, 1), SCARD_S_SUCCESS);
        library.release(context);
    }

    [[nodiscard]] std::vector<std::string> Answers() const { return answers; }

private:
    static Buffer Fresh() {
        Buffer buffer{};
        buffer.fill(filler);
        return buffer;
    }
    static std::string Handle(long handle) { return handle == 0 ? "0" : handle == untouched ? "untouched" : "some"; }
    static std::string Hex(const unsigned char* bytes, std::size_t length) {
        std::string text = " ";
        for (std::size_t i = 0; i < length; ++i) {
            std::array<char, 4> digits{};
            std::snprintf(digits.data(), digits.size(), "%02x", bytes[i]);
            text += digits.data();
        }
        return text;
    }
    /// The bytes up to the last one that was written.
    static std::string Text(const Buffer& bytes) {
        const auto end = std::find_if(bytes.rbegin(), bytes.rend(), [](unsigned char byte) { return byte != filler; });
        return Hex(bytes.data(), static_cast<std::size_t>(bytes.rend() - end));
    }
    static std::string Allocated(const char* bytes, DWORD length) {
        return bytes == nullptr ? " none" : Hex(reinterpret_cast<const unsigned char*>(bytes), length);
    }
    void Free(SCARDCONTEXT context, const char* memory) {
        if (memory != nullptr) {
            Tell("free", "", library.free(context, memory));
        }
    }
    template <class What, class... More>
    void Tell(const char* call, const What& what, LONG code, const More&... more) {
        std::ostringstream line;
        line << call << what << ": 0x" << std::hex << static_cast<unsigned long>(code) << std::dec;
        ((line << more), ...);
        answers.push_back(line.str());
    }

    Library library;
    bool isReal;
    std::vector<SCARDCONTEXT> contexts;
    std::vector<std::string> answers;
};

struct Row {
    const char* name;
    void (*calls)(Session&);
    int readers = 2;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

const std::string selectApdu("\x00\xA4\x04\x00", 4);

const Row rows[] = {
    {"Contexts",
     [](Session& session) {
         for (const DWORD scope : {0, 1, 2, 3, 17}) {
             session.Establish(scope);
         }
         const SCARDCONTEXT context = session.Establish();
         session.Release(context);
         session.Release(context);
         session.Release(0);
         session.ListLength(context, 7);
         session.List(context, 64);
         session.Connect(context, readerA);
     }},
    {"ListsOfNames",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         session.ListLength(context, 0);
         session.ListLength(context, 7);
         session.ListLength(context, 0, "group");
         for (const DWORD room : {65, 66, 64, 1, 0}) {
             session.List(context, room);
         }
         session.ListAllocated(context);
     }},
    {"NoReaders",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         session.ListLength(context, 0);
         session.List(context, 64);
         session.ListAllocated(context);
         session.Connect(context, readerA);
         session.State(context, readerA);
     },
     0},
    {"Connections",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         session.Connect(context, nullptr);
         session.Connect(context, "");
         session.Connect(context, "No such reader");
         session.Connect(context, readerB);
         session.Connect(context, readerB, SCARD_SHARE_EXCLUSIVE);
         session.Connect(context, readerB, SCARD_SHARE_DIRECT, 0);
         session.Connect(context, readerA, SCARD_SHARE_SHARED, 0);
         session.Connect(context, readerA, SCARD_SHARE_SHARED, SCARD_PROTOCOL_T0);
         session.Connect(context, readerA, SCARD_SHARE_SHARED, SCARD_PROTOCOL_T1);
         session.Connect(context, readerA, 17);
         session.Connect(context, readerA, SCARD_SHARE_DIRECT, 0);
         session.Connect(0, readerA);
         session.Connect(0, nullptr);
         const SCARDHANDLE card = session.Connect(context, readerA);
         session.Disconnect(card);
         session.Disconnect(card);
         session.Disconnect(0);
         session.Begin(card);
         session.Status(card, 0, 33);
         session.Reconnect(card, SCARD_LEAVE_CARD);
     }},
    {"ExclusiveConnections",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         const SCARDCONTEXT other = session.Establish();
         const SCARDHANDLE alone = session.Connect(context, readerA, SCARD_SHARE_EXCLUSIVE);
         session.Connect(other, readerA);
         session.Connect(other, readerA, SCARD_SHARE_EXCLUSIVE);
         session.Disconnect(alone);
         session.Connect(other, readerA);
         session.Connect(context, readerA, SCARD_SHARE_EXCLUSIVE);
     }},
    {"HandlesOfAReleasedContext",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         const SCARDHANDLE card = session.Connect(context, readerA);
         const SCARDHANDLE other = session.Connect(session.Establish(), readerA);
         session.Release(context);
         session.Status(card, 0, 33);
         session.Disconnect(card);
         session.Status(other, 0, 33);
     }},
    {"Status",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         const SCARDHANDLE card = session.Connect(context, readerA);
         session.Status(card, 0, 33);
         session.Status(card, 0, 32);
         session.Status(card, 0, 4);
         session.Status(card, 0, 3);
         session.Status(card, 0, 0);
         session.Status(card, 64, 33);
         session.Status(card, 5, 33);
         session.Status(0, 0, 33);
         session.Status(context, 0, 33);
         session.Status(session.Connect(context, readerB, SCARD_SHARE_DIRECT, 0), 0, 33);
     }},
    {"Attributes",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         const SCARDHANDLE card = session.Connect(context, readerA);
         for (const DWORD room : {0, 6, 5, 64}) {
             session.Attribute(card, SCARD_ATTR_VENDOR_NAME, room);
         }
         session.Attribute(card, SCARD_ATTR_DEVICE_UNIT, 0);
         session.Attribute(card, SCARD_ATTR_DEVICE_UNIT, 64);
         session.Attribute(card, SCARD_ATTR_DEVICE_FRIENDLY_NAME_A, 64);
         session.Attribute(card, SCARD_ATTR_ICC_PRESENCE, 8);
         session.Attribute(0, SCARD_ATTR_VENDOR_NAME, 0);
         session.Attribute(0, SCARD_ATTR_VENDOR_NAME, 64);
         session.AttributeAllocated(context, card, SCARD_ATTR_VENDOR_NAME);
         session.AttributeAllocated(context, card, SCARD_ATTR_DEVICE_UNIT);
     }},
    {"Controls",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         const SCARDHANDLE card = session.Connect(context, readerA);
         session.Control(card, CM_IOCTL_GET_FEATURE_REQUEST, 64);
         session.Control(card, 0x42330006, 64, "input");
         session.Control(card, 0x42330006, 2);
         session.Control(card, 0x42330006, 1);
         session.Control(card, 0x42330007, 64);
         session.Control(0, CM_IOCTL_GET_FEATURE_REQUEST, 64);
         session.Control(session.Connect(context, readerB, SCARD_SHARE_DIRECT, 0), 0x42330006, 64);
     }},
    {"Apdus",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         const SCARDHANDLE card = session.Connect(context, readerA);
         session.Transmit(card, selectApdu, 64);
         session.Transmit(card, selectApdu, 2);
         session.Transmit(card, selectApdu, 1);
         session.Transmit(card, selectApdu, 64, SCARD_PCI_T0);
         session.Transmit(card, "", 64);
         session.Transmit(0, selectApdu, 64);
         session.Transmit(session.Connect(context, readerB, SCARD_SHARE_DIRECT, 0), selectApdu, 64);
     }},
    {"Reconnections",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         const SCARDHANDLE card = session.Connect(context, readerA);
         for (const DWORD initialisation : {SCARD_LEAVE_CARD, SCARD_RESET_CARD, SCARD_UNPOWER_CARD}) {
             session.Reconnect(card, initialisation);
             session.Status(card, 0, 33);
         }
         session.Reconnect(card, 17);
         session.Reconnect(0, SCARD_RESET_CARD);
     }},
    {"Transactions",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         const SCARDHANDLE card = session.Connect(context, readerA);
         session.End(card);
         session.Begin(card);
         session.Begin(card);
         session.End(card);
         session.End(card);
         session.End(card);
         session.Begin(0);
         session.End(0);
     }},
    {"CardsThatAnotherResets",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         const SCARDHANDLE card = session.Connect(context, readerA);
         const SCARDHANDLE other = session.Connect(session.Establish(), readerA);
         session.Reconnect(other, SCARD_RESET_CARD);
         session.Status(card, 0, 33);
         session.Attribute(card, SCARD_ATTR_VENDOR_NAME, 64);
         session.Control(card, 0x42330006, 64);
         session.Transmit(card, selectApdu, 64);
         session.Begin(card);
         session.End(card);
         session.Reconnect(card, SCARD_LEAVE_CARD);
         session.Status(card, 0, 33);
         session.Status(other, 0, 33);
         session.Disconnect(other, SCARD_UNPOWER_CARD);
         session.Transmit(card, selectApdu, 64);
         session.Disconnect(card);
     }},
    {"CardsThatAreTakenOut",
     [](Session& session) {
         const SCARDCONTEXT context = session.Establish();
         const SCARDHANDLE card = session.Connect(context, readerA);
         session.State(context, readerA);
         session.State(context, readerB);
         session.State(context, "No such reader");
         session.MoveCard(false);
         session.Status(card, 0, 33);
         session.Attribute(card, SCARD_ATTR_VENDOR_NAME, 64);
         session.Control(card, 0x42330006, 64);
         session.Transmit(card, selectApdu, 64);
         session.Begin(card);
         session.End(card);
         session.Connect(context, readerA);
         session.Reconnect(card, SCARD_RESET_CARD);
         session.MoveCard(true);
         session.Status(card, 0, 33);
         session.Transmit(card, selectApdu, 64);
         session.Connect(context, readerA);
         session.Reconnect(card, SCARD_RESET_CARD);
         session.Status(card, 0, 33);
         session.MoveCard(false);
         session.Disconnect(card);
     }},
};

class FakePcscRows : public testing::TestWithParam<Row> {};

TEST_P(FakePcscRows, AnswerAsTheRealLibraryDoes) {
    const std::vector<SimulatedReader> simulated = Pcscd::serve(GetParam().readers, "0");
    for (const SimulatedReader& reader : simulated) {
        reader.write("controls", "42330006 -> 90 00\n");
        reader.write("apdus", "* -> 90 00\n");
    }
    Session real(RealLibrary(), true);
    GetParam().calls(real);

    FakePcsc::Reset();
    for (std::size_t number = 0; number < simulated.size(); ++number) {
        const char* const name = number == 0 ? readerA : readerB;
        FakePcsc::AddReader({name,
                             number == 0,
                             "\x3B\x80\x01\x81",
                             {{SCARD_ATTR_VENDOR_NAME, "Vantor"},
                              {SCARD_ATTR_ICC_PRESENCE, "\x02"},
                              {SCARD_ATTR_DEVICE_FRIENDLY_NAME_A, name + std::string(1, '\0')}},
                             {{0x42330006, std::string("\x90\x00", 2)}}});
    }
    Session fake(standIn, false);
    GetParam().calls(fake);

    EXPECT_THAT(fake.Answers(), testing::ElementsAreArray(real.Answers()));
}

INSTANTIATE_TEST_SUITE_P(All, FakePcscRows, testing::ValuesIn(rows),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
