// Prints the names of the PC/SC readers, one a line; can wait until pcscd answers with a number of them.
// usage: pcsc-readers [--wait NUMBER [--limit SECONDS]]
// Exit status: 0, also for no readers; 1 when there is no service or the number was not reached in time.
#include <winscard.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

std::vector<std::string> splitNames(const std::vector<char>& names) {
    std::vector<std::string> list;
    for (const char* name = names.data(); *name != '\0'; name += list.back().size() + 1)
        list.emplace_back(name);
    return list;
}

// Nothing if there is no service.
std::optional<std::vector<std::string>> readers() {
    SCARDCONTEXT context = 0;
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) != SCARD_S_SUCCESS)
        return std::nullopt;
    DWORD length = 0;
    std::vector<char> names;
    LONG code = SCardListReaders(context, nullptr, nullptr, &length);
    if (code == SCARD_S_SUCCESS) {
        names.assign(length + 2, '\0');
        code = SCardListReaders(context, nullptr, names.data(), &length);
    }
    SCardReleaseContext(context);
    if (code == SCARD_E_NO_READERS_AVAILABLE)
        return std::vector<std::string>{};
    return code == SCARD_S_SUCCESS ? std::optional(splitNames(names)) : std::nullopt;
}

const char* option(int count, char** arguments, const char* name, const char* otherwise) {
    for (int i = 1; i + 1 < count; ++i) {
        if (std::strcmp(arguments[i], name) == 0)
            return arguments[i + 1];
    }
    return otherwise;
}

} // namespace

int main(int count, char** arguments) {
    using Clock = std::chrono::steady_clock;
    const char* wanted = option(count, arguments, "--wait", nullptr);
    const auto limit = Clock::now() + std::chrono::seconds(std::atol(option(count, arguments, "--limit", "20")));
    auto found = readers();
    while (wanted && (!found || found->size() != std::strtoul(wanted, nullptr, 10)) && Clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        found = readers();
    }
    if (!found) {
        std::fputs("pcsc-readers: no PC/SC service\n", stderr);
        return EXIT_FAILURE;
    }
    for (const auto& name : *found)
        std::puts(name.c_str());
    return wanted && found->size() != std::strtoul(wanted, nullptr, 10) ? EXIT_FAILURE : EXIT_SUCCESS;
}
