#include "platform/ActivationTokens.h"

#include <algorithm>

#ifdef Q_OS_LINUX
#include "xdg-activation-v1-client-protocol.h"

#include <list>
#include <string_view>
#include <unistd.h>
#include <vector>
#include <wayland-client.h>
#endif

namespace brindle {

#ifdef Q_OS_LINUX

namespace {

/// Frees our side of a compositor's object. The compositor frees its side when the connection ends.
struct Release
{
    void operator()(auto *object) const { wl_proxy_destroy(reinterpret_cast<wl_proxy *>(object)); }
};

template <typename Object>
using Owned = std::unique_ptr<Object, Release>;

using Answer = std::function<void(const QByteArray &)>;

} // namespace

struct ActivationTokens::Connection
{
    /// One user's input devices. Version 1 of `wl_seat` has all events that we need.
    struct Seat
    {
        Connection &connection;
        Owned<wl_seat> object;
        std::vector<Owned<wl_proxy>> devices = {};
    };

    void add(wl_seat *object);
    static int onInput(const void *, void *device, uint32_t, const wl_message *event,
                       wl_argument *arguments);

    wl_display *const display;
    Owned<wl_registry> registry = {};
    Owned<xdg_activation_v1> activation = {};
    std::list<Seat> seats = {}; // an unplugged seat stays, but is silent
    // The last press's serial number and seat.
    uint32_t serial = 0;
    wl_seat *pressedOn = nullptr;
};

void ActivationTokens::Connection::add(wl_seat *object)
{
    Seat &added = seats.emplace_back(*this, Owned<wl_seat>(object));
    const auto listen = [](void *data, wl_seat *seat, uint32_t capabilities) {
        auto &devices = static_cast<Seat *>(data)->devices;
        devices.clear();
        const auto hear = [&](uint32_t kind, auto get) {
            if ((capabilities & kind) != 0) {
                devices.emplace_back(reinterpret_cast<wl_proxy *>(get(seat)));
                wl_proxy_add_dispatcher(devices.back().get(), onInput, nullptr, data);
            }
        };
        hear(WL_SEAT_CAPABILITY_KEYBOARD, wl_seat_get_keyboard);
        hear(WL_SEAT_CAPABILITY_POINTER, wl_seat_get_pointer);
        hear(WL_SEAT_CAPABILITY_TOUCH, wl_seat_get_touch);
    };
    static constexpr wl_seat_listener listener{listen, nullptr};
    wl_seat_add_listener(object, &listener, &added);
}

/// Receives every event of every device. A press has its serial as the first argument; the fourth
/// argument of a key or button is 1 for a press.
int ActivationTokens::Connection::onInput(const void * /*implementation*/, void *device,
                                          uint32_t /*opcode*/, const wl_message *event,
                                          wl_argument *arguments)
{
    const auto &seat =
        *static_cast<Seat *>(wl_proxy_get_user_data(static_cast<wl_proxy *>(device)));
    const std::string_view name = event->name;
    if (name == "keymap") {
        ::close(arguments[1].h); // the event's descriptor is ours to close
    } else if (name == "down" || ((name == "key" || name == "button") && arguments[3].u == 1)) {
        seat.connection.serial = arguments[0].u;
        seat.connection.pressedOn = seat.object.get();
    }
    return 0;
}

ActivationTokens::ActivationTokens(void *display)
    : connection_(new Connection{static_cast<wl_display *>(display)})
{
    const auto onGlobal = [](void *data, wl_registry *registry, uint32_t name,
                             const char *interface, uint32_t /*version*/) {
        auto &self = *static_cast<Connection *>(data);
        const auto bind = [&](const wl_interface &wanted) {
            return wl_registry_bind(registry, name, &wanted, 1);
        };
        if (std::string_view(interface) == wl_seat_interface.name) {
            self.add(static_cast<wl_seat *>(bind(wl_seat_interface)));
        } else if (std::string_view(interface) == xdg_activation_v1_interface.name) {
            self.activation.reset(
                static_cast<xdg_activation_v1 *>(bind(xdg_activation_v1_interface)));
        }
    };
    static constexpr wl_registry_listener listener{onGlobal,
                                                   [](void *, wl_registry *, uint32_t) {}};
    connection_->registry.reset(wl_display_get_registry(connection_->display));
    wl_registry_add_listener(connection_->registry.get(), &listener, connection_.get());
}

std::shared_ptr<void> ActivationTokens::ask(void *surface, Answer answer)
{
    if (!connection_->activation) {
        return nullptr;
    }
    auto *const token = xdg_activation_v1_get_activation_token(connection_->activation.get());
    const auto withdraw = [token](const Answer *unused) {
        xdg_activation_token_v1_destroy(token);
        delete unused;
    };
    const std::shared_ptr<Answer> request(new Answer(std::move(answer)), withdraw);
    static constexpr xdg_activation_token_v1_listener listener{
        [](void *data, xdg_activation_token_v1 *, const char *text) {
            (*static_cast<Answer *>(data))(usable(text));
        }};
    xdg_activation_token_v1_add_listener(token, &listener, request.get());
    if (connection_->pressedOn) {
        xdg_activation_token_v1_set_serial(token, connection_->serial, connection_->pressedOn);
    }
    if (surface) {
        xdg_activation_token_v1_set_surface(token, static_cast<wl_surface *>(surface));
    }
    xdg_activation_token_v1_commit(token);
    wl_display_flush(connection_->display);
    return request;
}

#else

struct ActivationTokens::Connection
{};

ActivationTokens::ActivationTokens(void * /*display*/) {}

std::shared_ptr<void> ActivationTokens::ask(void * /*surface*/,
                                            std::function<void(const QByteArray &)> /*answer*/)
{
    return nullptr;
}

#endif

QByteArray ActivationTokens::usable(const QByteArray &token)
{
    constexpr qsizetype longest = 255;
    const auto isPrintable = [](char letter) { return letter >= ' ' && letter <= '~'; };
    return token.size() <= longest && std::ranges::all_of(token, isPrintable) ? token
                                                                              : QByteArray();
}

QByteArray ActivationTokens::given()
{
    const QByteArray token = usable(qgetenv("XDG_ACTIVATION_TOKEN"));
    // With GLib before 2.76, as on Debian 12, GNOME passes the token only as a startup id.
    return token.isEmpty() ? usable(qgetenv("DESKTOP_STARTUP_ID")) : token;
}

ActivationTokens::~ActivationTokens() = default;

} // namespace brindle
