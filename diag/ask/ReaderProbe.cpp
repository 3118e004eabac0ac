#include "diag/ask/ReaderProbe.h"

#include "diag/record/PcscNames.h"
#include "readers/BaseCspReader.h"
#include "readers/EnumReaders.h"
#include "readers/Logging.h"
#include "util/ByteArray.h"

#include <reader.h>
#include <winscard.h>

#include <algorithm>
#include <array>

namespace Diag {

namespace {

using Vantor::LibReaderImpl;

constexpr unsigned long AnyProtocol = SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1;

/// Gives the context back at the end.
class Context {
public:
    explicit Context(ProbeListener& listener) {
        listener.OnCall("SCardEstablishContext");
        code = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &handle);
        if (code != SCARD_S_SUCCESS) {
            LibReaderImpl::LogErrorSCardError("cannot establish scard context", code);
        }
    }
    ~Context() {
        if (code == SCARD_S_SUCCESS) {
            SCardReleaseContext(handle);
        }
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    SCARDCONTEXT handle = 0;
    long code = SCARD_S_SUCCESS;
};

/// A connection that takes nothing from other programs: never exclusive, and the card stays as it is when it ends.
/// The reader classes' own Disconnect takes the card's power, which would cut off whoever uses it.
class Connection {
public:
    explicit Connection(SCARDCONTEXT usedContext) : context(usedContext) {}
    ~Connection() { Close(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    long Open(const std::string& name, unsigned long mode, unsigned long protocols) {
        const long code = SCardConnect(context, name.c_str(), mode, protocols, &handle, &protocol);
        if (code != SCARD_S_SUCCESS) {
            handle = 0;
            LibReaderImpl::LogErrorSCardError("error in SCardConnect", code);
        }
        return code;
    }

    void Close() {
        if (handle != 0) {
            SCardDisconnect(handle, SCARD_LEAVE_CARD);
            handle = 0;
        }
    }

    SCARDCONTEXT context;
    SCARDHANDLE handle = 0;
    unsigned long protocol = 0;
};

/// One reader's turn.
class Turn {
public:
    Turn(ProbeListener& heard, SCARDCONTEXT context, std::size_t ownNumber, Reader& ownReader)
        : listener(heard), connection(context), number(ownNumber), reader(ownReader) {}

    void Run(bool asksChannel) {
        LibReaderImpl::LogMessage(AsksReader + reader.name);
        reader.asked = true;
        Connect();
        if (reader.connected) {
            ReadAtr();
            ReadAttributes();
            if (asksChannel) {
                reader.channelCode = ReadAttribute(SCARD_ATTR_CHANNEL_ID, reader.channel);
            }
            listener.OnReader(number, reader, false);
            ReadFeatures();
            listener.OnCall("SCardDisconnect");
            connection.Close();
        }
        listener.OnReader(number, reader, true);
    }

private:
    bool HasCard() const { return (reader.state & SCARD_STATE_PRESENT) != 0; }

    /// With a card, as the window does; without one, or with one that does not answer, the reader alone.
    void Connect() {
        listener.OnCall("SCardConnect");
        if (HasCard()) {
            reader.cardCode = connection.Open(reader.name, SCARD_SHARE_SHARED, AnyProtocol);
            reader.connected = reader.cardCode == SCARD_S_SUCCESS;
        }
        // What another program holds for itself alone is not asked a second time.
        if (!reader.connected && reader.cardCode != SCARD_E_SHARING_VIOLATION) {
            reader.directCode = connection.Open(reader.name, SCARD_SHARE_DIRECT, 0);
            reader.connected = reader.direct = reader.directCode == SCARD_S_SUCCESS;
        }
        reader.protocol = reader.connected && !reader.direct ? connection.protocol : 0;
    }

    /// The PIN-pad queries and attributes of the reader code over our own handles, which it neither opens nor closes.
    Vantor::BaseCspReader Queries() const { return {connection.context, connection.handle}; }

    void ReadAtr() {
        if (reader.direct || !reader.atr.empty()) {
            return;
        }
        // A card that got its power only with the connection.
        listener.OnCall("SCardStatus");
        Vantor::ByteArray atr;
        if (Queries().GetAtr(atr)) {
            reader.atr.assign(atr.begin(), atr.end());
        }
    }

    void ReadAttributes() {
        for (const AttributeName& name : AttributeNames) {
            Attribute attribute{name.tag, 0, {}};
            attribute.code = ReadAttribute(name.tag, attribute.bytes);
            reader.attributes.push_back(attribute);
        }
    }

    /// In one call, as large as attributes get; the reader classes ask for the length first.
    long ReadAttribute(unsigned long tag, std::string& bytes) const {
        listener.OnCall("SCardGetAttrib");
        std::array<unsigned char, MAX_BUFFER_SIZE> buffer{};
        unsigned long length = buffer.size();
        const long code = SCardGetAttrib(connection.handle, tag, buffer.data(), &length);
        if (code == SCARD_S_SUCCESS) {
            bytes.assign(buffer.begin(),
                         buffer.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(length, buffer.size())));
        }
        return code;
    }

    void ReadFeatures() {
        listener.OnCall("SCardControl");
        Vantor::BaseCspReader queries = Queries();
        queries.SetConfig(true, false, false);
        reader.isSecure = queries.IsSecure();
        reader.featuresAsked = true;
        reader.featuresCode = queries.FeatureCode();
        reader.features.assign(queries.FeatureAnswer().begin(), queries.FeatureAnswer().end());
    }

    ProbeListener& listener;
    Connection connection;
    std::size_t number;
    Reader& reader;
};

void TakeState(Reader& reader, long code, const SCARD_READERSTATE& state) {
    reader.statusCode = code;
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("error in SCardGetStatusChange", code);
        return;
    }
    reader.state = state.dwEventState;
    reader.atr.assign(reinterpret_cast<const char*>(state.rgbAtr),
                      std::min<std::size_t>(state.cbAtr, sizeof(state.rgbAtr)));
}

/// Card states as they are before this program connects: afterwards every reader would be in use.
void AskStates(ProbeListener& listener, SCARDCONTEXT context, std::vector<Reader>& readers) {
    std::vector<SCARD_READERSTATE> states(readers.size());
    for (std::size_t i = 0; i < readers.size(); ++i) {
        states[i].szReader = readers[i].name.c_str();
    }
    listener.OnCall("SCardGetStatusChange");
    const bool isAll = SCardGetStatusChange(context, 0, states.data(), states.size()) == SCARD_S_SUCCESS;
    for (std::size_t i = 0; i < readers.size(); ++i) {
        // One reader that has just gone fails the question for all.
        const long code = isAll ? SCARD_S_SUCCESS : SCardGetStatusChange(context, 0, &states[i], 1);
        TakeState(readers[i], code, states[i]);
    }
}

std::vector<Reader> ListReaders(ProbeListener& listener, SCARDCONTEXT context) {
    std::vector<std::string> names;
    listener.OnCall("SCardListReaders");
    const long code = Vantor::ListPCSCReaderNames(context, names);
    std::vector<Reader> readers(names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        readers[i].name = names[i];
        readers[i].isSecureByName = Vantor::PCSCIsSecureByName(names[i]);
    }
    AskStates(listener, context, readers);
    listener.OnReaders(code, readers);
    return readers;
}

} // namespace

void ProbeReaders(ProbeListener& listener, std::vector<Reader> known, const TakeTurn& takeTurn, bool asksChannels) {
    const Context context(listener);
    listener.OnContext(context.code);
    if (context.code != SCARD_S_SUCCESS) {
        return;
    }
    std::vector<Reader> readers = known.empty() ? ListReaders(listener, context.handle) : std::move(known);
    for (std::size_t i = takeTurn(); i < readers.size(); i = takeTurn()) {
        listener.OnTurn(i);
        Turn(listener, context.handle, i, readers[i]).Run(asksChannels);
    }
}

} // namespace Diag
