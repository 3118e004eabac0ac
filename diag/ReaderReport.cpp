#include "diag/ReaderReport.h"

#include "diag/ChildProcess.h"
#include "diag/ReaderProbe.h"
#include "readers/Logging.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace Diag {

// How records travel from the child: as a binary form of the same fields, which carries any bytes in texts.
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Attribute, tag, code, bytes)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Reader, name, statusCode, state, atr, connected, direct, cardCode, directCode,
                                   protocol, attributes, channelCode, channel, featuresAsked, featuresCode, features,
                                   isSecure, hangingCall, asked)

namespace {

using nlohmann::json;

enum MessageKind : int { Call, ContextGot, ReadersListed, ReaderAsked, LogWritten, Done };

std::string Pack(const json& message) {
    std::string bytes;
    json::to_cbor(message, bytes);
    return bytes;
}

const SendMessage* g_logChannel = nullptr; // the callbacks of the reader code carry nothing of ours

void SendError(const char* text) {
    (*g_logChannel)(Pack({LogWritten, true, text}));
}

void SendNote(const char* text) {
    (*g_logChannel)(Pack({LogWritten, false, text}));
}

/// The child's end: passes everything on.
class Messenger : public ProbeListener {
public:
    explicit Messenger(const SendMessage& sender) : send(sender) {}

    void OnCall(const char* call) override { send(Pack({Call, call})); }
    void OnContext(long code) override { send(Pack({ContextGot, code})); }
    void OnReaders(long code, const std::vector<Reader>& readers) override {
        send(Pack({ReadersListed, code, readers}));
    }
    void OnReader(std::size_t number, const Reader& reader) override { send(Pack({ReaderAsked, number, reader})); }

private:
    const SendMessage& send;
};

/// The parent's end.
class Collector {
public:
    Collector(const TimeLimits& allowed, const LogLine& lineLog) : limits(allowed), log(lineLog) {}

    PcscFacts Run() {
        while (AskOnce()) {
        }
        return std::move(facts);
    }

private:
    /// One child's life. @return whether readers are left that another child should ask
    bool AskOnce() {
        hasContext = isDone = false;
        ChildProcess child([this](const SendMessage& send) {
            if (log) {
                g_logChannel = &send;
                Vantor::LibReaderImpl::SetErrorLoggingFunc(SendError);
                Vantor::LibReaderImpl::SetMessageLoggingFunc(SendNote);
            }
            Messenger messenger(send);
            ProbeReaders(messenger, facts.readers, next);
            send(Pack({Done}));
        });
        std::string bytes;
        for (;;) {
            switch (child.Receive(bytes, hasContext && isListed ? limits.reader : limits.service)) {
            case ChildProcess::News::Message:
                Take(json::from_cbor(bytes));
                break;
            case ChildProcess::News::Interrupted:
                break;
            case ChildProcess::News::Silence:
                return GiveUp();
            case ChildProcess::News::End:
                return isDone ? false : GiveUp();
            }
        }
    }

    void Take(const json& message) {
        switch (message.at(0).get<int>()) {
        case Call:
            call = message.at(1).get<std::string>();
            break;
        case ContextGot:
            TakeContext(message.at(1).get<long>());
            break;
        case ReadersListed:
            facts.listCode = message.at(1).get<long>();
            facts.readers = message.at(2).get<std::vector<Reader>>();
            isListed = true;
            break;
        case ReaderAsked:
            next = message.at(1).get<std::size_t>();
            facts.readers.at(next) = message.at(2).get<Reader>();
            break;
        case LogWritten:
            log(message.at(1).get<bool>(), message.at(2).get<std::string>());
            break;
        default:
            isDone = true;
            break;
        }
    }

    void TakeContext(long code) {
        facts.answered = true;
        hasContext = code == 0;
        if (!isListed) {
            facts.contextCode = code;
        }
    }

    /// The call did not return, or took the child with it: it is the service's fault before it listed its readers, or
    /// if a second child does not even get a context; else that of the reader whose turn it was.
    bool GiveUp() {
        if (!hasContext || !isListed) {
            facts.hangingCall = call;
            return false;
        }
        if (next < facts.readers.size()) {
            facts.readers[next].hangingCall = call;
            ++next;
        }
        // After the last reader too: only another child finds out whether it was the whole service.
        return true;
    }

    TimeLimits limits;
    LogLine log;
    PcscFacts facts;
    std::string call;
    std::size_t next = 0;
    bool hasContext = false;
    bool isListed = false;
    bool isDone = false;
};

} // namespace

PcscFacts AskReaders(const TimeLimits& limits, const LogLine& log) {
    return Collector(limits, log).Run();
}

} // namespace Diag
