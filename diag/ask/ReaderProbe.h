// Asks the PC/SC service about itself and its readers. Each call may block for as long as the service likes, so this
// runs in a process of its own (ReaderReport).
#pragma once

#include "diag/record/Records.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace Diag {

/// Hears of the probe's progress.
class ProbeListener {
public:
    virtual ~ProbeListener() = default;
    /// The probe is about to make this PC/SC call.
    virtual void OnCall(const char* call) = 0;
    /// The service gave a context, or a PC/SC error code instead.
    virtual void OnContext(long code) = 0;
    /// The readers in the service's order, with what other programs do with them now.
    virtual void OnReaders(long code, const std::vector<Reader>& readers) = 0;
    /// The turn of the reader with this number, from 0 on, begins.
    virtual void OnTurn(std::size_t number) = 0;
    /// What is known of it now: before its features are asked, where drivers are most likely to hang, and when its turn
    /// is over.
    virtual void OnReader(std::size_t number, const Reader& reader, bool isOver) = 0;
};

/// Takes the number of a reader whose turn has come; one beyond the last when all have had theirs.
using TakeTurn = std::function<std::size_t()>;

/// Asks for a context, the readers and, one after another, those readers that `takeTurn` names.
/// @param known  readers that another probe has listed; if not empty, they are not listed again
/// @param asksChannels  whether to ask by which channel each reader is attached
void ProbeReaders(ProbeListener& listener, std::vector<Reader> known, const TakeTurn& takeTurn, bool asksChannels);

} // namespace Diag
