#include "util/FileAndDirectory.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>

#include <sys/stat.h>

#include "logging/Logging.h"
#include "posix/SystemCalls.h"

namespace Vantor {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

struct Freer {
    void operator()(unsigned char* memory) const { std::free(memory); }
};

void LogFailure(const std::string& text) {
    if (LibLogging* logger = LibLogging::GetHandle(0)) {
        logger->LogError(text);
    }
}

File OpenFile(const std::string& path, const char* mode) {
    return File(std::fopen(path.c_str(), mode));
}

bool CloseFile(File file) {
    return std::fclose(file.release()) == 0;
}

// The length in bytes, the position back at the start; -1 for what has no length, directories above all: the system
// opens them for reading and tells a length, but gives no bytes.
off_t FileLength(std::FILE* file) {
    struct stat status {};
    if (fstat(fileno(file), &status) != 0 || S_ISDIR(status.st_mode) || fseeko(file, 0, SEEK_END) != 0) {
        return -1;
    }
    const off_t length = ftello(file);
    return fseeko(file, 0, SEEK_SET) == 0 ? length : -1;
}

bool LeadsTo(const std::string& path, std::FILE* file) {
    struct stat opened {};
    struct stat named {};
    return fstat(fileno(file), &opened) == 0 && stat(path.c_str(), &named) == 0 && IsSameFile(opened, named);
}

constexpr off_t chunkSize = 1024;

// Goes on after a chunk that cannot be read, so that as much as possible arrives.
bool CopyChunks(std::FILE* from, std::FILE* to, off_t remaining, const std::string& source, const std::string& target) {
    bool complete = true;
    for (; remaining > 0 && std::feof(from) == 0; remaining -= chunkSize) {
        std::array<char, chunkSize> chunk{};
        const auto size = static_cast<std::size_t>(std::min(remaining, chunkSize));
        if (std::fread(chunk.data(), size, 1, from) != 1) {
            complete = false;
            for (const auto& text :
                 {std::string("WARNING: error during copy from"), source, std::string("to"), target}) {
                LogFailure(text);
            }
        }
        complete &= std::fwrite(chunk.data(), size, 1, to) == 1;
        complete &= std::fflush(to) == 0;
    }
    return complete;
}

} // namespace

std::string CombinePaths(const std::string& a, const std::string& b) {
    std::string combined = a;
    if (!combined.empty() && combined.back() != '/') {
        combined += '/';
    }
    return combined.append(b, !b.empty() && b.front() == '/' ? 1 : 0, std::string::npos);
}

std::string CombinePaths(const std::string* parts, int count) {
    std::string combined = count > 0 ? parts[0] : std::string();
    for (int i = 1; i < count; ++i) {
        combined = CombinePaths(combined, parts[i]);
    }
    return combined;
}

std::string RemoveLastPartFromPath(const std::string& p) {
    if (p.size() < 2) {
        return p;
    }
    const auto slash = p.rfind('/', p.size() - 2);
    return slash == std::string::npos ? p : p.substr(0, slash + 1);
}

std::string GetFilenameFromPath(const std::string& p) {
    const auto slash = p.rfind('/');
    return slash == std::string::npos ? p : p.substr(slash + 1);
}

bool ReadCompleteFileBinary(const std::string& path, unsigned char** data, long& size) {
    const File file = OpenFile(path, "rb");
    const off_t length = file ? FileLength(file.get()) : -1;
    if (length <= 0 || length > LONG_MAX) {
        return false;
    }
    const auto bytes = static_cast<std::size_t>(length);
    std::unique_ptr<unsigned char, Freer> buffer(static_cast<unsigned char*>(std::malloc(bytes)));
    if (!buffer || std::fread(buffer.get(), bytes, 1, file.get()) != 1) {
        return false;
    }
    *data = buffer.release();
    size = static_cast<long>(length);
    return true;
}

std::string ReadCompleteFile(const std::string& path) {
    unsigned char* data = nullptr;
    long size = 0;
    if (!ReadCompleteFileBinary(path, &data, size)) {
        return {};
    }
    const std::unique_ptr<unsigned char, Freer> owned(data);
    return {reinterpret_cast<const char*>(data), static_cast<std::size_t>(size)};
}

bool RenameFile(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

bool RemoveFile(const std::string& path) {
    return std::remove(path.c_str()) == 0;
}

bool FileExists(const std::string& path) {
    return OpenFile(path, "rb") != nullptr;
}

bool CopyFile(const std::string& source, const std::string& target) {
    const File from = OpenFile(source, "rb");
    const off_t length = from ? FileLength(from.get()) : -1;
    const bool copyable = length >= 0 && !LeadsTo(target, from.get());
    File to = copyable ? OpenFile(target, "wb") : nullptr;
    if (!to) {
        LogFailure("copy: source or dest is NULL");
        return false;
    }
    const bool complete = CopyChunks(from.get(), to.get(), length, source, target);
    return CloseFile(std::move(to)) && complete;
}

bool WriteToFile(const std::string& path, const std::vector<unsigned char>& data, bool removeFirst) {
    if (removeFirst) {
        RemoveFile(path);
    }
    File file = OpenFile(path, "wb");
    if (!file) {
        LogFailure("WriteToFile: cannot open file");
        return false;
    }
    const bool written = data.empty() || std::fwrite(data.data(), 1, data.size(), file.get()) == data.size();
    if (!CloseFile(std::move(file)) || !written) {
        LogFailure("fwrite retval != 1");
        return false;
    }
    return true;
}

bool WriteToFile(const std::string& path, const std::string& text, bool removeFirst) {
    return WriteToFile(path, std::vector<unsigned char>(text.begin(), text.end()), removeFirst);
}

std::string GenerateFilenameWithTimestamp(std::string name, std::string extension) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    std::array<char, 80> text{};
    tzset(); // localtime_r alone would keep to the time zone of its first call
    if (localtime_r(&now, &local) != nullptr) {
        std::strftime(text.data(), text.size(), "%Y-%m-%d-%H-%M-%S", &local);
    }
    return name + "_" + text.data() + "." + extension;
}

std::string GenerateTempFilename(std::string& dir, std::string prefix) {
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
    const std::string number = std::to_string(std::rand() % 100000);
    return CombinePaths(dir, prefix + std::string(6 - number.size(), '0') + number + ".tmp");
}

} // namespace Vantor
