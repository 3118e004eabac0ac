#include "diag/ask/LogCallbacks.h"

#include "config/Config.h"
#include "readers/Logging.h"

namespace Diag {

void InstallLogCallbacks(LogCallback error, LogCallback note) {
    Vantor::LibReaderImpl::SetErrorLoggingFunc(error);
    Vantor::LibReaderImpl::SetMessageLoggingFunc(note);
    Vantor::LibReaderAndCard::SetErrorLoggingFunc(error);
    Vantor::LibReaderAndCard::SetMessageLoggingFunc(note);
    Vantor::LibConfig::SetErrorLoggingFunc(error); // it has errors only
}

} // namespace Diag
