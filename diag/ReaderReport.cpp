#include "diag/ReaderReport.h"

#include "diag/ChildProcess.h"
#include "diag/ReaderProbe.h"
#include "readers/Logging.h"

#include <nlohmann/json.hpp>

#include <tuple>
#include <utility>

namespace Diag {

using nlohmann::json;

// How records travel from the child: as the binary form of lists of their fields, which carries any bytes in texts.
// Names for the fields would be most of the work.

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

template <typename... Fields>
json ToList(const std::tuple<Fields&...>& fields) {
    return std::apply([](const auto&... field) { return json::array({field...}); }, fields);
}

template <typename... Fields>
void FromList(const json& list, const std::tuple<Fields&...>& fields) {
    std::size_t i = 0;
    std::apply([&](auto&... field) { (list.at(i++).get_to(field), ...); }, fields);
}

void to_json(json& list, const Attribute& attribute) {
    list = ToList(AttributeFields(attribute));
}

void from_json(const json& list, Attribute& attribute) {
    FromList(list, AttributeFields(attribute));
}

void to_json(json& list, const Reader& reader) {
    list = ToList(ReaderFields(reader));
}

void from_json(const json& list, Reader& reader) {
    FromList(list, ReaderFields(reader));
}

namespace {

enum MessageKind : int { ContextGot, ReadersListed, ReaderAsked, TurnOver, LogWritten, Done };

std::string Pack(const json& message) {
    std::string bytes;
    json::to_cbor(message, bytes);
    return bytes;
}

const ParentProcess* g_logChannel = nullptr; // the callbacks of the reader code carry nothing of ours

void SendError(const char* text) {
    g_logChannel->Send(Pack({LogWritten, true, text}));
}

void SendNote(const char* text) {
    g_logChannel->Send(Pack({LogWritten, false, text}));
}

/// The child's end: passes everything on.
class Messenger : public ProbeListener {
public:
    explicit Messenger(const ParentProcess& toParent) : parent(toParent) {}

    void OnCall(const char* call) override { parent.Announce(call); }
    void OnContext(long code) override { parent.Send(Pack({ContextGot, code})); }
    void OnReaders(long code, const std::vector<Reader>& readers) override {
        parent.Send(Pack({ReadersListed, code, readers}));
    }
    void OnReader(std::size_t number, const Reader& reader, bool isOver) override {
        const bool isTold = isOver && reader.featuresAsked;
        parent.Send(
            Pack(isTold ? json{TurnOver, ToList(FeatureFields(reader))} : json{ReaderAsked, number, reader, isOver}));
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

    PcscFacts Run() {
        while (Listen()) {
            Start();
        }
        return std::move(facts);
    }

private:
    void Start() {
        hasContext = isDone = false;
        child = std::make_unique<ChildProcess>([this](const ParentProcess& parent) {
            if (log) {
                g_logChannel = &parent;
                Vantor::LibReaderImpl::SetErrorLoggingFunc(SendError);
                Vantor::LibReaderImpl::SetMessageLoggingFunc(SendNote);
            }
            Messenger messenger(parent);
            ProbeReaders(messenger, facts.readers, next, asksChannels);
            parent.Send(Pack({Done}));
        });
    }

    /// The rest of the child's life. @return whether readers are left that another child should ask
    bool Listen() {
        std::string bytes;
        for (;;) {
            switch (child->Receive(bytes, hasContext && facts.listed ? limits.reader : limits.service)) {
            case ChildProcess::News::Message:
                Take(json::from_cbor(bytes));
                break;
            case ChildProcess::News::Interrupted:
                break;
            case ChildProcess::News::Silence:
                return GiveUp(child->LastStep());
            case ChildProcess::News::End:
                return !isDone && GiveUp(child->LastStep());
            }
        }
    }

    void Take(const json& message) {
        switch (message.at(0).get<int>()) {
        case ContextGot:
            TakeContext(message.at(1).get<long>());
            break;
        case ReadersListed:
            facts.listCode = message.at(1).get<long>();
            facts.readers = message.at(2).get<std::vector<Reader>>();
            facts.listed = true;
            break;
        case ReaderAsked:
            TakeReader(message);
            break;
        case TurnOver:
            FromList(message.at(1), FeatureFields(facts.readers.at(next)));
            ++next;
            break;
        case LogWritten:
            log(message.at(1).get<bool>(), message.at(2).get<std::string>());
            break;
        default:
            isDone = true;
            break;
        }
    }

    void TakeReader(const json& message) {
        const auto number = message.at(1).get<std::size_t>();
        facts.readers.at(number) = message.at(2).get<Reader>();
        next = message.at(3).get<bool>() ? number + 1 : number;
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
    bool GiveUp(const std::string& call) {
        if (!hasContext || !facts.listed) {
            facts.hangingCall = call;
            return false;
        }
        if (next < facts.readers.size()) {
            facts.readers[next].asked = true;
            facts.readers[next].hangingCall = call;
            ++next;
        }
        // After the last reader too: only another child finds out whether it was the whole service.
        return true;
    }

    TimeLimits limits;
    LogLine log;
    bool asksChannels;
    std::unique_ptr<ChildProcess> child;
    PcscFacts facts;
    std::size_t next = 0; ///< the reader whose turn it is
    bool hasContext = false;
    bool isDone = false;
};

ReaderQuestion::ReaderQuestion(const TimeLimits& limits, const LogLine& log, bool asksChannels)
    : collector(std::make_unique<Collector>(limits, log, asksChannels)) {}

ReaderQuestion::~ReaderQuestion() = default;

PcscFacts ReaderQuestion::Answer() {
    return collector->Run();
}

} // namespace Diag
