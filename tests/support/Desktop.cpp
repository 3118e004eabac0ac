#include "tests/support/Desktop.h"

#include "tests/support/Process.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

#include <stdexcept>

namespace Support {

namespace {

struct FreeByX {
    void operator()(void* memory) const { XFree(memory); }
};

template <typename Item>
using XOwned = std::unique_ptr<Item, FreeByX>;

// A window that vanishes while it is looked at is no reason to end the test program, which is what Xlib would do.
int ignoreError(Display*, XErrorEvent*) {
    return 0;
}

} // namespace

struct Desktop::Connection {
    Connection() : display(XOpenDisplay(nullptr)) {
        if (!display)
            throw std::runtime_error("no display");
        XSetErrorHandler(ignoreError);
    }
    ~Connection() { XCloseDisplay(display); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    [[nodiscard]] Atom atom(const char* name) const { return XInternAtom(display, name, False); }

    // The bytes of a property of format 8, or its 32-bit items as longs.
    [[nodiscard]] std::string property(Window window, const char* name) const {
        Atom type = 0;
        int format = 0;
        unsigned long items = 0;
        unsigned long left = 0;
        unsigned char* data = nullptr;
        if (XGetWindowProperty(display, window, atom(name), 0, 1024, False, AnyPropertyType, &type, &format, &items,
                               &left, &data) != Success ||
            !data)
            return {};
        const XOwned<unsigned char> owned(data);
        const std::size_t size = format == 32 ? sizeof(long) : static_cast<std::size_t>(format) / 8;
        return {reinterpret_cast<const char*>(data), items * size};
    }

    [[nodiscard]] pid_t owner(Window window) const {
        const auto bytes = property(window, "_NET_WM_PID");
        return bytes.size() < sizeof(long) ? 0 : static_cast<pid_t>(*reinterpret_cast<const long*>(bytes.data()));
    }

    [[nodiscard]] bool shown(Window window) const {
        XWindowAttributes attributes{};
        return XGetWindowAttributes(display, window, &attributes) != 0 && attributes.map_state == IsViewable;
    }

    template <typename Visitor>
    void visit(Window window, Visitor visitor) const {
        Window root = 0;
        Window parent = 0;
        Window* children = nullptr;
        unsigned count = 0;
        if (XQueryTree(display, window, &root, &parent, &children, &count) == 0 || !children)
            return;
        const XOwned<Window> owned(children);
        for (unsigned i = 0; i < count; ++i) {
            visitor(children[i]);
            visit(children[i], visitor);
        }
    }

    Display* display;
};

Desktop::Desktop() : connection_(std::make_unique<Connection>()) {}

Desktop::~Desktop() = default;

std::vector<Desktop::Window> Desktop::windows(pid_t process) const {
    std::vector<Window> found;
    connection_->visit(DefaultRootWindow(connection_->display), [&](Window window) {
        if (connection_->owner(window) == process && connection_->shown(window) && !title(window).empty())
            found.push_back(window);
    });
    return found;
}

std::optional<Desktop::Window> Desktop::window(pid_t process, Milliseconds limit) const {
    return waitUntil(
        [&]() -> std::optional<Window> {
            const auto found = windows(process);
            return found.empty() ? std::nullopt : std::optional(found.front());
        },
        limit);
}

std::optional<Desktop::Window> Desktop::window(pid_t process, const std::string& wanted, Milliseconds limit) const {
    return waitUntil(
        [&]() -> std::optional<Window> {
            for (const auto window : windows(process)) {
                if (title(window) == wanted)
                    return window;
            }
            return std::nullopt;
        },
        limit);
}

std::string Desktop::title(Window window) const {
    return connection_->property(window, "_NET_WM_NAME");
}

Rectangle Desktop::extents(Window window) const {
    XWindowAttributes attributes{};
    ::Window child = 0;
    Rectangle area;
    XGetWindowAttributes(connection_->display, window, &attributes);
    XTranslateCoordinates(connection_->display, window, attributes.root, 0, 0, &area.x, &area.y, &child);
    area.width = attributes.width;
    area.height = attributes.height;
    return area;
}

void Desktop::resize(Window window, int width, int height) const {
    XResizeWindow(connection_->display, window, static_cast<unsigned>(width), static_cast<unsigned>(height));
    waitUntil([&] {
        const auto area = extents(window);
        return area.width == width && area.height == height;
    });
}

std::vector<unsigned long> Desktop::pixels(const Rectangle& area) const {
    XImage* image =
        XGetImage(connection_->display, DefaultRootWindow(connection_->display), area.x, area.y,
                  static_cast<unsigned>(area.width), static_cast<unsigned>(area.height), AllPlanes, ZPixmap);
    std::vector<unsigned long> colours;
    for (int y = 0; image && y < area.height; ++y) {
        for (int x = 0; x < area.width; ++x)
            colours.push_back(XGetPixel(image, x, y));
    }
    if (image)
        XDestroyImage(image);
    return colours;
}

void Desktop::click(int x, int y) const {
    XTestFakeMotionEvent(connection_->display, -1, x, y, CurrentTime);
    XTestFakeButtonEvent(connection_->display, 1, True, CurrentTime);
    XTestFakeButtonEvent(connection_->display, 1, False, CurrentTime);
    XSync(connection_->display, False);
}

void Desktop::click(const Rectangle& area) const {
    click(area.x + area.width / 2, area.y + area.height / 2);
}

void Desktop::press(Window window, const std::string& key) const {
    const auto code = XKeysymToKeycode(connection_->display, XStringToKeysym(key.c_str()));
    // Without a window manager nobody else gives the window the keyboard.
    XSetInputFocus(connection_->display, window, RevertToParent, CurrentTime);
    XTestFakeKeyEvent(connection_->display, code, True, CurrentTime);
    XTestFakeKeyEvent(connection_->display, code, False, CurrentTime);
    XSync(connection_->display, False);
}

void Desktop::closeByWindowManager(Window window) const {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = connection_->atom("WM_PROTOCOLS");
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(connection_->atom("WM_DELETE_WINDOW"));
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(connection_->display, window, False, NoEventMask, &event);
    XSync(connection_->display, False);
}

bool Desktop::screenshot(const std::string& file) const {
    return run({"import", "-silent", "-window", "root", file}).status == 0;
}

} // namespace Support
