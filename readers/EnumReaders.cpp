// The readers that the PC/SC resource manager knows.
#include "readers/EnumReaders.h"

#include <winscard.h>

#include <algorithm>
#include <iterator>

#include "readers/Logging.h"
#include "readers/MultiString.h"
#include "readers/PCSCReader.h"

namespace Vantor {

namespace {

// Tried in this order. The vendors' own spelling: letter case counts.
constexpr const char* pinPadModels[] = {
    "OMNIKEY CardMan 3621", // PIN pad
    "OMNIKEY CardMan 3821", // PIN pad
    "OMNIKEY CardMan 8630", // keyboard reader
    "Cherry SmartBoard",    // keyboard with PIN pad
    "REINER SCT cyberJack", // every model
    "SCM Microsystems Inc. SPRx32",
};

/// A resource-manager context that is released with the object, if it was obtained.
class Context {
public:
    Context() = default;
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    ~Context() {
        if (established) {
            SCardReleaseContext(handle);
        }
    }

    long Establish(unsigned long scope) {
        const long code = SCardEstablishContext(scope, nullptr, nullptr, &handle);
        established = code == SCARD_S_SUCCESS;
        return code;
    }

    [[nodiscard]] long Handle() const { return handle; }

private:
    long handle = 0;
    bool established = false;
};

bool EstablishAnyScope(Context& context) {
    long code = context.Establish(SCARD_SCOPE_SYSTEM);
    if (code == SCARD_S_SUCCESS) {
        return true;
    }
    LibReaderImpl::LogErrorSCardError("cannot establish scard context -> Retry with User Scope", code);
    code = context.Establish(SCARD_SCOPE_USER);
    if (code == SCARD_S_SUCCESS) {
        return true;
    }
    LibReaderImpl::LogErrorSCardError("cannot establish scard context", code);
    return false;
}

PCSCReaderConfig DescribeReader(PCSCReader& reader, const std::string& name) {
    PCSCReaderConfig record;
    record.name = name;
    reader.SetReaderId(name);
    reader.SetConfig(true, true, true);
    reader.ConnectReader();
    // IsSecure wants a card handle and there is none yet, so that with a context no reader counts as secure. The client
    // depends on this order.
    record.isSecure = reader.IsOk() ? reader.IsSecure() : PCSCIsSecureByName(name);
    reader.ConnectCard(false);
    reader.GetReaderName(record.vendorName, record.vendorIfdType, record.vendorIfdSerialNo, record.deviceUnit,
                         record.systemName, record.friendlyName);
    reader.Disconnect();
    return record;
}

bool ListNames(long context, std::vector<std::string>& names, long& code) {
    unsigned long length = 0;
    code = SCardListReaders(context, nullptr, nullptr, &length);
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("cannot list readers (1)", code);
        return false;
    }
    // No list of sixteen names comes near this limit: a longer length is a fault, not a reason to allocate it.
    length = std::min<unsigned long>(length, MAX_BUFFER_SIZE_EXTENDED);
    std::vector<char> buffer(length + 1);
    code = SCardListReaders(context, nullptr, buffer.data(), &length);
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("cannot list readers (2)", code);
        return false;
    }
    AppendMultiString(buffer.data(), std::min<std::size_t>(length, buffer.size()), names);
    return true;
}

} // namespace

bool ListPCSCReaders(long context, std::vector<std::string>& names, long& code) {
    LibReaderImpl::LogMessage("ListPCSCReaders");
    return ListNames(context, names, code);
}

bool ListPCSCReaders(std::vector<std::string>& names) {
    LibReaderImpl::LogMessage("ListPCSCReaders");
    Context context;
    long code = SCARD_S_SUCCESS;
    return EstablishAnyScope(context) && ListNames(context.Handle(), names, code);
}

bool ListPCSCReaders(std::vector<PCSCReaderConfig>& readers) {
    std::vector<std::string> names;
    if (!ListPCSCReaders(names)) {
        return false;
    }
    readers.reserve(readers.size() + names.size());
    PCSCReader reader;
    for (const std::string& name : names) {
        readers.push_back(DescribeReader(reader, name));
    }
    return true;
}

bool PCSCIsSecureByName(const std::string& name) {
    return std::any_of(std::begin(pinPadModels), std::end(pinPadModels),
                       [&name](const char* model) { return name.find(model) != std::string::npos; });
}

} // namespace Vantor
