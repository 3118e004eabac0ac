#include "diag/ask/ReaderReport.h"

#include "diag/ask/ChildProcess.h"
#include "diag/ask/LogCallbacks.h"
#include "diag/ask/Packing.h"
#include "diag/ask/ReaderProbe.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <limits>
#include <list>
#include <new>
#include <system_error>
#include <tuple>
#include <utility>

#include <poll.h>
#include <sys/mman.h>

namespace Diag {

template <>
constexpr auto Members<Attribute> = std::tuple(&Attribute::tag, &Attribute::code, &Attribute::bytes);

template <>
constexpr auto Members<Reader> = std::tuple(&Reader::name, &Reader::statusCode, &Reader::state, &Reader::atr,
                                            &Reader::connected, &Reader::direct, &Reader::cardCode, &Reader::directCode,
                                            &Reader::protocol, &Reader::attributes, &Reader::channelCode,
                                            &Reader::channel, &Reader::hangingCall, &Reader::asked,
                                            &Reader::isSecureByName);

/// What is found out last.
constexpr auto FeatureMembers =
    std::tuple(&Reader::featuresAsked, &Reader::featuresCode, &Reader::features, &Reader::isSecure);

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
        parent.Leave(isTold ? Packer().Put(MessageKind::TurnOver).Put(reader, FeatureMembers).Bytes()
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
    std::size_t Value() const { return *number; }

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
            HearAll();
        }
    }

    PcscFacts Run(const std::function<void()>& onWait) {
        AwaitReaders();
        const auto began = Clock::now();
        bool isTold = false;
        while (std::any_of(probes.begin(), probes.end(), [this](const Probe& probe) { return GoesOn(probe); }) &&
               Clock::now() - began < limits.all) {
            HearAll();
            if (!isTold && onWait && Clock::now() - began >= limits.notice) {
                isTold = true;
                onWait();
            }
        }
        Finish();
        return std::move(facts);
    }

private:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t None = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t ServedReaders = 16;
    /// How long a reader may take before the others stop waiting for their turns behind it.
    static constexpr std::chrono::milliseconds Impatience{1000};
    /// How often the probes are looked at that do not ring.
    static constexpr std::chrono::milliseconds LookEvery{50};

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
        try {
            probe.child = std::make_unique<ChildProcess>([this](const ParentProcess& parent) { Work(parent); });
        } catch (const SystemError& error) {
            // Those that there are do all of it.
            obstacle = error;
            probe.child = nullptr;
            probe.isDone = true;
        }
    }

    void Work(const ParentProcess& parent) {
        if (log) {
            g_logChannel = &parent;
            InstallLogCallbacks(LeaveError, LeaveNote);
        }
        Messenger messenger(parent);
        ProbeReaders(
            messenger, facts.readers, [this] { return turns.Count(); }, asksChannels);
        parent.Send(Pack(MessageKind::Done));
    }

    void StartUntil(std::size_t count) {
        while (probes.size() < count) {
            Start(probes.emplace_back());
        }
    }

    [[nodiscard]] bool GoesOn(const Probe& probe) const { return !probe.isDone && !isServiceSilent; }

    /// Takes all the news that there are, or waits a moment for some.
    void HearAll() {
        bool isQuiet = true;
        for (Probe& probe : probes) { // more may be added meanwhile
            while (GoesOn(probe) && Hear(probe)) {
                isQuiet = false;
            }
        }
        if (isQuiet) {
            Wait();
        }
    }

    /// @return whether there may be more news from it
    bool Hear(Probe& probe) {
        std::string bytes;
        switch (probe.child->Check(bytes)) {
        case ChildProcess::News::Message:
            Take(bytes, probe);
            return true;
        case ChildProcess::News::End:
            GiveUp(probe);
            return true;
        default:
            return CheckTime(probe);
        }
    }

    /// @return whether its time was over
    bool CheckTime(Probe& probe) {
        const std::chrono::nanoseconds silent = probe.child->Silent();
        if (silent >= (facts.listed ? limits.reader : limits.service)) {
            GiveUp(probe);
            return true;
        }
        if (silent >= Impatience && probe.reader != None && !isImpatient) {
            isImpatient = true;
            const std::size_t left = facts.readers.size() - std::min(turns.Value(), facts.readers.size());
            StartUntil(probes.size() + std::min(left, ServedReaders));
        }
        return false;
    }

    void Wait() const {
        std::vector<struct pollfd> bells;
        for (const Probe& probe : probes) {
            if (GoesOn(probe)) {
                bells.push_back({probe.child->Bell(), POLLIN, 0});
            }
        }
        poll(bells.data(), bells.size(), static_cast<int>(LookEvery.count()));
    }

    /// Whoever still has a turn now did not answer in time.
    void Finish() {
        for (const Probe& probe : probes) {
            if (!probe.isDone) {
                MarkHanging(probe);
            }
        }
        const bool isAllAsked = facts.answered && std::all_of(facts.readers.begin(), facts.readers.end(),
                                                              [](const Reader& reader) { return reader.asked; });
        if (!isServiceSilent && !isAllAsked) {
            facts.obstacle = obstacle;
        }
        probes.clear();
    }

    void MarkHanging(const Probe& probe) {
        if (probe.reader != None) {
            facts.readers[probe.reader].asked = true;
            facts.readers[probe.reader].hangingCall = probe.child->LastStep();
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
            message.Get(facts.readers.at(probe.reader), FeatureMembers);
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
        StartUntil(log ? 1 : ProbesFor(facts.readers.size()));
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
        if (!probe.hasContext || !facts.listed) {
            facts.hangingCall = probe.child->LastStep();
            isServiceSilent = true;
            return;
        }
        MarkHanging(probe);
        // After the last reader too: only another child finds out whether it was the whole service.
        Start(probe);
    }

    TimeLimits limits;
    LogLine log;
    bool asksChannels;
    SharedCounter turns;
    std::list<Probe> probes; // which does not move them
    PcscFacts facts;
    SystemError obstacle; ///< why a probe could not be started
    bool isServiceSilent = false;
    bool isImpatient = false;
};

ReaderQuestion::ReaderQuestion(const TimeLimits& limits, const LogLine& log, bool asksChannels)
    : collector(std::make_unique<Collector>(limits, log, asksChannels)) {}

ReaderQuestion::~ReaderQuestion() = default;

void ReaderQuestion::AwaitReaders() {
    collector->AwaitReaders();
}

PcscFacts ReaderQuestion::Answer(const std::function<void()>& onWait) {
    return collector->Run(onWait);
}

} // namespace Diag
