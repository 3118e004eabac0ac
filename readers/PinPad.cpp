// PIN entry on the reader's own keypad: the part of BaseCspReader that verifies and changes PINs.
#include <winscard.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <iterator>
#include <utility>

#include <unistd.h>

#include "readers/BaseCspReader.h"
#include "readers/Guarded.h"
#include "readers/Logging.h"
#include "readers/PinStructure.h"

namespace Vantor {

namespace {

constexpr int pinSuccess = 0;
constexpr int pinFailure = 1;
constexpr int pinNotSupported = 2;

struct Key {
    unsigned int code;
    unsigned int beepHertz; ///< 0: silent
    const char* message;
    unsigned short (*count)(unsigned short digits);
    long error;
    bool finish;
    bool pollsOn;
};

unsigned short Same(unsigned short digits) {
    return digits;
}
unsigned short None(unsigned short /*digits*/) {
    return 0;
}
unsigned short OneMore(unsigned short digits) {
    return static_cast<unsigned short>(digits + 1);
}
unsigned short OneLess(unsigned short digits) {
    return static_cast<unsigned short>(digits == 0 ? 0 : digits - 1);
}

// clang-format off
constexpr Key keys[] = {
    // code beep  message                         digits   error              finish polls on
    {0x08,  2000, "CardReader: CORRECTION",       OneLess, SCARD_S_SUCCESS,   false, true},
    {0x0A,  2000, "CardReader: CLEAR",            None,    SCARD_S_SUCCESS,   false, true},
    {0x0D,   200, "CardReader: OK",               Same,    SCARD_S_SUCCESS,   true,  false},
    {0x1B,  2000, "CardReader: CANCEL KEY",       Same,    SCARD_E_CANCELLED, false, false},
    {0x2B,   200, "CardReader: PIN DIGIT",        OneMore, SCARD_S_SUCCESS,   false, true},
    {0x40,     0, "CardReader: ABORT (Timeout?)", Same,    SCARD_E_TIMEOUT,   false, false},
};
// clang-format on

} // namespace

struct BaseCspReader::PinCommand {
    const char* message;
    const char* noCard;
    const char* tooLong;
    const char* notSupported;
    const char* directMessage;
    const char* directError;
    const char* startFinishMessage;
    const char* finishError;
    const char* finishStatus;
    std::uint32_t BaseCspReader::*direct;
    std::uint32_t BaseCspReader::*start;
    std::uint32_t BaseCspReader::*finish;
    std::size_t headerLength;
    ByteArray (*build)(const ByteArray& apdu, const PINVerifyData& data);
};

const BaseCspReader::PinCommand BaseCspReader::verifyCommand = [] {
    PinCommand command{};
    command.message = "BaseCspReader VerifyPin";
    command.noCard = "VerifyPin hCard is NULL";
    command.tooLong = "VerifyPin apdu too long";
    command.notSupported = "SCardControl does not support external pin verify";
    command.directMessage = "VerifyPinDirect";
    command.directError = "SCardControl verify_direct error";
    command.startFinishMessage = "VerifyPinStartFinish";
    command.finishError = "pcsc verify finish";
    command.finishStatus = "SCardControl verify_finish error";
    command.direct = &BaseCspReader::verifyPinDirect;
    command.start = &BaseCspReader::verifyPinStart;
    command.finish = &BaseCspReader::verifyPinFinish;
    command.headerLength = verifyHeaderLength;
    command.build = BuildPinVerifyStructure;
    return command;
}();

const BaseCspReader::PinCommand BaseCspReader::modifyCommand = [] {
    PinCommand command{};
    command.message = "BaseCspReader ChangePin";
    command.noCard = "ChangePin hCard is NULL";
    command.tooLong = "ChangePin apdu too long";
    // The typo stays: people and programs search logs for this text.
    command.notSupported = "SCardControl does not support external pin changee";
    command.directMessage = "ModifyPinDirect";
    command.directError = "SCardControl modify_direct error";
    command.startFinishMessage = "ModifyPinStartFinish";
    command.finishError = "pcsc modify finish";
    command.finishStatus = "SCardControl modify_finish error";
    command.direct = &BaseCspReader::modifyPinDirect;
    command.start = &BaseCspReader::modifyPinStart;
    command.finish = &BaseCspReader::modifyPinFinish;
    command.headerLength = modifyHeaderLength;
    command.build = BuildPinModifyStructure;
    return command;
}();

int BaseCspReader::VerifyPin(const ByteArray& apdu, const PINVerifyData* data, ByteArray& response) {
    return RunPinCommand(verifyCommand, apdu, data, response);
}

int BaseCspReader::ChangePin(const ByteArray& apdu, const PINVerifyData* data, ByteArray& response) {
    return RunPinCommand(modifyCommand, apdu, data, response);
}

int BaseCspReader::RunPinCommand(const PinCommand& command, const ByteArray& apdu, const PINVerifyData* data,
                                 ByteArray& response) {
    LibReaderImpl::LogMessage(command.message);
    if (hCard == 0) {
        LibReaderImpl::LogError(command.noCard);
        return pinFailure;
    }
    if (!HasPinPad(command)) {
        return pinNotSupported;
    }
    if (data == nullptr || !IsPinFormat(data->pinFormat)) {
        LibReaderImpl::LogError("invalid pin format");
        return pinFailure;
    }
    if (apdu.size() > maxPinStructureLength - command.headerLength) {
        LibReaderImpl::LogError(command.tooLong);
        return pinFailure;
    }
    return SendPinStructure(command, apdu, *data, response);
}

/// True when the reader is known to do the command, or else when it can verify or modify at all.
bool BaseCspReader::HasPinPad(const PinCommand& command) {
    if (this->*command.direct != 0 || this->*command.start != 0) {
        return true;
    }
    bool canVerify = false;
    bool canModify = false;
    CheckReaderCapabilities(canVerify, canModify);
    return canVerify || canModify;
}

int BaseCspReader::SendPinStructure(const PinCommand& command, const ByteArray& apdu, const PINVerifyData& data,
                                    ByteArray& response) {
    const bool isDirect = this->*command.direct != 0;
    if (!isDirect && this->*command.start == 0) {
        LibReaderImpl::LogErrorSCardError(command.notSupported, 0);
        return pinNotSupported;
    }
    const long code = Guarded([&] {
        const ByteArray structure = command.build(apdu, data);
        const auto length = static_cast<unsigned int>(structure.size());
        const auto maxDigits = static_cast<int>(std::min<unsigned int>(data.maxPinLength, INT_MAX));
        return isDirect ? RunDirect(command, structure.data(), length, response)
                        : RunStartFinish(command, structure.data(), length, response, maxDigits);
    });
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("error in SCardControl", code);
        return pinFailure;
    }
    return pinSuccess;
}

long BaseCspReader::VerifyPinDirect(unsigned char* structure, unsigned int length, ByteArray& response) {
    return RunDirect(verifyCommand, structure, length, response);
}

long BaseCspReader::ModifyPinDirect(unsigned char* structure, unsigned int length, ByteArray& response) {
    return RunDirect(modifyCommand, structure, length, response);
}

long BaseCspReader::RunDirect(const PinCommand& command, const unsigned char* structure, unsigned int length,
                              ByteArray& response) {
    LibReaderImpl::LogMessage(command.directMessage);
    const long code = Control(this->*command.direct, structure, length, response);
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorCardReaderCmd(command.directError, response);
    }
    return code;
}

long BaseCspReader::VerifyPinStartFinish(unsigned char* structure, unsigned int length, ByteArray& response,
                                         int maxPinLength) {
    return RunStartFinish(verifyCommand, structure, length, response, maxPinLength);
}

long BaseCspReader::ModifyPinStartFinish(unsigned char* structure, unsigned int length, ByteArray& response,
                                         int maxPinLength) {
    return RunStartFinish(modifyCommand, structure, length, response, maxPinLength);
}

long BaseCspReader::RunStartFinish(const PinCommand& command, const unsigned char* structure, unsigned int length,
                                   ByteArray& response, int maxPinLength) {
    LibReaderImpl::LogMessage(command.startFinishMessage);
    ByteArray startAnswer;
    long code = Control(this->*command.start, structure, length, startAnswer);
    if (code != SCARD_S_SUCCESS) {
        // One text for both commands.
        LibReaderImpl::LogErrorSCardError("pcsc verify start", code);
        if (!startAnswer.empty()) {
            response = std::move(startAnswer);
        }
    } else {
        if (getKeyPressed != 0) {
            code = PollKeys(maxPinLength);
        }
        if (code == SCARD_S_SUCCESS && this->*command.finish != 0) {
            code = Control(this->*command.finish, nullptr, 0, response);
        }
    }
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError(command.finishError, code);
        LibReaderImpl::LogErrorCardReaderCmd(command.finishStatus, response);
    }
    return code;
}

long BaseCspReader::PollKeys(int maxPinLength) {
    unsigned short digits = 0;
    unsigned long error = 0;
    bool finish = false;
    for (bool goesOn = true; goesOn;) {
        goesOn = PollKey(digits, error, finish);
        sleep(1); // the pace that readers expect
        if (digits >= maxPinLength) {
            LibReaderImpl::LogMessage("max pin length reached-> OK -> finish");
            break;
        }
    }
    DoBeep(400, 100);
    return static_cast<long>(error);
}

bool BaseCspReader::PollKey(unsigned short& digits, unsigned long& error, bool& finish) {
    ByteArray answer;
    const long code = Control(getKeyPressed, nullptr, 0, answer);
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("pcsc key pressed", code);
        return false;
    }
    // No byte: no key was pressed since the last poll.
    return answer.empty() || OnKeyPressed(answer.front(), digits, error, finish);
}

bool BaseCspReader::OnKeyPressed(unsigned char key, unsigned short& digits, unsigned long& error, bool& finish) {
    error = 0;
    finish = false;
    const auto* const known =
        std::find_if(std::begin(keys), std::end(keys), [key](const Key& row) { return row.code == key; });
    if (known == std::end(keys)) {
        return true;
    }
    LibReaderImpl::LogMessage(known->message);
    digits = known->count(digits);
    finish = known->finish;
    error = static_cast<unsigned long>(known->error);
    if (known->beepHertz != 0) {
        DoBeep(known->beepHertz, 100);
    }
    return known->pollsOn;
}

void BaseCspReader::DoBeep(unsigned long frequency, unsigned long duration) {
    if (!useBeep) {
        return;
    }
    std::FILE* const console = std::fopen("/dev/console", "w");
    if (console == nullptr) {
        return;
    }
    constexpr char escape = 0x1B;
    static_cast<void>(std::fprintf(console, "%c[10;%d]%c[11;%d]\a", escape, static_cast<int>(frequency), escape,
                                   static_cast<int>(duration)));
    // The bell rings now, but the stream stays open: beeps are few, and the process is short-lived.
    static_cast<void>(std::fflush(console));
}

} // namespace Vantor
