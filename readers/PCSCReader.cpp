#include "readers/PCSCReader.h"

#include <winscard.h>

#include <algorithm>
#include <array>
#include <reader.h>
#include <utility>

#include <boost/thread/lock_guard.hpp>
#include <unistd.h>

#include "readers/FeatureList.h"
#include "readers/Guarded.h"
#include "readers/Logging.h"

namespace Vantor {

namespace {

using ReaderLock = boost::lock_guard<boost::mutex>;

constexpr unsigned long anyProtocol = SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1;

/// Codes after which a new attempt may succeed: the service went away, the handle is stale, or the card was removed.
bool IsRecoverable(long code) {
    constexpr long invalidHandle = 6; // of the Windows resource manager
    return code == SCARD_E_SERVICE_STOPPED || code == invalidHandle || code == SCARD_W_REMOVED_CARD;
}

} // namespace

boost::mutex sReaderMutex;

PCSCReader::PCSCReader() : BaseCspReader(0, 0) {}

void PCSCReader::SetReaderId(std::string name) {
    readerId = std::move(name);
}

std::string PCSCReader::VendorID() {
    return readerId;
}

bool PCSCReader::IsOk() {
    return hContext != 0;
}

bool PCSCReader::ConnectReader() {
    LibReaderImpl::LogMessage("PCSCReader::ConnectReader");
    if (readerId.empty()) {
        LibReaderImpl::LogError("ReaderId not set");
        return false;
    }
    if (hContext != 0) {
        LibReaderImpl::LogMessage("disconnect old reader");
        Disconnect();
    }
    LibReaderImpl::LogMessage("PCSC ConnectReader ", readerId);
    long code = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &hContext);
    if (code == SCARD_S_SUCCESS) {
        return true;
    }
    LibReaderImpl::LogErrorSCardError("cannot establish context -> retry in user context", code);
    code = SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &hContext);
    if (code == SCARD_S_SUCCESS) {
        return true;
    }
    LibReaderImpl::LogErrorSCardError("cannot establish context ", code);
    return false;
}

bool PCSCReader::Disconnect() {
    LibReaderImpl::LogMessage("PCSCReader::Disconnect");
    if (hCard != 0) {
        SCardDisconnect(hCard, SCARD_UNPOWER_CARD);
    }
    hCard = 0;
    if (hContext != 0) {
        SCardReleaseContext(hContext);
    }
    hContext = 0;
    return true;
}

bool PCSCReader::Reconnect(bool reset, bool unpower) {
    if (hCard == 0) {
        return false;
    }
    const unsigned long initialisation = unpower ? SCARD_UNPOWER_CARD : reset ? SCARD_RESET_CARD : SCARD_LEAVE_CARD;
    unsigned long protocol = 0;
    return SCardReconnect(hCard, SCARD_SHARE_SHARED, anyProtocol, initialisation, &protocol) == SCARD_S_SUCCESS;
}

long PCSCReader::LocalSCardConnect(std::string readerName, unsigned long shareMode, long* card,
                                   unsigned long* protocol) {
    const auto connect = [&] {
        const long code = SCardConnect(hContext, readerName.c_str(), shareMode, anyProtocol, card, protocol);
        if (code != SCARD_S_SUCCESS) {
            LibReaderImpl::LogErrorSCardError("error in SCardConnect", code);
        }
        return code;
    };

    LibReaderImpl::LogMessage("PCSCReader::LocalSCardConnect");
    // SCardConnect zeroes the handle that it could not set, and that may be this object's own.
    const long ownCard = hCard;
    long code = connect();
    if (IsRecoverable(code)) {
        // A fresh card handle; this object's own goes, whatever handle the caller asked for.
        SCardDisconnect(ownCard, SCARD_RESET_CARD);
        hCard = 0;
        code = connect();
    }
    if (IsRecoverable(code)) {
        // A fresh context, for the service may be on its way back.
        for (int attempt = 0; attempt < 3 && code != SCARD_S_SUCCESS; ++attempt) {
            LibReaderImpl::LogMessage("LocalSCardConnect error, trying to get new hCtx and retrying");
            Disconnect();
            if (ConnectReader()) {
                code = connect();
            }
            if (code != SCARD_S_SUCCESS) {
                sleep(1);
            }
        }
    }
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogError("error in connect to card");
    }
    return code;
}

bool PCSCReader::ConnectCard(bool force) {
    const ReaderLock lock(sReaderMutex);
    LibReaderImpl::LogMessage("PCSCReader::ConnectCard");
    if (hContext == 0) {
        LibReaderImpl::LogError("reader not connected");
        return false;
    }
    if (hCard != 0 && GetReaderStatus() == SCARD_W_REMOVED_CARD) {
        Disconnect();
        static_cast<void>(ConnectReader()); // without a context the attempt below fails, and tells so
    }
    if (!force && hCard != 0) {
        LibReaderImpl::LogMessage("card already connected");
        return true;
    }
    long code = Guarded([this] { return LocalSCardConnect(readerId, SCARD_SHARE_SHARED, &hCard, &activeProtocol); });
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("cannot connect card ", code);
    } else {
        code = ReadAtr();
        if (code == SCARD_S_SUCCESS) {
            return true;
        }
        LibReaderImpl::LogErrorSCardError("cannot read card status ", code);
    }
    // Only a card that does not connect makes people ask what the reader can do.
    LogPinFeatures();
    return false;
}

long PCSCReader::ReadAtr() {
    unsigned long nameLength = 0;
    unsigned long state = 0;
    unsigned long protocol = 0;
    atrLength = maxAtrLength;
    const long code = SCardStatus(hCard, nullptr, &nameLength, &state, &protocol, atr, &atrLength);
    atrLength = std::min(atrLength, maxAtrLength);
    return code;
}

void PCSCReader::LogPinFeatures() {
    std::array<unsigned char, 2048> features{};
    unsigned long returned = 0;
    SCardControl(hCard, CM_IOCTL_GET_FEATURE_REQUEST, nullptr, 0, features.data(), features.size(), &returned);
    ForEachFeature(features.data(), std::min<std::size_t>(returned, features.size()),
                   [this](unsigned char tag, std::uint32_t code) {
                       if (tag == FEATURE_VERIFY_PIN_DIRECT) {
                           verifyPinDirectCode = code;
                       } else if (tag == FEATURE_MODIFY_PIN_DIRECT) {
                           modifyPinDirectCode = code;
                       }
                   });
    LibReaderImpl::LogMessage(verifyPinDirectCode != 0 ? "Reader DOES support PIN verification"
                                                       : "Reader DOES NOT support PIN verification");
    LibReaderImpl::LogMessage(modifyPinDirectCode != 0 ? "Reader DOES support PIN modification"
                                                       : "Reader DOES NOT support PIN modification");
}

bool PCSCReader::BeginTransaction() {
    const ReaderLock lock(sReaderMutex);
    if (hCard == 0) {
        LibReaderImpl::LogError("BeginTransaction hCard is NULL");
        return false;
    }
    const long code = SCardBeginTransaction(hCard);
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("Error in BeginTransaction", code);
    }
    return code == SCARD_S_SUCCESS;
}

bool PCSCReader::EndTransaction() {
    const ReaderLock lock(sReaderMutex);
    if (hCard == 0) {
        LibReaderImpl::LogError("EndTransaction hCard is NULL");
        return false;
    }
    const long code = SCardEndTransaction(hCard, SCARD_LEAVE_CARD);
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("Error in EndTransaction", code);
    }
    return code == SCARD_S_SUCCESS;
}

bool PCSCReader::IsTokenPresent() {
    static_cast<void>(ConnectCard(false)); // the status tells
    return BaseCspReader::IsTokenPresent();
}

} // namespace Vantor
