#include "tests/fakes/FakeConsole.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <set>

#include <sys/mman.h>
#include <unistd.h>

namespace {

struct Console {
    bool present = false;
    int opened = 0;
    int closed = 0;
    std::string mode;
    int file = -1;
    std::set<std::FILE*> streams;
};

Console console;

std::FILE* OpenConsole(const char* mode) {
    ++console.opened;
    console.mode = mode;
    if (!console.present) {
        return nullptr;
    }
    std::FILE* const stream = fdopen(dup(console.file), mode);
    console.streams.insert(stream);
    return stream;
}

bool IsConsole(const char* path) {
    return std::strcmp(path, "/dev/console") == 0;
}

} // namespace

namespace FakeConsole {

void Reset(bool present) {
    if (console.file != -1) {
        close(console.file);
    }
    console = Console();
    console.present = present;
    console.file = memfd_create("console", 0);
}

std::string Written() {
    std::array<char, 4096> text{};
    const ssize_t length = pread(console.file, text.data(), text.size(), 0);
    return length < 0 ? std::string() : std::string(text.data(), static_cast<std::size_t>(length));
}

int Opened() {
    return console.opened;
}

std::string Mode() {
    return console.mode;
}

int Closed() {
    return console.closed;
}

} // namespace FakeConsole

// The linker sends every fopen and fclose of the program here (--wrap); with 64-bit file offsets fopen is fopen64.
extern "C" {

std::FILE* __real_fopen(const char* path, const char* mode);
std::FILE* __real_fopen64(const char* path, const char* mode);
int __real_fclose(std::FILE* stream);

std::FILE* __wrap_fopen(const char* path, const char* mode) {
    return IsConsole(path) ? OpenConsole(mode) : __real_fopen(path, mode);
}

std::FILE* __wrap_fopen64(const char* path, const char* mode) {
    return IsConsole(path) ? OpenConsole(mode) : __real_fopen64(path, mode);
}

int __wrap_fclose(std::FILE* stream) {
    console.closed += static_cast<int>(console.streams.erase(stream));
    return __real_fclose(stream);
}
}
