#include "diag/ReaderReport.h"

#include "diag/ChildProcess.h"
#include "diag/Packing.h"
#include "diag/ReaderProbe.h"
#include "readers/Logging.h"

#include <tuple>
#include <utility>

namespace Diag {

// How records travel from the child: as lists of their fields.

template <typename SomeAttribute>
auto AttributeFields(SomeAttribute& attribute) {
    return std::tie(attribute.tag, attribute.code, attribute.bytes);
}

template <typename SomeReader>
auto ReaderFields(SomeReader& reader) {
    return std::tie(reader.name, reader.statusCode, reader.state, reader.atr, reader.connected, reader.direct,
                    reader.cardCode, reader.directCode, reader.protocol, reader.attributes, reader.channelCode,
                    reader.channel, reader.hangingCall, reader.asked);
}

/// What is found out last.
template <typename SomeReader>
auto FeatureFields(SomeReader& reader) {
    return std::tie(reader.featuresAsked, reader.featuresCode, reader.features, reader.isSecure);
}

auto Fields(const Attribute& attribute) {
    return AttributeFields(attribute);
}

auto Fields(Attribute& attribute) {
    return AttributeFields(attribute);
}

auto Fields(const Reader& reader) {
    return ReaderFields(reader);
}

auto Fields(Reader& reader) {
    return ReaderFields(reader);
}

namespace {

enum class MessageKind : unsigned char { ContextGot, ReadersListed, ReaderAsked, TurnOver, LogWritten, Done };

template <typename... Values>
std::string Pack(MessageKind kind, const Values&... values) {
    Packer packer;
    packer.Put(kind);
    (packer.Put(values), ...);
    return packer.Bytes();
}

const ParentProcess* g_logChannel = nullptr; // the callbacks of the reader code carry nothing of ours

void LeaveError(const char* text) {
    g_logChannel->Leave(Pack(MessageKind::LogWritten, true, std::string(text)));
}

void LeaveNote(const char* text) {
    g_logChannel->Leave(Pack(MessageKind::LogWritten, false, std::string(text)));
}

/// The child's end: passes everything on, and wakes the parent only for what changes how long it waits.
class Messenger : public ProbeListener {
public:
    explicit Messenger(const ParentProcess& toParent) : parent(toParent) {}

    void OnCall(const char* call) override { parent.Announce(call); }
    void OnContext(long code) override { parent.Send(Pack(MessageKind::ContextGot, code)); }
    void OnReaders(long code, const std::vector<Reader>& readers) override {
        parent.Send(Pack(MessageKind::ReadersListed, code, readers));
    }
    void OnReader(std::size_t number, const Reader& reader, bool isOver) override {
        const bool isTold = isOver && reader.featuresAsked;
        parent.Leave(isTold ? Pack(MessageKind::TurnOver, FeatureFields(reader))
                            : Pack(MessageKind::ReaderAsked, number, isOver, reader));
    }

private:
    const ParentProcess& parent;
};

} // namespace

/// The parent's end.
class ReaderQuestion::Collector {
public:
    Collector(const TimeLimits& allowed, const LogLine& lineLog, bool withChannels)
        : limits(allowed), log(lineLog), asksChannels(withChannels) {
        Start();
    }

    void AwaitService() {
        while (!facts.answered && !isOver) {
            Hear();
        }
    }

    PcscFacts Run() {
        while (!isOver) {
            Hear();
        }
        return std::move(facts);
    }

private:
    void Start() {
        hasContext = false;
        child = std::make_unique<ChildProcess>([this](const ParentProcess& parent) {
            if (log) {
                g_logChannel = &parent;
                Vantor::LibReaderImpl::SetErrorLoggingFunc(LeaveError);
                Vantor::LibReaderImpl::SetMessageLoggingFunc(LeaveNote);
            }
            Messenger messenger(parent);
            ProbeReaders(messenger, facts.readers, next, asksChannels);
            parent.Send(Pack(MessageKind::Done));
        });
    }

    /// Takes one piece of news. When nothing more is to come, isOver.
    void Hear() {
        std::string bytes;
        switch (child->Receive(bytes, hasContext && facts.listed ? limits.reader : limits.service)) {
        case ChildProcess::News::Message:
            Take(bytes);
            break;
        case ChildProcess::News::Interrupted:
            break;
        case ChildProcess::News::Silence:
        case ChildProcess::News::End:
            GiveUp(child->LastStep());
            break;
        }
    }

    void Take(const std::string& bytes) {
        Unpacker message(bytes);
        switch (message.Get<MessageKind>()) {
        case MessageKind::ContextGot:
            TakeContext(message.Get<long>());
            break;
        case MessageKind::ReadersListed:
            message.Get(facts.listCode);
            message.Get(facts.readers);
            facts.listed = true;
            break;
        case MessageKind::ReaderAsked:
            TakeReader(message);
            break;
        case MessageKind::TurnOver:
            message.Get(FeatureFields(facts.readers.at(next)));
            ++next;
            break;
        case MessageKind::LogWritten:
            TakeLogLine(message);
            break;
        case MessageKind::Done:
            isOver = true;
            break;
        }
    }

    void TakeReader(Unpacker& message) {
        const auto number = message.Get<std::size_t>();
        next = message.Get<bool>() ? number + 1 : number;
        message.Get(facts.readers.at(number));
    }

    void TakeLogLine(Unpacker& message) {
        const auto isError = message.Get<bool>();
        log(isError, message.Get<std::string>());
    }

    void TakeContext(long code) {
        facts.answered = true;
        hasContext = code == 0;
        if (!facts.listed) {
            facts.contextCode = code;
        }
    }

    /// The call did not return, or took the child with it: it is the service's fault before it listed its readers, or
    /// if a second child does not even get a context; else that of the reader whose turn it was.
    void GiveUp(const std::string& call) {
        if (!hasContext || !facts.listed) {
            facts.hangingCall = call;
            isOver = true;
            return;
        }
        if (next < facts.readers.size()) {
            facts.readers[next].asked = true;
            facts.readers[next].hangingCall = call;
            ++next;
        }
        // After the last reader too: only another child finds out whether it was the whole service.
        Start();
    }

    TimeLimits limits;
    LogLine log;
    bool asksChannels;
    std::unique_ptr<ChildProcess> child;
    PcscFacts facts;
    std::size_t next = 0; ///< the reader whose turn it is
    bool hasContext = false;
    bool isOver = false; ///< there is nothing more to come
};

ReaderQuestion::ReaderQuestion(const TimeLimits& limits, const LogLine& log, bool asksChannels)
    : collector(std::make_unique<Collector>(limits, log, asksChannels)) {}

ReaderQuestion::~ReaderQuestion() = default;

void ReaderQuestion::AwaitService() {
    collector->AwaitService();
}

PcscFacts ReaderQuestion::Answer() {
    return collector->Run();
}

} // namespace Diag
