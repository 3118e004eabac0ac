// The lock file by which the window's toolkit allows one copy a user, asked without the toolkit: a file named for the
// user in his home directory with the copy's process number in it. The number proves nothing, for a file that was left
// behind names whatever process has it now; the lock of the kernel (fcntl) that the copy keeps on the file as long as
// it lives does.
#pragma once

#include "posix/FileDescriptor.h"

#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

namespace Vantor {

/// The copy of the window that holds a lock.
struct RunningCopy {
    pid_t process = 0;      ///< 0: out of sight, on another machine or in another container
    std::string user;       ///< account that the lock belongs to; its number where it has no name
    std::int64_t since = 0; ///< when the lock was taken, in seconds since the epoch
};

/// Where the toolkit makes this user's lock.
[[nodiscard]] std::string InstanceLockPath();

/// Who holds the lock; nothing where nobody does, where the file is no lock of this user, and where the file system
/// does not tell. A process that has taken the lock itself loses it by asking: closing any descriptor of the file gives
/// it up.
[[nodiscard]] std::optional<RunningCopy> FindRunningCopy(const std::string& path = InstanceLockPath());

/// While one lives, no other start of a program on this file system looks at the locks in the folder, or takes one: the
/// toolkit makes a lock in several steps. Waits for two seconds at most, as anybody may hold up the others.
class InstanceTurn {
public:
    /// @param folder  the one with the lock; may be missing
    explicit InstanceTurn(const std::string& folder);
    /// Whether it is really this one's turn.
    [[nodiscard]] bool IsOurs() const { return m_isOurs; }

private:
    FileDescriptor m_folder;
    bool m_isOurs = false;
};

enum class InstanceLockState {
    Free, ///< none is there, or it is the toolkit's own business: not a lock, not this user's, on a strange file system
    Held, ///< by a living copy
    Left, ///< by a copy that has ended, and it cannot be removed
};

/// Removes a lock that no living copy holds. Follows no link, and removes nothing but this user's locks.
[[nodiscard]] InstanceLockState ClearInstanceLock(const std::string& path, const InstanceTurn& turn);

} // namespace Vantor
