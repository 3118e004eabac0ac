// Where the reader code's diagnostics go: two sinks that hand each line to a callback of the host, if it installed one.
#pragma once

#include <sstream>
#include <string_view>

namespace Vantor {

class ByteArray;

/// Sink of the enumeration and of the PC/SC reader classes. Without a callback a line is dropped before it is put
/// together. No member throws: what a callback throws, or a want of memory, costs the line. Nothing is locked: install
/// the callbacks once, before any reader code runs.
class LibReaderImpl {
public:
    /// Receives one line, zero-terminated and valid during the call only; null: lines of that kind are dropped.
    static void (*pt2LogError)(const char*);
    static void (*pt2LogMessage)(const char*);
    /// False silences both callbacks.
    static bool bLoggingEnabled;

    static void EnableLogging();
    static void DisableLogging();
    /// Installs the receiver of error lines; null removes it.
    static void SetErrorLoggingFunc(void (*func)(const char*));
    /// Installs the receiver of message lines; null removes it.
    static void SetMessageLoggingFunc(void (*func)(const char*));

    static void LogError(std::string_view text);
    /// Message line of `text` and `more`, one directly behind the other.
    static void LogMessage(std::string_view text, std::string_view more = {});
    /// Error line "TEXT SUFFIX", with LoggingHelper's suffix for a PC/SC result code.
    static void LogErrorSCardError(std::string_view text, long code);
    /// Error line "TEXT VALUE", the value in decimal.
    static void LogError(std::string_view text, int value);
    /// Message line "TEXT VALUE", the value in decimal.
    static void LogMessageFormat(std::string_view text, int value);
    /// Error line "TEXT DESCRIPTION" for the status word at the end of a PIN pad's answer (PC/SC part 10). The
    /// description is empty for 90 00 and for an answer too short to have a status word.
    static void LogErrorCardReaderCmd(std::string_view text, const ByteArray& response);

    /// Writes the symbolic name of a PC/SC result code, "Unknown Error" for a code without one.
    static void SCardErrorToString(std::basic_stringstream<char>& out, long code);
};

/// Sink of reader identification and status word checks: as LibReaderImpl, but without a master switch.
class LibReaderAndCard {
public:
    static void (*pt2LogError)(const char*);
    static void (*pt2LogMessage)(const char*);

    static void SetErrorLoggingFunc(void (*func)(const char*));
    static void SetMessageLoggingFunc(void (*func)(const char*));

    static void LogError(std::string_view text);
    static void LogMessage(std::string_view text, std::string_view more = {});
    static void LogErrorSCardError(std::string_view text, long code);
    static void LogError(std::string_view text, int value);
};

} // namespace Vantor
