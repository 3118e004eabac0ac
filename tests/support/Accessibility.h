// The controls of a running program as assistive technology sees them: by role, name and state.
#pragma once

#include "tests/support/Desktop.h"
#include "tests/support/Wait.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Support {

/// One control of another program. Copies mean the same control.
class Control {
public:
    struct Handle;
    explicit Control(std::shared_ptr<Handle> handle);

    [[nodiscard]] std::string name() const;
    /// Role names of AT-SPI: "push button", "check box", "radio button", "page tab", "combo box", "text", "label" …
    [[nodiscard]] std::string role() const;
    /// What a text control shows.
    [[nodiscard]] std::string text() const;
    [[nodiscard]] Rectangle extents() const;
    [[nodiscard]] bool checked() const;
    [[nodiscard]] bool enabled() const;
    /// On the screen now, not on a page that is covered.
    [[nodiscard]] bool showing() const;
    [[nodiscard]] bool selected() const;
    [[nodiscard]] std::vector<Control> children() const;
    /// All controls below this one, this one first, in the order of the tree.
    [[nodiscard]] std::vector<Control> all() const;

private:
    std::shared_ptr<Handle> handle_;
};

/// The program with this process id on the accessibility bus of the session.
class Accessibility {
public:
    explicit Accessibility(pid_t process);

    /// @return the program's root; nothing if it does not come up on the bus in time
    [[nodiscard]] std::optional<Control> program(Milliseconds limit = kPatience) const;
    /// Waits until there is a control with this role and name on the screen.
    /// @param number  which of several, counted from 0
    [[nodiscard]] std::optional<Control> find(const std::string& role, const std::string& name, std::size_t number = 0,
                                              Milliseconds limit = kPatience) const;
    /// Controls of a role that are on the screen now.
    [[nodiscard]] std::vector<Control> showing(const std::string& role) const;

private:
    pid_t process_;
};

} // namespace Support
