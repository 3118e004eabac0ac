// The card reader as its users see it, whatever the reader is bound to.
#pragma once

#include <cstdint>
#include <string>

#include "util/ByteArray.h"

namespace Vantor {

/// Private base of classes whose objects stand for one outside thing and are therefore neither copied nor assigned.
class Uncopyable {
public:
    Uncopyable(const Uncopyable&) = delete;
    Uncopyable& operator=(const Uncopyable&) = delete;

protected:
    Uncopyable() = default;
    ~Uncopyable() = default;
};

/// How a PIN is entered on a reader's keypad and put into the command (PC/SC part 10).
struct PINVerifyData {
    std::uint32_t reserved = 0;       ///< not read by the reader classes
    int pinFormat = 0;                ///< 0 ASCII, 1 ISO 9564 format-2 block, 2 BCD
    unsigned int minPinLength = 0;    ///< digits
    unsigned int maxPinLength = 0;    ///< digits
    unsigned char pinBlockString = 0; ///< goes into bmPINBlockString unchanged
};

/// A card reader. Order of calls: SetConfig, ConnectReader, ConnectCard, everything else, Disconnect. A failure is the
/// member's result and a log line, also when memory runs out; only the members that return a text throw then.
class iCardReader : private Uncopyable {
public:
    iCardReader() = default;
    virtual ~iCardReader() = default;

    /// Binds the object to its reader.
    [[nodiscard]] virtual bool ConnectReader() = 0;
    /// Connects the card in the reader.
    /// @param force  connect anew although a card is connected
    [[nodiscard]] virtual bool ConnectCard(bool force) = 0;
    /// Lets go of card and reader.
    virtual bool Disconnect() = 0;
    /// Sets what SetSecure, UseGui and UseBeep are about.
    virtual void SetConfig(bool secure, bool useGui, bool useBeep) = 0;
    /// Asks the driver whether PINs can be verified and changed on the reader's own keypad; both false on failure.
    virtual void CheckReaderCapabilities(bool& canVerify, bool& canModify) = 0;
    /// Keeps other programs off the card until EndTransaction. Waits for one that has a transaction on it.
    [[nodiscard]] virtual bool BeginTransaction() = 0;
    virtual bool EndTransaction() = 0;
    /// Sends a command APDU (ISO 7816-4) of `length` bytes.
    /// @param response  replaced by the card's answer with its status word; unchanged when no byte came back
    [[nodiscard]] virtual bool SendApdu(const unsigned char* apdu, unsigned long length,
                                        Vantor::ByteArray& response) = 0;
    /// Verifies a PIN that is entered on the reader's keypad.
    /// @param apdu      the VERIFY command with the PIN's place in it
    /// @param response  replaced by the reader's answer; unchanged when no byte came back
    /// @return 0 success, 1 failure, 2 the reader cannot do it. Not a bool: as one, 1 and 2 would count as success.
    ///         0 says that the command was run; the status word in `response` tells whether the PIN is right
    [[nodiscard]] virtual int VerifyPin(const Vantor::ByteArray& apdu, const PINVerifyData* data,
                                        Vantor::ByteArray& response) = 0;
    /// Changes a PIN: as VerifyPin, with a CHANGE REFERENCE DATA command.
    [[nodiscard]] virtual int ChangePin(const Vantor::ByteArray& apdu, const PINVerifyData* data,
                                        Vantor::ByteArray& response) = 0;
    /// True when the object is bound to what it needs.
    [[nodiscard]] virtual bool IsOk() = 0;
    [[nodiscard]] virtual bool IsTokenPresent() = 0;
    /// @param atr  replaced by the card's answer to reset; unchanged on failure
    [[nodiscard]] virtual bool GetAtr(Vantor::ByteArray& atr) = 0;
    /// @return 0 no card, 1 card present, 2 card confiscated, 3 unknown
    [[nodiscard]] virtual int GetStatus() = 0;
    /// Connects the connected card anew, after taking its power (`unpower`), after a reset (`reset`), or as it is.
    [[nodiscard]] virtual bool Reconnect(bool reset, bool unpower) = 0;
    /// Reads the six identification attributes; one that the driver does not supply becomes empty.
    /// @return the PC/SC result code of the last one
    virtual long GetReaderName(std::string& vendorName, std::string& ifdType, std::string& ifdSerialNo,
                               std::string& deviceUnit, std::string& systemName, std::string& friendlyName) = 0;
    /// A text by which this kind of reader is known: VendorModelName unless a class knows better.
    [[nodiscard]] virtual std::string VendorID();

    /// ConnectCard(false).
    [[nodiscard]] bool ConnectCard();
    /// False: the reader does not count as a PIN pad, whatever it can do.
    void SetSecure(bool isSecure);
    /// True when the reader wants the client's own PIN dialog.
    [[nodiscard]] bool UseGui() const;
    /// True when key presses are to be heard.
    [[nodiscard]] bool UseBeep() const;
    /// True when PINs can be both verified and changed on the reader's own keypad. Asks the driver.
    [[nodiscard]] bool IsSecure();
    [[nodiscard]] bool SendApdu(const Vantor::ByteArray& apdu, Vantor::ByteArray& response);

    /// Vendor name and type, one blank between them.
    [[nodiscard]] std::string VendorModelName();
    /// Logs the six identification attributes.
    void LogReaderName();
    /// True when the response ends in the status word `sw1` `sw2` (ISO 7816-4). A response without a status word is
    /// logged always, another status word if `logMismatch`.
    [[nodiscard]] static bool CheckApduSW(const Vantor::ByteArray& response, unsigned char sw1, unsigned char sw2,
                                          bool logMismatch = true);

protected:
    bool secure = true;
    bool useGui = true;
    bool useBeep = true;
};

} // namespace Vantor
