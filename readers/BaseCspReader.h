// Everything that needs only a PC/SC card handle: PIN pad, ATR, status, identification and APDUs.
#pragma once

#include <cstdint>
#include <string>

#include "readers/iCardReader.h"

namespace Vantor {

/// The PIN-pad logic (PC/SC part 10) and the queries over a card handle that somebody else obtained. The class has no
/// binding of its own, so that its connection operations do nothing and succeed.
class BaseCspReader : public iCardReader {
public:
    /// Stores the two PC/SC handles and does not own them; 0 means none.
    BaseCspReader(long hContext, long hCard);

    using iCardReader::ConnectCard;
    using iCardReader::SendApdu;

    [[nodiscard]] bool ConnectReader() override;
    [[nodiscard]] bool ConnectCard(bool force) override;
    bool Disconnect() override;
    void SetConfig(bool isSecure, bool wantsGui, bool wantsBeep) override;
    void CheckReaderCapabilities(bool& canVerify, bool& canModify) override;
    [[nodiscard]] bool BeginTransaction() override;
    bool EndTransaction() override;
    [[nodiscard]] bool SendApdu(const unsigned char* apdu, unsigned long length, Vantor::ByteArray& response) override;
    [[nodiscard]] int VerifyPin(const Vantor::ByteArray& apdu, const PINVerifyData* data,
                                Vantor::ByteArray& response) override;
    [[nodiscard]] int ChangePin(const Vantor::ByteArray& apdu, const PINVerifyData* data,
                                Vantor::ByteArray& response) override;
    /// True when both handles are there.
    [[nodiscard]] bool IsOk() override;
    [[nodiscard]] bool IsTokenPresent() override;
    [[nodiscard]] bool GetAtr(Vantor::ByteArray& atr) override;
    [[nodiscard]] int GetStatus() override;
    [[nodiscard]] bool Reconnect(bool reset, bool unpower) override;
    long GetReaderName(std::string& vendorName, std::string& ifdType, std::string& ifdSerialNo, std::string& deviceUnit,
                       std::string& systemName, std::string& friendlyName) override;

    /// Verifies a PIN in one control call.
    /// @param structure  PIN_VERIFY_STRUCTURE of `length` bytes
    /// @param response   replaced by the reader's answer; unchanged when no byte came back
    /// @return the PC/SC result code
    [[nodiscard]] long VerifyPinDirect(unsigned char* structure, unsigned int length, Vantor::ByteArray& response);
    /// As VerifyPinDirect, with a PIN_MODIFY_STRUCTURE.
    [[nodiscard]] long ModifyPinDirect(unsigned char* structure, unsigned int length, Vantor::ByteArray& response);
    /// Verifies a PIN by a start call, by polling the keys one second apart, and by a finish call. A reader that never
    /// reports the end of the entry, nor a failure, is polled for ever.
    /// @param maxPinLength  digits after which polling ends
    /// @return the PC/SC result code: of the call that failed or came last, of the key that ended the entry
    [[nodiscard]] long VerifyPinStartFinish(unsigned char* structure, unsigned int length, Vantor::ByteArray& response,
                                            int maxPinLength);
    /// As VerifyPinStartFinish, with a PIN_MODIFY_STRUCTURE.
    [[nodiscard]] long ModifyPinStartFinish(unsigned char* structure, unsigned int length, Vantor::ByteArray& response,
                                            int maxPinLength);

    /// Takes one polled key code (PC/SC part 10, GET_KEY_PRESSED), with a beep for the keys that have one.
    /// @param digits  counted up, down or back to 0; never below 0
    /// @param error   PC/SC result code of a key that breaks the entry off, else 0
    /// @param finish  true for the OK key, else false
    /// @return true when polling goes on
    [[nodiscard]] bool OnKeyPressed(unsigned char key, unsigned short& digits, unsigned long& error, bool& finish);
    /// What the driver answered when CheckReaderCapabilities last asked for its features: the records of the answer, as
    /// far as the call succeeded, and its PC/SC result code. No records and SCARD_E_INVALID_HANDLE when there was no
    /// card to ask through, or nothing was asked yet.
    [[nodiscard]] const Vantor::ByteArray& FeatureAnswer() const { return featureAnswer; }
    [[nodiscard]] long FeatureCode() const { return featureCode; }
    /// Rings the Linux console's bell, in Hz and milliseconds, if beeps are wanted and there is a console to write to.
    void DoBeep(unsigned long frequency, unsigned long duration);
    /// @return the result code of a PC/SC status query, SCARD_W_REMOVED_CARD when IsOk is false
    [[nodiscard]] long GetReaderStatus();
    /// Reads one driver attribute through the card handle.
    /// @param attribute  tag as defined in PC/SC part 3, e.g. SCARD_ATTR_VENDOR_NAME
    /// @param value      set to exactly the bytes the driver returned, a counted terminating zero included; unchanged
    ///                   when the call fails
    /// @param flag       ignored
    /// @return the PC/SC result code
    [[nodiscard]] long MySCardGetAttrib(unsigned long attribute, std::string& value, bool flag);

protected:
    long hContext;
    long hCard;

    /// Control codes of the reader's PIN-pad features as CheckReaderCapabilities last found them; 0: the feature is
    /// absent.
    std::uint32_t verifyPinDirect = 0;
    std::uint32_t verifyPinStart = 0;
    std::uint32_t verifyPinFinish = 0;
    std::uint32_t modifyPinDirect = 0;
    std::uint32_t modifyPinStart = 0;
    std::uint32_t modifyPinFinish = 0;
    std::uint32_t getKeyPressed = 0;

    Vantor::ByteArray featureAnswer;
    long featureCode;

private:
    /// What verifying and changing a PIN do not have in common.
    struct PinCommand;
    static const PinCommand verifyCommand;
    static const PinCommand modifyCommand;

    int RunPinCommand(const PinCommand& command, const ByteArray& apdu, const PINVerifyData* data, ByteArray& response);
    [[nodiscard]] bool HasPinPad(const PinCommand& command);
    int SendPinStructure(const PinCommand& command, const ByteArray& apdu, const PINVerifyData& data,
                         ByteArray& response);
    long RunDirect(const PinCommand& command, const unsigned char* structure, unsigned int length, ByteArray& response);
    long RunStartFinish(const PinCommand& command, const unsigned char* structure, unsigned int length,
                        ByteArray& response, int maxPinLength);
    /// Polls the keys until the entry ends.
    /// @return PC/SC result code of a key that broke the entry off, else 0
    [[nodiscard]] long PollKeys(int maxPinLength);
    /// Polls once; parameters and result as in OnKeyPressed.
    [[nodiscard]] bool PollKey(unsigned short& digits, unsigned long& error, bool& finish);
    void StoreFeatures(const ByteArray& features);
    /// One control call; `answer` is replaced by the bytes that came back and unchanged when none did.
    [[nodiscard]] long Control(unsigned long code, const unsigned char* input, unsigned long inputLength,
                               ByteArray& answer);
};

} // namespace Vantor
