// Asks the PC/SC service about itself and its readers. Each call may block for as long as the service likes, so this
// runs in a process of its own (ReaderReport).
#pragma once

#include "diag/Records.h"

#include <cstddef>
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
    /// The number of a reader, from 0 on, and what is known of it now: before its features are asked, where drivers are
    /// most likely to hang, and when its turn is over.
    virtual void OnReader(std::size_t number, const Reader& reader, bool isOver) = 0;
};

/// Asks for a context, the readers and, one after another, what each of them tells.
/// @param known  readers of an earlier probe that did not come to its end; if not empty, they are not listed again
/// @param first  number of the reader to begin with
/// @param asksChannels  whether to ask by which channel each reader is attached
void ProbeReaders(ProbeListener& listener, std::vector<Reader> known, std::size_t first, bool asksChannels);

} // namespace Diag
