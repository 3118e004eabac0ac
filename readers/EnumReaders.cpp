// The readers that the PC/SC resource manager knows.
#include "readers/EnumReaders.h"

#include <winscard.h>

#include <algorithm>
#include <iterator>

#include "readers/Guarded.h"
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

/// A resource-manager context in the system's scope, or else in the user's; released with the object.
struct Context {
    Context() : code(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &handle)) {
        if (code == SCARD_S_SUCCESS) {
            return;
        }
        LibReaderImpl::LogErrorSCardError("cannot establish scard context -> Retry with User Scope", code);
        code = SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &handle);
        if (code != SCARD_S_SUCCESS) {
            LibReaderImpl::LogErrorSCardError("cannot establish scard context", code);
        }
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    ~Context() {
        if (code == SCARD_S_SUCCESS) {
            SCardReleaseContext(handle);
        }
    }

    long handle = 0;
    long code;
};

/// Appends all of `found`, or throws and appends none.
template <class Item>
void Append(std::vector<Item>& all, std::vector<Item>& found) {
    all.insert(all.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
}

PCSCReaderConfig DescribeReader(PCSCReader& reader, const std::string& name) {
    PCSCReaderConfig record;
    record.name = name;
    reader.SetReaderId(name);
    reader.SetConfig(true, true, true);
    // Neither a missing context nor a missing card drops the reader from the list.
    static_cast<void>(reader.ConnectReader());
    // IsSecure wants a card handle and there is none yet, so that with a context no reader counts as secure. The client
    // depends on this order.
    record.isSecure = reader.IsOk() ? reader.IsSecure() : PCSCIsSecureByName(name);
    static_cast<void>(reader.ConnectCard(false));
    reader.GetReaderName(record.vendorName, record.vendorIfdType, record.vendorIfdSerialNo, record.deviceUnit,
                         record.systemName, record.friendlyName);
    reader.Disconnect();
    return record;
}

long ListNames(long context, std::vector<std::string>& names) {
    unsigned long length = 0;
    long code = SCardListReaders(context, nullptr, nullptr, &length);
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("cannot list readers (1)", code);
        return code;
    }
    code = Guarded([&] {
        // No list of sixteen names comes near this limit: a longer length is a fault, not a reason to allocate it.
        length = std::min<unsigned long>(length, MAX_BUFFER_SIZE_EXTENDED);
        std::vector<char> buffer(length + 1);
        const long listed = SCardListReaders(context, nullptr, buffer.data(), &length);
        if (listed == SCARD_S_SUCCESS) {
            // The empty name ends the list, also when the second length is shorter.
            std::vector<std::string> found;
            AppendMultiString(buffer.data(), buffer.size(), found);
            Append(names, found);
        }
        return listed;
    });
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("cannot list readers (2)", code);
    }
    return code;
}

} // namespace

long ListPCSCReaderNames(long context, std::vector<std::string>& names) {
    LibReaderImpl::LogMessage("ListPCSCReaders");
    return ListNames(context, names);
}

bool ListPCSCReaders(std::vector<std::string>& names) {
    LibReaderImpl::LogMessage("ListPCSCReaders");
    const Context context;
    return context.code == SCARD_S_SUCCESS && ListNames(context.handle, names) == SCARD_S_SUCCESS;
}

bool ListPCSCReaders(std::vector<PCSCReaderConfig>& readers) {
    std::vector<std::string> names;
    if (!ListPCSCReaders(names)) {
        return false;
    }
    const long code = Guarded([&] {
        std::vector<PCSCReaderConfig> found;
        found.reserve(names.size());
        PCSCReader reader;
        for (const std::string& name : names) {
            found.push_back(DescribeReader(reader, name));
        }
        Append(readers, found);
        return SCARD_S_SUCCESS;
    });
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("cannot list readers (2)", code);
    }
    return code == SCARD_S_SUCCESS;
}

bool PCSCIsSecureByName(const std::string& name) {
    return std::any_of(std::begin(pinPadModels), std::end(pinPadModels),
                       [&name](const char* model) { return name.find(model) != std::string::npos; });
}

} // namespace Vantor
