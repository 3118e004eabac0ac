#include "tests/support/FaultyProcess.h"

#include "logging/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <stdexcept>
#include <vector>

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Support {

namespace {

using Vantor::FileDescriptor;

struct NamedCall {
    int number;
    const char* name;
};

// What file code asks of the kernel, as far as this architecture has it. Memory and process calls are left alone.
constexpr NamedCall FileCalls[] = {
#ifdef SYS_open
    {SYS_open, "open"},
#endif
#ifdef SYS_readlink
    {SYS_readlink, "readlink"},
#endif
#ifdef SYS_stat
    {SYS_stat, "stat"},
#endif
#ifdef SYS_renameat
    {SYS_renameat, "renameat"},
#endif
#ifdef SYS_newfstatat
    {SYS_newfstatat, "fstatat"},
#endif
#ifdef SYS_fstatat64
    {SYS_fstatat64, "fstatat"},
#endif
#ifdef SYS_fstat64
    {SYS_fstat64, "fstat"},
#endif
#ifdef SYS_ftruncate64
    {SYS_ftruncate64, "ftruncate"},
#endif
#ifdef SYS__llseek
    {SYS__llseek, "lseek"},
#endif
#ifdef SYS_fcntl64
    {SYS_fcntl64, "fcntl"},
#endif
    {SYS_openat, "openat"},
    {SYS_readlinkat, "readlinkat"},
    {SYS_renameat2, "renameat2"},
    {SYS_statx, "statx"},
    {SYS_fstat, "fstat"},
    {SYS_ftruncate, "ftruncate"},
    {SYS_lseek, "lseek"},
    {SYS_fcntl, "fcntl"},
    {SYS_getdents64, "getdents"},
    {SYS_read, "read"},
    {SYS_pread64, "pread"},
    {SYS_write, "write"},
    {SYS_close, "close"},
    {SYS_flock, "flock"},
    {SYS_fchmod, "fchmod"},
    {SYS_fchown, "fchown"},
    {SYS_fgetxattr, "fgetxattr"},
    {SYS_fsetxattr, "fsetxattr"},
    {SYS_fsync, "fsync"},
    {SYS_syncfs, "syncfs"},
    {SYS_linkat, "linkat"},
    {SYS_unlinkat, "unlinkat"},
};

// Exit statuses that no sanitizer and no library uses.
constexpr int Succeeded = 110;
constexpr int NotSucceeded = 111;

/// Where the controlled process leaves the descriptor by which it is controlled.
constexpr int Listener = 500;

/// Makes the kernel ask the listener about each of the calls above.
int installFilter() {
    std::vector<sock_filter> program = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const NamedCall& call : FileCalls) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call.number), 0, 1));
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter));
}

[[noreturn]] void runControlled(const std::function<bool()>& body) {
    const int listener = installFilter();
    if (listener < 0 || dup3(listener, Listener, 0) < 0) {
        _exit(1);
    }
    _exit(body() ? Succeeded : NotSucceeded);
}

/// A copy of another process's descriptor.
FileDescriptor fetchDescriptor(int process, int number) {
    return FileDescriptor(static_cast<int>(syscall(SYS_pidfd_getfd, process, number, 0)));
}

/// The controlled process makes the descriptor in its own time.
FileDescriptor awaitListener(int process) {
    for (int attempt = 0; attempt < 5000; ++attempt) {
        FileDescriptor listener = fetchDescriptor(process, Listener);
        if (listener.IsOpen()) {
            return listener;
        }
        pollfd ended = {process, POLLIN, 0};
        if (poll(&ended, 1, 1) > 0) {
            break;
        }
    }
    throw std::runtime_error("the kernel does not let tests spoil system calls");
}

const char* nameOf(int number) {
    const auto found = std::find_if(std::begin(FileCalls), std::end(FileCalls),
                                    [&](const NamedCall& call) { return call.number == number; });
    return found == std::end(FileCalls) ? "unknown" : found->name;
}

/// Writes half of what the process wants to write, in its place. @return the bytes written
long writeHalf(int process, const seccomp_notif& call) {
    std::vector<char> bytes(static_cast<std::size_t>(call.data.args[2]) / 2);
    const iovec here = {bytes.data(), bytes.size()};
    const iovec there = {reinterpret_cast<void*>(static_cast<std::uintptr_t>(call.data.args[1])), bytes.size()};
    const FileDescriptor file = fetchDescriptor(process, static_cast<int>(call.data.args[0]));
    if (process_vm_readv(static_cast<pid_t>(call.pid), &here, 1, &there, 1, 0) < 0) {
        return -1;
    }
    return write(file.Get(), bytes.data(), bytes.size());
}

seccomp_notif_resp answer(int process, const seccomp_notif& call, const Fault& fault) {
    seccomp_notif_resp response = {};
    response.id = call.id;
    if (fault.kind == Fault::Error) {
        response.error = -fault.error;
    } else if (fault.kind == Fault::ShortWrite && call.data.nr == SYS_write && call.data.args[2] > 1) {
        response.val = writeHalf(process, call);
    } else {
        response.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    }
    return response;
}

} // namespace

FaultyRun runWithFaults(const std::function<bool()>& body, const std::function<Fault(const FileCall&)>& spoil) {
    const pid_t child = fork();
    if (child == 0) {
        runControlled(body);
    }
    const FileDescriptor process(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    const FileDescriptor listener = awaitListener(process.Get());
    FaultyRun result;
    for (;;) {
        pollfd sources[] = {{listener.Get(), POLLIN, 0}, {process.Get(), POLLIN, 0}};
        poll(sources, 2, -1);
        seccomp_notif call = {};
        if ((sources[0].revents & POLLIN) != 0 && ioctl(listener.Get(), SECCOMP_IOCTL_NOTIF_RECV, &call) == 0) {
            const Fault fault = spoil({result.calls++, nameOf(call.data.nr)});
            seccomp_notif_resp response = answer(process.Get(), call, fault);
            ioctl(listener.Get(), SECCOMP_IOCTL_NOTIF_SEND, &response);
        } else if ((sources[1].revents & POLLIN) != 0) {
            break;
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    const int ending = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
    result.finished = ending == Succeeded || ending == NotSucceeded;
    result.succeeded = ending == Succeeded;
    return result;
}

} // namespace Support
