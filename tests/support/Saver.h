// Who saves in a test, and what he finds: the same test for root and for members of the group.
#pragma once

#include "tests/support/PackageLayout.h"

#include <memory>
#include <ostream>
#include <string>

namespace test {

enum class Who {
    Root,      ///< in a folder of his own, as the program makes it
    Member,    ///< on the layout that the package makes
    Colleague, ///< another member
};

void PrintTo(Who who, std::ostream* out);

class Saver {
public:
    explicit Saver(Who who);
    /// Whether this machine lacks the account, so that the test is to be skipped.
    static bool IsMissing(Who who);

    /// While the result lives, this process acts as the saver.
    std::unique_ptr<ActingAs> Act() const;
    /// Empties the configuration's folder and puts a file there as the layout has it.
    void Restore(const std::string& text) const;
    /// Gives a file, or the folder, the group and mode that the layout has for it.
    void Share(const std::string& path) const;

private:
    const PackageLayout* layout = nullptr; ///< none for root
    const Account* account = nullptr;
};

} // namespace test
