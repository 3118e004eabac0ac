#include "tests/simreader/Device.h"

#include <PCSC/ifdhandler.h>
#include <PCSC/reader.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <utility>

namespace SimReader {

namespace {

using std::chrono::milliseconds;

constexpr DWORD kFeatureRequest = CM_IOCTL_GET_FEATURE_REQUEST;
// A card that speaks T=1, which is what the client's protocol header asks for.
const Bytes kUsualAtr{0x3B, 0x80, 0x01, 0x81};
const Bytes kUnknownInstruction{0x6D, 0x00};

// Attributes that have a text file of their own.
constexpr std::array<std::pair<DWORD, const char*>, 6> kTextAttributes{{
    {SCARD_ATTR_VENDOR_NAME, "vendor-name"},
    {SCARD_ATTR_VENDOR_IFD_TYPE, "vendor-type"},
    {SCARD_ATTR_VENDOR_IFD_SERIAL_NO, "serial-number"},
    {SCARD_ATTR_DEVICE_UNIT, "device-unit"},
    {SCARD_ATTR_DEVICE_SYSTEM_NAME_A, "system-name"},
    {SCARD_ATTR_DEVICE_FRIENDLY_NAME_A, "friendly-name"},
}};

std::string hex32(DWORD number) {
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%08lX", static_cast<unsigned long>(number & 0xFFFFFFFFU));
    return text.data();
}

Answer success(Bytes data) {
    Answer answer;
    answer.data = std::move(data);
    return answer;
}

Answer failure(long code) {
    Answer answer;
    answer.code = code;
    return answer;
}

// A text file's content without the line end that editors and "echo" add.
std::string withoutLineEnd(std::string text) {
    if (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

// The control code that a feature list (PC/SC part 10: tag, length, code in big-endian order) gives for a tag, or 0.
DWORD featureCode(const Bytes& list, std::uint8_t tag) {
    for (std::size_t at = 0; at + 6 <= list.size(); at += 6) {
        if (list[at] == tag)
            return static_cast<DWORD>(list[at + 2]) << 24 | static_cast<DWORD>(list[at + 3]) << 16 |
                   static_cast<DWORD>(list[at + 4]) << 8 | list[at + 5];
    }
    return 0;
}

} // namespace

struct Device::Call {
    std::string function;
    std::string arguments;
};

Device::Device(std::string folder) : folder_(std::move(folder)), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Device::~Device() {
    for (const int file : {watch_, wake_}) {
        if (file >= 0)
            ::close(file);
    }
}

bool Device::gone() const {
    return !folder_.exists() || folder_.has("unplugged");
}

long Device::open() {
    const Call call{"IFDHCreateChannel", " folder=" + folder_.path()};
    if (!folder_.exists())
        return IFD_NO_SUCH_DEVICE;
    hangWhileAsked(call.function);
    if (gone())
        return finish(call, IFD_NO_SUCH_DEVICE);
    openWatch();
    return finish(call, IFD_SUCCESS);
}

long Device::close() {
    stopWaiting();
    return finish({"IFDHCloseChannel", {}}, IFD_SUCCESS);
}

bool Device::cardPresent() {
    const auto word = std::string(trimmed(folder_.read("card").value_or("absent")));
    const std::lock_guard lock(mutex_);
    // Neither word: somebody is writing the file just now.
    if (word == "present" || word == "absent")
        lastPresent_ = word == "present";
    return lastPresent_;
}

Bytes Device::atr() const {
    const auto text = folder_.read("atr");
    return text ? parseHex(*text).value_or(kUsualAtr) : kUsualAtr;
}

long Device::presence() {
    const Call call{"IFDHICCPresence", {}};
    hangWhileAsked(call.function);
    if (gone())
        return finish(call, IFD_NO_SUCH_DEVICE);
    return finish(call, cardPresent() ? IFD_ICC_PRESENT : IFD_ICC_NOT_PRESENT);
}

std::optional<Answer> Device::fromRules(const std::string& file, const std::string& request) {
    const auto version = folder_.version(file);
    const auto content = folder_.read(file);
    if (!content)
        return std::nullopt;
    const std::lock_guard lock(mutex_);
    auto& rules = rules_[file];
    const auto bad = rules.badLines();
    rules.update(*content, version);
    if (rules.badLines() != bad) {
        for (const auto& line : rules.badLines())
            folder_.log("not understood in " + file + ": " + line);
    }
    return rules.answer(request);
}

std::optional<Answer> Device::attribute(DWORD tag) {
    if (auto answer = fromRules("attributes", hex32(tag)))
        return answer;
    for (const auto& [known, file] : kTextAttributes) {
        const auto text = tag == known ? folder_.read(file) : std::nullopt;
        if (text) {
            const auto value = withoutLineEnd(*text);
            return success(Bytes(value.begin(), value.end()));
        }
    }
    if (tag == SCARD_ATTR_ICC_PRESENCE)
        return success({static_cast<std::uint8_t>(cardPresent() ? 2 : 0)});
    if ((tag == SCARD_ATTR_ATR_STRING || tag == TAG_IFD_ATR) && cardPresent())
        return success(atr());
    return std::nullopt;
}

long Device::capability(DWORD tag, Target target) {
    const Call call{"IFDHGetCapabilities", " tag=" + hex32(tag)};
    hangWhileAsked(call.function);
    if (gone())
        return finish(call, IFD_NO_SUCH_DEVICE);
    // A refused attribute leaves the length alone: pcscd then has answers of its own to some.
    const DWORD room = target.length;
    const auto answer = attribute(tag).value_or(failure(IFD_ERROR_TAG));
    const long code = deliver(call, answer, target);
    if (answer.code != IFD_SUCCESS && !answer.claimedLength)
        target.length = room;
    return code;
}

long Device::setCapability(DWORD tag, const unsigned char* value, DWORD length) {
    return finish({"IFDHSetCapabilities", " tag=" + hex32(tag) + " in=" + toHex(value, length)}, IFD_ERROR_TAG);
}

long Device::setProtocol(DWORD protocol) {
    return finish({"IFDHSetProtocolParameters", " protocol=" + std::to_string(protocol)}, IFD_SUCCESS);
}

long Device::power(DWORD action, Target atr) {
    constexpr std::array<const char*, 3> names{"up", "down", "reset"};
    const bool known = action >= IFD_POWER_UP && action <= IFD_RESET;
    const Call call{"IFDHPowerICC",
                    std::string(" action=") + (known ? names[action - IFD_POWER_UP] : std::to_string(action).c_str())};
    hangWhileAsked(call.function);
    if (gone())
        return finish(call, IFD_NO_SUCH_DEVICE);
    if (action == IFD_POWER_DOWN || !known) {
        atr.length = 0;
        return finish(call, known ? IFD_SUCCESS : IFD_NOT_SUPPORTED);
    }
    if (!cardPresent())
        return deliver(call, failure(IFD_ERROR_POWER_ACTION), atr);
    return deliver(call, fromRules("power", "").value_or(success(this->atr())), atr);
}

long Device::transmit(const unsigned char* apdu, DWORD length, Target response) {
    const auto request = toHex(apdu, length);
    const Call call{"IFDHTransmitToICC", " in=" + request};
    hangWhileAsked(call.function);
    if (gone())
        return finish(call, IFD_NO_SUCH_DEVICE);
    if (!cardPresent())
        return deliver(call, failure(IFD_ICC_NOT_PRESENT), response);
    return deliver(call, fromRules("apdus", request).value_or(success(kUnknownInstruction)), response);
}

std::optional<Answer> Device::keyPressed(DWORD code) {
    constexpr std::uint8_t keyPressedTag = 5;
    const auto version = folder_.version("keys");
    const auto keys = folder_.read("keys");
    const auto features = folder_.read("features");
    const auto list = features ? parseHex(*features) : std::nullopt;
    if (!keys || !list || featureCode(*list, keyPressedTag) != code)
        return std::nullopt;
    const std::lock_guard lock(mutex_);
    if (!keys_.update(*keys, version))
        folder_.log("not understood in keys: " + *keys);
    return success(keys_.next());
}

Answer Device::controlAnswer(DWORD code, const std::string& input) {
    if (auto answer = fromRules("controls", hex32(code) + input))
        return *answer;
    // A rule without input holds for every input.
    if (auto answer = fromRules("controls", hex32(code)))
        return *answer;
    if (auto answer = keyPressed(code))
        return *answer;
    const auto features = code == kFeatureRequest ? folder_.read("features") : std::nullopt;
    if (features)
        return parseAnswer(trimmed(*features)).value_or(failure(IFD_COMMUNICATION_ERROR));
    return failure(IFD_ERROR_NOT_SUPPORTED);
}

long Device::control(DWORD code, const unsigned char* input, DWORD length, Target response) {
    const auto request = toHex(input, length);
    const Call call{"IFDHControl", " code=" + hex32(code) + " in=" + request};
    hangWhileAsked(call.function);
    if (gone())
        return finish(call, IFD_NO_SUCH_DEVICE);
    return deliver(call, controlAnswer(code, request), response);
}

void Device::hangWhileAsked(const std::string& function) {
    bool said = false;
    while (const auto names = folder_.read("hang")) {
        if (!trimmed(*names).empty() && names->find(function) == std::string::npos)
            return;
        if (!std::exchange(said, true))
            folder_.log(function + " hangs");
        std::this_thread::sleep_for(milliseconds(5));
    }
}

long Device::deliver(const Call& call, const Answer& answer, Target target) {
    std::this_thread::sleep_for(milliseconds(answer.delayMilliseconds));
    const auto room = static_cast<std::size_t>(target.data ? target.length : 0);
    const auto fits = std::min(room, answer.data.size());
    if (fits > 0)
        std::memcpy(target.data, answer.data.data(), fits);
    std::string details = " out=" + toHex(answer.data);
    long code = answer.code;
    if (answer.claimedLength) {
        target.length = static_cast<DWORD>(*answer.claimedLength);
        details += " length=" + std::to_string(*answer.claimedLength);
    } else {
        if (fits < answer.data.size() && code == IFD_SUCCESS)
            code = IFD_ERROR_INSUFFICIENT_BUFFER;
        target.length = static_cast<DWORD>(fits);
    }
    return finish(call, code, details);
}

long Device::finish(const Call& call, long code, const std::string& details) {
    folder_.log(call.function + call.arguments + " result=" + responseCodeName(code) + details);
    return code;
}

void Device::openWatch() {
    const std::lock_guard lock(mutex_);
    if (watch_ >= 0)
        return;
    watch_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    inotify_add_watch(watch_, folder_.path().c_str(),
                      IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE | IN_DELETE_SELF);
}

// Empties the watch; true if something was in it.
bool Device::readWatch() const {
    std::array<char, 4096> events{};
    bool any = false;
    while (read(watch_, events.data(), events.size()) > 0)
        any = true;
    return any;
}

long Device::waitForChange(int milliseconds) {
    std::array<pollfd, 2> files{{{watch_, POLLIN, 0}, {wake_, POLLIN, 0}}};
    poll(files.data(), files.size(), milliseconds);
    std::uint64_t count = 0;
    const bool stopped = read(wake_, &count, sizeof count) > 0;
    return readWatch() || stopped ? IFD_SUCCESS : IFD_RESPONSE_TIMEOUT;
}

void Device::stopWaiting() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(wake_, &one, sizeof one);
}

} // namespace SimReader
