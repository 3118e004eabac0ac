// A file system in memory so small that a test can fill it.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include "tests/support/TemporaryFolder.h"

namespace test {

/// Mounted over a temporary folder of the test's private machine; gone with the object.
class TinyDisk {
public:
    /// @param options of the memory file system, e.g. "size=64k" or "nr_inodes=4"
    explicit TinyDisk(const std::string& options = "size=64k") {
        if (mount("tinydisk", m_folder.Path().c_str(), "tmpfs", 0, options.c_str()) != 0) {
            throw std::runtime_error(std::string("mount: ") + std::strerror(errno));
        }
    }
    ~TinyDisk() { umount2(m_folder.Path().c_str(), MNT_DETACH); }
    TinyDisk(const TinyDisk&) = delete;
    TinyDisk& operator=(const TinyDisk&) = delete;

    const std::string& Path() const { return m_folder.Path(); }
    std::string operator/(const std::string& name) const { return m_folder / name; }

    /// Takes all the room that is left with a file "filler".
    void Fill() const {
        const int fd = open((*this / "filler").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
        const std::string bytes(512, '#');
        while (write(fd, bytes.data(), bytes.size()) > 0) {
        }
        close(fd);
    }
    void Free() const { unlink((*this / "filler").c_str()); }

private:
    TemporaryFolder m_folder;
};

} // namespace test
