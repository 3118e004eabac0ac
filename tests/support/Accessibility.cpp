#include "tests/support/Accessibility.h"

#include <gio/gio.h>

#include <stdexcept>
#include <utility>

// The protocol of the accessibility bus (AT-SPI 2) is spoken directly: its client library takes events of the other
// program while it waits for an answer, and then waits for itself.
namespace Support {

namespace {

constexpr int kCallLimitMilliseconds = 10000;

// Numbers of AT-SPI 2 states.
constexpr unsigned kChecked = 4;
constexpr unsigned kSelected = 23;
constexpr unsigned kSensitive = 24;
constexpr unsigned kShowing = 25;

struct Unreference {
    void operator()(GVariant* value) const { g_variant_unref(value); }
    void operator()(GDBusConnection* connection) const { g_object_unref(connection); }
};

using Value = std::unique_ptr<GVariant, Unreference>;
using Bus = std::unique_ptr<GDBusConnection, Unreference>;

// An object on a bus.
struct Address {
    std::string name;
    std::string path;
};

// Calls a method; nothing if the other side fails or is gone. Takes over `arguments`.
Value call(GDBusConnection* bus, const Address& object, const char* interface, const char* method,
           GVariant* arguments = nullptr) {
    return Value(g_dbus_connection_call_sync(bus, object.name.c_str(), object.path.c_str(), interface, method,
                                             arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, kCallLimitMilliseconds,
                                             nullptr, nullptr));
}

std::string firstText(const Value& answer) {
    const char* text = nullptr;
    if (answer && g_variant_is_of_type(answer.get(), G_VARIANT_TYPE("(s)")))
        g_variant_get(answer.get(), "(&s)", &text);
    return text ? text : "";
}

Bus connect(const std::string& address) {
    return Bus(g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr));
}

// The session bus knows where the accessibility bus is, and starts it if need be.
GDBusConnection* accessibilityBus() {
    static const Bus bus = [] {
        const Bus session(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
        if (!session)
            throw std::runtime_error("no session bus");
        Bus connected =
            connect(firstText(call(session.get(), {"org.a11y.Bus", "/org/a11y/bus"}, "org.a11y.Bus", "GetAddress")));
        if (!connected)
            throw std::runtime_error("no accessibility bus");
        return connected;
    }();
    return bus.get();
}

std::vector<Address> childrenOf(const Address& object) {
    const auto answer = call(accessibilityBus(), object, "org.a11y.atspi.Accessible", "GetChildren");
    std::vector<Address> children;
    if (!answer || !g_variant_is_of_type(answer.get(), G_VARIANT_TYPE("(a(so))")))
        return children;
    GVariantIter* iterator = nullptr;
    const char* name = nullptr;
    const char* path = nullptr;
    g_variant_get(answer.get(), "(a(so))", &iterator);
    while (g_variant_iter_next(iterator, "(&s&o)", &name, &path))
        children.push_back({name, path});
    g_variant_iter_free(iterator);
    return children;
}

pid_t processOf(const Address& object) {
    const auto answer =
        call(accessibilityBus(), {"org.freedesktop.DBus", "/org/freedesktop/DBus"}, "org.freedesktop.DBus",
             "GetConnectionUnixProcessID", g_variant_new("(s)", object.name.c_str()));
    guint32 process = 0;
    if (answer)
        g_variant_get(answer.get(), "(u)", &process);
    return static_cast<pid_t>(process);
}

} // namespace

struct Control::Handle {
    Address object;

    [[nodiscard]] Value ask(const char* interface, const char* method, GVariant* arguments = nullptr) const {
        return call(accessibilityBus(), object, interface, method, arguments);
    }

    [[nodiscard]] bool offers(const std::string& interface) const {
        const auto answer = ask("org.a11y.atspi.Accessible", "GetInterfaces");
        if (!answer || !g_variant_is_of_type(answer.get(), G_VARIANT_TYPE("(as)")))
            return false;
        const Value names(g_variant_get_child_value(answer.get(), 0));
        for (gsize i = 0; i < g_variant_n_children(names.get()); ++i) {
            const Value name(g_variant_get_child_value(names.get(), i));
            if (interface == g_variant_get_string(name.get(), nullptr))
                return true;
        }
        return false;
    }

    [[nodiscard]] bool has(unsigned state) const {
        const auto answer = ask("org.a11y.atspi.Accessible", "GetState");
        if (!answer || !g_variant_is_of_type(answer.get(), G_VARIANT_TYPE("(au)")))
            return false;
        const Value words(g_variant_get_child_value(answer.get(), 0));
        if (g_variant_n_children(words.get()) <= state / 32)
            return false;
        const Value word(g_variant_get_child_value(words.get(), state / 32));
        return (g_variant_get_uint32(word.get()) >> (state % 32) & 1U) != 0;
    }
};

Control::Control(std::shared_ptr<Handle> handle) : handle_(std::move(handle)) {}

std::string Control::name() const {
    const auto answer = handle_->ask("org.freedesktop.DBus.Properties", "Get",
                                     g_variant_new("(ss)", "org.a11y.atspi.Accessible", "Name"));
    if (!answer)
        return {};
    GVariant* inner = nullptr;
    g_variant_get(answer.get(), "(v)", &inner);
    const Value owned(inner);
    return g_variant_is_of_type(inner, G_VARIANT_TYPE_STRING) ? g_variant_get_string(inner, nullptr) : "";
}

std::string Control::role() const {
    return firstText(handle_->ask("org.a11y.atspi.Accessible", "GetRoleName"));
}

std::string Control::text() const {
    // Asking a control that has no text makes the other program complain on its standard error.
    if (!handle_->offers("org.a11y.atspi.Text"))
        return {};
    return firstText(handle_->ask("org.a11y.atspi.Text", "GetText", g_variant_new("(ii)", 0, -1)));
}

Rectangle Control::extents() const {
    constexpr guint32 ofTheScreen = 0;
    const auto answer = handle_->ask("org.a11y.atspi.Component", "GetExtents", g_variant_new("(u)", ofTheScreen));
    Rectangle area;
    if (answer)
        g_variant_get(answer.get(), "((iiii))", &area.x, &area.y, &area.width, &area.height);
    return area;
}

bool Control::checked() const {
    return handle_->has(kChecked);
}

bool Control::enabled() const {
    return handle_->has(kSensitive);
}

bool Control::showing() const {
    return handle_->has(kShowing);
}

bool Control::selected() const {
    return handle_->has(kSelected);
}

std::vector<Control> Control::children() const {
    std::vector<Control> children;
    for (auto& child : childrenOf(handle_->object))
        children.emplace_back(std::make_shared<Handle>(Handle{std::move(child)}));
    return children;
}

std::vector<Control> Control::all() const {
    std::vector<Control> all{*this};
    for (const auto& child : children()) {
        const auto below = child.all();
        all.insert(all.end(), below.begin(), below.end());
    }
    return all;
}

Accessibility::Accessibility(pid_t process) : process_(process) {}

std::optional<Control> Accessibility::program(Milliseconds limit) const {
    const Address registry{"org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root"};
    return waitUntil(
        [&]() -> std::optional<Control> {
            for (auto& root : childrenOf(registry)) {
                if (processOf(root) == process_)
                    return Control(std::make_shared<Control::Handle>(Control::Handle{std::move(root)}));
            }
            return std::nullopt;
        },
        limit);
}

std::optional<Control> Accessibility::find(const std::string& role, const std::string& name, std::size_t number,
                                           Milliseconds limit) const {
    return waitUntil(
        [&]() -> std::optional<Control> {
            std::size_t index = 0;
            for (const auto& control : showing(role)) {
                if (control.name() == name && index++ == number)
                    return control;
            }
            return std::nullopt;
        },
        limit);
}

std::vector<Control> Accessibility::showing(const std::string& role) const {
    std::vector<Control> found;
    const auto root = program(Milliseconds(0));
    for (const auto& control : root ? root->all() : std::vector<Control>{}) {
        if (control.role() == role && control.showing())
            found.push_back(control);
    }
    return found;
}

} // namespace Support
