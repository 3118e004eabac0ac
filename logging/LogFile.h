// The live log file on disk, shared kindly with other processes, log rotation programs and full disks.
#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

#include "posix/FileDescriptor.h"

namespace Vantor {

/// How many times this process's ancestors and itself were made by fork since the program began: tells a child that
/// what it inherited belongs to its parent.
[[nodiscard]] unsigned int ForkGeneration();

/// One open log file to which whole lines are appended. Not thread-safe: its logger's lock guards it.
///
/// Several processes may hold the same file open: each line is one append, so none overwrites another, and each holder
/// keeps a shared record lock on a byte far behind the end, by which they know of each other without a lock per line.
/// Who moves or empties the file claims it first (see LogFileClaim).
class LogFile {
public:
    /// Opens the file for appending and makes it if it is missing; what it holds stays. Closes another one first.
    /// Gives a logger that is just emptying the file up to a tenth of a second to finish.
    /// Only regular files and devices are opened: a pipe could block its writer, or end the program.
    /// @return false when it cannot be opened; the log file is closed then
    bool Open(const std::string& path);
    void Close();
    bool IsOpen() const { return m_file.IsOpen(); }

    /// Appends the line whole. When the disk has no room for all of it, nothing of it stays.
    void Write(std::string_view line);

    /// True when the file was opened by the parent of this process, with which it must not be shared; see Follow.
    bool IsInherited() const { return m_forks != ForkGeneration(); }

    /// Looks whether the file's name still leads to the open file; if not (it was removed or renamed), opens what is
    /// there now, for appending. Lines that went into a removed file since the last look are written again.
    /// Meant to be called about once a second, and before a child of fork writes. @return true when the name led here
    bool Follow();

    /// True when another, who is just emptying the file, does not finish: he was stopped, and lines would be lost when
    /// he goes on. See StepAside.
    bool IsHeldUp() { return IsOpen() && !m_present && !JoinHolders(); }
    /// Renames the file to `target` and opens a new one under its name.
    void StepAside(const std::string& target);

    /// True when, since Open, another logger was seen to have the file open or the file was taken away: numbered parts
    /// that exist may then be of this run.
    bool HadCompany() const { return m_hadCompany; }

private:
    friend class LogFileClaim;
    void Adopt(FileDescriptor file);
    bool ChangeTo(FileDescriptor next);
    void WaitToJoin();
    void LeaveParentsFile();
    bool JoinHolders();
    bool LeadsHere() const;
    void DropFragment(std::size_t written);

    FileDescriptor m_file;
    std::string m_path;
    bool m_present = false; // our shared lock is set
    bool m_hadCompany = false;
    unsigned int m_forks = 0; // ForkGeneration() when this process opened it
    off_t m_followedSize = 0; // the file's length when its name last led here
};

/// The right to move or empty an open log file, and to number and archive its parts. One holder in the world has it.
class LogFileClaim {
public:
    /// Claims without waiting.
    explicit LogFileClaim(LogFile& file);
    ~LogFileClaim();
    LogFileClaim(const LogFileClaim&) = delete;
    LogFileClaim& operator=(const LogFileClaim&) = delete;

    /// False when somebody else is just about the file, or its name no longer leads to it: it is to be left as it is.
    bool IsGranted() const { return m_granted; }

    /// Empties the file if nobody else has it open; else it is left as it is.
    void Clear();

    /// Moves what the file holds to the file `target`, which is replaced, and leaves the log file open and empty.
    ///
    /// Who is alone with the file copies it and empties it in place, so that who follows the file keeps it. In company
    /// another's line could fall between the copy and the emptying; there the file's name is moved instead, and the
    /// others, whose lines go on into the moved file for up to a second, come after.
    /// @return false when that could not be done completely; then the log file holds what it held, and goes on
    bool MoveContentsTo(const std::string& target);

private:
    bool EmptyIfAlone(off_t size);
    bool CopyTo(const std::string& target);
    bool RenameTo(const std::string& target);

    LogFile& m_log;
    bool m_granted = false;
};

} // namespace Vantor
