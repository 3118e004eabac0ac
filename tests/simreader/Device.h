// One simulated reader: what the driver does for each call of the IFD handler interface.
#pragma once

#include "tests/simreader/Answer.h"
#include "tests/simreader/ReaderFolder.h"
#include "tests/simreader/Rules.h"

#include <PCSC/wintypes.h>

#include <map>
#include <mutex>
#include <string>

namespace SimReader {

/// Memory of the caller that an answer goes to. `length` is its size before and the answer's length after the call.
struct Target {
    unsigned char* data;
    DWORD& length;
};

/// Each operation looks at the folder's files anew, so that whatever is written there counts from the next call on.
/// All return IFD handler response codes and write one line to the log. Calls from several threads are allowed.
class Device {
public:
    /// @param folder  path of the control files
    explicit Device(std::string folder);
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    [[nodiscard]] long open();
    long close();
    [[nodiscard]] long presence();
    [[nodiscard]] long capability(DWORD tag, Target target);
    [[nodiscard]] long setCapability(DWORD tag, const unsigned char* value, DWORD length);
    [[nodiscard]] long setProtocol(DWORD protocol);
    [[nodiscard]] long power(DWORD action, Target atr);
    [[nodiscard]] long transmit(const unsigned char* apdu, DWORD length, Target response);
    [[nodiscard]] long control(DWORD code, const unsigned char* input, DWORD length, Target response);

    /// Waits until the card may have been put in or taken out.
    /// @return IFD_SUCCESS when something changed, IFD_RESPONSE_TIMEOUT else
    [[nodiscard]] long waitForChange(int milliseconds);
    /// Ends a running waitForChange.
    void stopWaiting();

private:
    struct Call;

    [[nodiscard]] bool cardPresent();
    [[nodiscard]] Bytes atr() const;
    [[nodiscard]] std::optional<Answer> fromRules(const std::string& file, const std::string& request);
    [[nodiscard]] std::optional<Answer> attribute(DWORD tag);
    [[nodiscard]] Answer controlAnswer(DWORD code, const std::string& input);
    [[nodiscard]] std::optional<Answer> keyPressed(DWORD code);
    [[nodiscard]] bool gone() const;
    void hangWhileAsked(const std::string& function);
    [[nodiscard]] long deliver(const Call& call, const Answer& answer, Target target);
    long finish(const Call& call, long code, const std::string& details = {});
    void openWatch();
    [[nodiscard]] bool readWatch() const;

    ReaderFolder folder_;
    std::mutex mutex_; // guards what follows
    std::map<std::string, Rules> rules_;
    KeyPresses keys_;
    bool lastPresent_ = false;
    int watch_ = -1;
    int wake_ = -1;
};

} // namespace SimReader
