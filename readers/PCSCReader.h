// A card reader behind the PC/SC resource manager.
#pragma once

#include <boost/thread/mutex.hpp>

#include "readers/BaseCspReader.h"

namespace Vantor {

/// Serialises connecting and transactions over all reader objects of the process. Not recursive: whoever holds it must
/// not call ConnectCard, BeginTransaction or EndTransaction. It is held while these wait for the resource manager.
extern boost::mutex sReaderMutex;

/// A reader that the PC/SC resource manager knows by its name. Unbound at first; ConnectReader obtains a context,
/// ConnectCard a card handle, Disconnect gives both back. The destructor gives nothing back.
/// What CheckReaderCapabilities found belongs to the reader of that time: SetReaderId, Disconnect and ConnectReader
/// leave it. Who binds the object to another reader calls CheckReaderCapabilities before VerifyPin and ChangePin.
class PCSCReader : public BaseCspReader {
public:
    PCSCReader();

    using BaseCspReader::ConnectCard;

    /// Sets the PC/SC name of the reader to connect to.
    void SetReaderId(std::string name);

    /// Obtains a context in the system's scope, else in the user's; gives an earlier binding back first.
    [[nodiscard]] bool ConnectReader() override;
    /// Connects the card in the reader, T=0 or T=1, shared. Rebinds the reader when its card was removed; recovers as
    /// LocalSCardConnect does, for which it may sleep three seconds. A card handle that is there already is believed
    /// unless its card was removed: after a restart of the resource manager, or a reset by another program, the result
    /// is true and the handle of no use. ConnectReader and ConnectCard help against the first, Reconnect against the
    /// second.
    /// @param force  connect anew all the same; the earlier connection stays open until the context is released
    /// @return true when a card is connected and gives its ATR; on failure the handles stay as the failed call left
    ///         them (pcsc-lite: no card handle), and the log tells which PIN-pad features the reader has
    [[nodiscard]] bool ConnectCard(bool force) override;
    /// Takes the card's power and releases the context.
    /// @return true, always
    bool Disconnect() override;
    /// Waits, holding sReaderMutex, until nobody else has a transaction on the card. If another thread of this process
    /// has it, through another object, both wait for ever: that object's EndTransaction needs the mutex. Use a reader
    /// from one thread at a time.
    [[nodiscard]] bool BeginTransaction() override;
    bool EndTransaction() override;
    /// True when there is a context, card or not.
    [[nodiscard]] bool IsOk() override;
    /// Connects the card if that is still to do, then asks.
    [[nodiscard]] bool IsTokenPresent() override;
    /// After a reset by another program (SCARD_W_RESET_CARD) the handle is of no use until this is called.
    /// @return false when no card is connected or the resource manager refuses
    [[nodiscard]] bool Reconnect(bool reset, bool unpower) override;
    /// The reader's PC/SC name.
    [[nodiscard]] std::string VendorID() override;

    /// Connects the card in the named reader. When the code says that the service stopped, the handle is stale or the
    /// card was removed, it tries again: first without this object's own card, which it resets and disconnects, then up
    /// to three times with a new context, one second apart.
    /// Call it with sReaderMutex held.
    /// @param shareMode       SCARD_SHARE_SHARED or another mode of PC/SC part 5
    /// @param hCard           receives the card handle, 0 on failure; may be this object's own
    /// @param activeProtocol  receives the protocol in use
    /// @return the PC/SC result code of the last attempt
    [[nodiscard]] long LocalSCardConnect(std::string readerName, unsigned long shareMode, long* hCard,
                                         unsigned long* activeProtocol);

protected:
    /// Size of the largest answer to reset (ISO 7816-3). The status queries of BaseCspReader offer one byte less.
    static constexpr unsigned long maxAtrLength = 33;

    unsigned long activeProtocol = 0;
    unsigned char atr[maxAtrLength] = {};
    unsigned long atrLength = 0;
    std::string readerId;
    /// Control codes of the last feature that a failed ConnectCard found, for the log alone. They stay when the next
    /// list lacks the feature.
    unsigned long verifyPinDirectCode = 0;
    unsigned long modifyPinDirectCode = 0;

private:
    long ReadAtr();
    void LogPinFeatures();
};

} // namespace Vantor
