// Makes file permissions count for a test that runs as root.
#pragma once

#include <stdexcept>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace test {

/// While it lives, the calling thread has none of root's privileges: a file of mode 0000 is closed to it although it
/// owns the file, just as to an ordinary user. Needs no second user, so it works for a mapped root too.
class WithoutPrivileges {
public:
    WithoutPrivileges() {
        if (syscall(SYS_capget, &m_header, m_before) != 0) {
            throw std::runtime_error("capget");
        }
        __user_cap_data_struct dropped[2] = {m_before[0], m_before[1]};
        dropped[0].effective = 0;
        dropped[1].effective = 0;
        Set(dropped);
    }
    ~WithoutPrivileges() { syscall(SYS_capset, &m_header, m_before); }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

private:
    void Set(const __user_cap_data_struct* data) {
        if (syscall(SYS_capset, &m_header, data) != 0) {
            throw std::runtime_error("capset");
        }
    }

    __user_cap_header_struct m_header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct m_before[2] = {};
};

} // namespace test
