// A series of configuration writes whose every intermediate file is known, to tell a whole file from a torn one.
#pragma once

#include "tests/support/Saver.h"

#include <cstddef>
#include <string>
#include <vector>

namespace reliability {

/// Writes under /etc/vantor/lumoclient as the saver: for a private machine only.
class Saves {
public:
    /// Makes the starting file, and learns from one undisturbed run the file after each of `count` writes.
    Saves(const test::Saver& saver, int count);
    ~Saves();
    Saves(const Saves&) = delete;
    Saves& operator=(const Saves&) = delete;

    /// Puts the starting file back and forgets the progress of the run before.
    void restoreStart() const;
    /// Opens the configuration and writes; to be called in a child process.
    /// @return 0 if every write reported success, else 1
    int run() const;
    /// "" if the file is exactly the one after the last write that returned, or after the next; else what it is.
    std::string complaint() const;
    /// How many writes of the last run had returned.
    int completed() const;
    /// One write in a child process, as the program's next start would do it.
    void writeOnceMore() const;
    /// Sorted names in the configuration's folder.
    static std::vector<std::string> filesInFolder();

private:
    struct Progress; // in memory shared with the child
    const test::Saver& saver_;
    int count_;
    Progress* progress_;
    std::vector<std::string> states_; // states_[i] is the file after i writes
};

/// The whole file; "" if there is none.
std::string contents(const std::string& file);

} // namespace reliability
