#include "diag/ReaderReport.h"

#include "diag/ChildProcess.h"
#include "diag/LogCallbacks.h"
#include "diag/Packing.h"
#include "diag/ReaderProbe.h"

#include <atomic>
#include <cerrno>
#include <limits>
#include <list>
#include <new>
#include <system_error>
#include <tuple>
#include <utility>

#include <sys/mman.h>

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

enum class MessageKind : unsigned char {
    ContextGot,
    ReadersListed,
    TurnBegun,
    ReaderAsked,
    TurnOver,
    LogWritten,
    Done
};

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
    void OnTurn(std::size_t number) override { parent.Leave(Pack(MessageKind::TurnBegun, number)); }
    void OnReader(std::size_t /*number*/, const Reader& reader, bool isOver) override {
        const bool isTold = isOver && reader.featuresAsked;
        parent.Leave(isTold ? Pack(MessageKind::TurnOver, FeatureFields(reader))
                            : Pack(MessageKind::ReaderAsked, isOver, reader));
    }

private:
    const ParentProcess& parent;
};

/// A number that this process and its children count up together.
class SharedCounter {
public:
    SharedCounter() : memory(mmap(nullptr, sizeof(Number), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
        if (memory == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "mmap");
        }
        number = ::new (memory) Number(0);
    }
    ~SharedCounter() { munmap(memory, sizeof(Number)); }
    SharedCounter(const SharedCounter&) = delete;
    SharedCounter& operator=(const SharedCounter&) = delete;

    /// @return the number before
    std::size_t Count() { return (*number)++; }

private:
    using Number = std::atomic<std::size_t>;

    void* memory;
    Number* number = nullptr;
};

/// How many probes at once it pays to ask so many readers with. Each call is a way to the service and back, on which
/// both sleep in turn; on an idle machine waking them takes longer than the work unless others keep it awake.
std::size_t ProbesFor(std::size_t readers) {
    constexpr std::size_t FewReaders = 5;
    return readers <= FewReaders ? 1 : 3;
}

} // namespace

/// The parent's end.
class ReaderQuestion::Collector {
public:
    Collector(const TimeLimits& allowed, const LogLine& lineLog, bool withChannels)
        : limits(allowed), log(lineLog), asksChannels(withChannels) {
        Start(probes.emplace_back());
    }

    void AwaitReaders() {
        while (!facts.listed && GoesOn(probes.front())) {
            Hear(probes.front());
        }
    }

    PcscFacts Run() {
        AwaitReaders(); // which makes it known how many probes there are
        for (Probe& probe : probes) {
            while (GoesOn(probe)) {
                Hear(probe);
            }
        }
        return std::move(facts);
    }

private:
    static constexpr std::size_t None = std::numeric_limits<std::size_t>::max();

    /// A child process that takes one reader's turn after another.
    struct Probe {
        std::unique_ptr<ChildProcess> child;
        std::size_t reader = None; ///< whose turn it is
        bool hasContext = false;
        bool isDone = false;
    };

    void Start(Probe& probe) {
        probe.reader = None;
        probe.hasContext = probe.isDone = false;
        probe.child = std::make_unique<ChildProcess>([this](const ParentProcess& parent) {
            if (log) {
                g_logChannel = &parent;
                InstallLogCallbacks(LeaveError, LeaveNote);
            }
            Messenger messenger(parent);
            ProbeReaders(
                messenger, facts.readers, [this] { return turns.Count(); }, asksChannels);
            parent.Send(Pack(MessageKind::Done));
        });
    }

    [[nodiscard]] bool GoesOn(const Probe& probe) const { return !probe.isDone && !isServiceSilent; }

    /// Takes one piece of news.
    void Hear(Probe& probe) {
        std::string bytes;
        switch (probe.child->Receive(bytes, probe.hasContext && facts.listed ? limits.reader : limits.service)) {
        case ChildProcess::News::Message:
            Take(bytes, probe);
            break;
        case ChildProcess::News::Interrupted:
            break;
        case ChildProcess::News::Silence:
        case ChildProcess::News::End:
            GiveUp(probe);
            break;
        }
    }

    void Take(const std::string& bytes, Probe& probe) {
        Unpacker message(bytes);
        switch (message.Get<MessageKind>()) {
        case MessageKind::ContextGot:
            TakeContext(message.Get<long>(), probe);
            break;
        case MessageKind::ReadersListed:
            TakeList(message);
            break;
        case MessageKind::TurnBegun:
            message.Get(probe.reader);
            break;
        case MessageKind::ReaderAsked:
            TakeReader(message, probe);
            break;
        case MessageKind::TurnOver:
            message.Get(FeatureFields(facts.readers.at(probe.reader)));
            probe.reader = None;
            break;
        case MessageKind::LogWritten:
            TakeLogLine(message);
            break;
        case MessageKind::Done:
            probe.isDone = true;
            break;
        }
    }

    void TakeContext(long code, Probe& probe) {
        facts.answered = true;
        probe.hasContext = code == 0;
        if (!facts.listed) {
            facts.contextCode = code;
        }
    }

    /// From here on several probes share the readers; but a log is to be read in the order in which things happened.
    void TakeList(Unpacker& message) {
        message.Get(facts.listCode);
        message.Get(facts.readers);
        facts.listed = true;
        const std::size_t count = log ? 1 : ProbesFor(facts.readers.size());
        try {
            while (probes.size() < count) {
                Start(probes.emplace_back());
            }
        } catch (const std::system_error&) {
            probes.pop_back(); // where no more processes are to be had, those that there are do all of it
        }
    }

    void TakeReader(Unpacker& message, Probe& probe) {
        const auto isOver = message.Get<bool>();
        message.Get(facts.readers.at(probe.reader));
        probe.reader = isOver ? None : probe.reader;
    }

    void TakeLogLine(Unpacker& message) {
        const auto isError = message.Get<bool>();
        log(isError, message.Get<std::string>());
    }

    /// The call did not return, or took the child with it: it is the service's fault before it listed its readers, or
    /// if another child does not even get a context; else that of the reader whose turn it was.
    void GiveUp(Probe& probe) {
        const std::string call = probe.child->LastStep();
        if (!probe.hasContext || !facts.listed) {
            facts.hangingCall = call;
            isServiceSilent = true;
            return;
        }
        if (probe.reader != None) {
            facts.readers[probe.reader].asked = true;
            facts.readers[probe.reader].hangingCall = call;
        }
        // After the last reader too: only another child finds out whether it was the whole service.
        Start(probe);
    }

    TimeLimits limits;
    LogLine log;
    bool asksChannels;
    SharedCounter turns;
    std::list<Probe> probes; // which does not move them
    PcscFacts facts;
    bool isServiceSilent = false;
};

ReaderQuestion::ReaderQuestion(const TimeLimits& limits, const LogLine& log, bool asksChannels)
    : collector(std::make_unique<Collector>(limits, log, asksChannels)) {}

ReaderQuestion::~ReaderQuestion() = default;

void ReaderQuestion::AwaitReaders() {
    collector->AwaitReaders();
}

PcscFacts ReaderQuestion::Answer() {
    return collector->Run();
}

} // namespace Diag
