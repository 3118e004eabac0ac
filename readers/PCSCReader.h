// A card reader behind the PC/SC resource manager.
#pragma once

#include <boost/thread/mutex.hpp>

#include "readers/BaseCspReader.h"

namespace Vantor {

/// Serialises connecting and transactions over all reader objects of the process. Not recursive: whoever holds it must
/// not call ConnectCard, BeginTransaction or EndTransaction.
extern boost::mutex sReaderMutex;

/// A reader that the PC/SC resource manager knows by its name. Unbound at first; ConnectReader obtains a context,
/// ConnectCard a card handle, Disconnect gives both back. The destructor gives nothing back.
class PCSCReader : public BaseCspReader {
public:
    PCSCReader();

    using BaseCspReader::ConnectCard;

    /// Sets the PC/SC name of the reader to connect to.
    void SetReaderId(std::string name);

    /// Obtains a context in the system's scope, else in the user's; gives an earlier binding back first.
    bool ConnectReader() override;
    /// Connects the card in the reader, T=0 or T=1, shared. Rebinds the reader when its card was removed, or when the
    /// resource manager was restarted; may sleep up to three seconds for that.
    /// @return true when a card is connected and gives its ATR; on failure the handles stay as the failed call left
    ///         them, and the log tells which PIN-pad features the reader has
    bool ConnectCard(bool force) override;
    /// Takes the card's power and releases the context.
    /// @return true, always
    bool Disconnect() override;
    bool BeginTransaction() override;
    bool EndTransaction() override;
    /// True when there is a context, card or not.
    [[nodiscard]] bool IsOk() override;
    /// Connects the card if that is still to do, then asks.
    [[nodiscard]] bool IsTokenPresent() override;
    /// @return false when no card is connected or the resource manager refuses
    bool Reconnect(bool reset, bool unpower) override;
    /// The reader's PC/SC name.
    [[nodiscard]] std::string VendorID() override;

    /// Connects the card in the named reader, with recovery from a stopped service, a stale handle or a removed card.
    /// Call it with sReaderMutex held.
    /// @param shareMode       SCARD_SHARE_SHARED or another mode of PC/SC part 5
    /// @param hCard           receives the card handle; may be this object's own
    /// @param activeProtocol  receives the protocol in use
    /// @return the PC/SC result code of the last attempt
    long LocalSCardConnect(std::string readerName, unsigned long shareMode, long* hCard, unsigned long* activeProtocol);

protected:
    /// Size of the largest ATR (ISO 7816-3).
    static constexpr unsigned long maxAtrLength = 33;

    unsigned long activeProtocol = 0;
    unsigned char atr[maxAtrLength] = {};
    unsigned long atrLength = 0;
    std::string readerId;
    /// Control codes of the last feature list that a failed ConnectCard read for the log; nothing else uses them.
    unsigned long verifyPinDirectCode = 0;
    unsigned long modifyPinDirectCode = 0;

private:
    long ReadAtr();
    void LogPinFeatures();
};

} // namespace Vantor
