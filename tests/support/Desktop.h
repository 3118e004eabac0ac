// The X display of a test as a person in front of it has it: windows, pointer, keyboard, pictures.
#pragma once

#include "tests/support/Wait.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Support {

/// In pixels of the screen, from its top left corner.
struct Rectangle {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

class Desktop {
public:
    using Window = unsigned long;

    /// Opens the display of the environment; throws std::runtime_error if there is none.
    Desktop();
    ~Desktop();
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    /// Windows on the screen that belong to a process and have a title.
    [[nodiscard]] std::vector<Window> windows(pid_t process) const;
    /// Waits for the first of them.
    [[nodiscard]] std::optional<Window> window(pid_t process, Milliseconds limit = kPatience) const;
    /// Waits for one with this title.
    [[nodiscard]] std::optional<Window> window(pid_t process, const std::string& title,
                                               Milliseconds limit = kPatience) const;
    [[nodiscard]] std::string title(Window window) const;
    [[nodiscard]] Rectangle extents(Window window) const;

    /// As if somebody dragged the window's corner; waits until the program has followed.
    void resize(Window window, int width, int height) const;
    /// Colours of an area, row by row.
    [[nodiscard]] std::vector<unsigned long> pixels(const Rectangle& area) const;

    /// Moves the pointer there and presses its left button once.
    void click(int x, int y) const;
    /// Clicks into the middle.
    void click(const Rectangle& area) const;
    /// Presses and releases a key with the X name ("Return", "Down", "a") in the window.
    void press(Window window, const std::string& key) const;
    /// Asks the window to close, as a window manager does when its closing button is pressed.
    void closeByWindowManager(Window window) const;
    /// Writes a picture of the whole screen; the file's name tells the format.
    [[nodiscard]] bool screenshot(const std::string& file) const;

private:
    struct Connection;
    std::unique_ptr<Connection> connection_;
};

} // namespace Support
