// The live log file on disk, shared kindly with other processes, log rotation programs and hostile folders.
#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

#include "posix/FileDescriptor.h"

namespace Vantor {

/// Copies a log file, whole, to the file `target`, which is made anew with the source's mode less the umask.
/// A copy that could not be completed is removed.
/// @return true when every byte is there; false also for two names of one file, and where either is a link, a folder,
///         a device or a pipe
[[nodiscard]] bool CopyLogFile(const std::string& source, const std::string& target);

/// One open log file to which whole lines are appended. Not thread-safe: its logger's lock guards it.
///
/// Only a regular file that has one name is opened, and by no link but one of root's or the caller's: who may write in
/// the folder must not have another file written, emptied or copied. Where the file's own name is such a link, it is
/// followed when the file is opened, and the parts and archives are named after the link's target, beside it.
///
/// Several loggers, of any process, may have the file open: each line is one append, so none overwrites another. A file
/// is not copied and emptied but renamed, so that no moment loses a line; who has it open still writes there until he
/// looks (see Follow). One at a time moves a file. Who may read the file can lock it so that it seems to be open in
/// another logger: it is split and archived all the same, but not emptied, and no part is replaced.
class LogFile {
public:
    /// Opens the file for appending and makes it if it is missing; what it holds stays. Closes another one first.
    /// @return false when it cannot be opened; the log file is closed then
    bool Open(const std::string& path);
    /// Archives the file and its numbered parts under time-stamped names, none of which is taken twice, and opens the
    /// file. What cannot be archived stays where it is, and so does what finds no free name among 10,000. What has the
    /// file's name and cannot be opened is archived too, unless it is a folder or a device.
    void OpenAnew(const std::string& path);
    void Close() { m_file.Close(); }
    bool IsOpen() const { return m_file.IsOpen(); }

    /// Empties the file, unless another logger has it open.
    void Clear();

    /// Appends the line whole. When the disk has no room for all of it, nothing of it stays.
    /// @return true when it was written; false also while no file is open
    bool Write(std::string_view line);

    /// Looks whether the file's name still leads to the open file; if not (it was removed or renamed), opens what is
    /// there now, for appending. Meant to be called about once a second. @return true when the name led here
    bool Follow();

    /// Makes the file's lines a numbered part, which replaces one of that number, and opens an empty file. Beside other
    /// loggers, whose parts must stay, the first free number up to 10,000 is taken. Lines that cannot be moved stay in
    /// the file.
    /// @param number of the part; the next one afterwards, if this one was tried
    void Split(unsigned long& number);

private:
    bool Reopen();
    void Join();
    FileDescriptor Claim();
    void StartAnew(const std::string& moved);
    void DropFragment(off_t written);

    FileDescriptor m_file;
    std::string m_path;
    bool m_shared = false; // since Open another logger had the file open, or the file was taken away
};

} // namespace Vantor
