// A stand-in for the PC/SC library: records every call, answers as scripted, else like a machine with simple readers.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

/// One state for the process, guarded by a mutex. Linking the target fake_pcsc in place of the PC/SC library also
/// replaces `sleep`: it returns at once and is recorded like a call.
namespace FakePcsc {

/// A reader of the simulated machine.
struct Reader {
    std::string name;
    bool cardPresent = true;
    std::string atr = "\x3B\x80";
    std::map<unsigned long, std::string> attributes = {}; ///< bytes by attribute tag; others are not supported
    std::map<unsigned long, std::string> controls = {};   ///< answers by control code; others are not supported
    unsigned long moreState = 0; ///< SCARD_STATE_ bits of SCardGetStatusChange besides those for the card
    bool hangs = false;          ///< connecting to it never returns
};

enum class Function {
    EstablishContext,
    ReleaseContext,
    ListReaders,
    Connect,
    Reconnect,
    Disconnect,
    BeginTransaction,
    EndTransaction,
    Status,
    GetAttrib,
    GetStatusChange,
    Control,
    Transmit,
};

/// What one call answers instead of what the simulated machine would. No handle is checked for such a call.
struct Answer {
    long code = 0;
    std::string bytes = {};                   ///< put into the caller's buffer as far as it fits
    std::optional<unsigned long> length = {}; ///< reported length; without it the number of bytes
    unsigned long state = 0x34;               ///< card state of Status: present, powered, negotiable
    std::optional<long> handle = {};          ///< handle given out; without it the next one
    bool leavesLength = false;                ///< the length variable keeps what the caller put there
    static Answer Failure(long code) { return {code, {}, {}, 0x34, {}, false}; }
    static Answer Bytes(std::string bytes) { return {0, std::move(bytes), {}, 0x34, {}, false}; }
};

/// Back to a machine without readers, an empty script and an empty record.
void Reset();
void AddReader(Reader reader);
/// Takes a reader's card out, or puts it back, under the eyes of whoever is connected to it.
void MoveCard(std::size_t number, bool in);
/// The machine's readers, to change them between calls.
std::vector<Reader>& Readers();
/// Queues the answer for the next call of a function that has none queued yet.
void Script(Function function, Answer answer);
/// The same, `count` times.
void Script(Function function, const Answer& answer, int count);
/// True when every scripted answer was used.
bool ScriptIsUsedUp();

/// Adds a line of the test's own, a log line for example, to the record.
void Note(std::string line);
/// Every call with all its arguments, and every note, in order. Contexts count from 101, cards from 201.
std::vector<std::string> Trace();
/// Trace without the notes.
std::vector<std::string> Calls();
/// Notes alone.
std::vector<std::string> Notes();
void ClearTrace();

/// Contexts and card handles given out and not given back.
std::size_t OpenContexts();
std::size_t OpenCards();

/// Answer to a CCID feature request: six bytes for each tag with its control code (PC/SC part 10).
std::string FeatureList(const std::vector<std::pair<unsigned char, unsigned int>>& features);

} // namespace FakePcsc
