// Asks a Wayland compositor for tokens. The compositor is this test itself.

#include "platform/ActivationTokens.h"
#include "xdg-activation-v1-server-protocol.h"

#include <QDir>
#include <QtTest>

#include <array>
#include <list>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <wayland-client.h>
#include <wayland-server.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

constexpr uint32_t everything =
    WL_SEAT_CAPABILITY_POINTER | WL_SEAT_CAPABILITY_KEYBOARD | WL_SEAT_CAPABILITY_TOUCH;

/// One user's input devices on the compositor's side.
struct Seat
{
    wl_resource *object = nullptr;
    wl_resource *pointer = nullptr;
    wl_resource *keyboard = nullptr;
    wl_resource *touch = nullptr;
};

/// The client's request for a token.
struct Request
{
    uint32_t serial = 0;
    const Seat *seat = nullptr;
    wl_resource *surface = nullptr;
    wl_resource *token = nullptr;
    bool isCommitted = false;
};

template <typename Object>
Object &dataOf(wl_resource *object)
{
    return *static_cast<Object *>(wl_resource_get_user_data(object));
}

/// A compositor and the connection of one client, both in this thread.
class Compositor
{
public:
    explicit Compositor(bool offersTokens = true)
    {
        std::array<int, 2> ends = {};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            qFatal("no socket to be had");
        }
        wl_client_create(display_, ends[0]);
        connection = wl_display_connect_to_fd(ends[1]);
        wl_global_create(display_, &wl_compositor_interface, 1, this, bindCompositor);
        addSeat();
        if (offersTokens) {
            wl_global_create(display_, &xdg_activation_v1_interface, 1, this, bindActivation);
        }
    }
    ~Compositor()
    {
        wl_display_disconnect(connection);
        wl_display_destroy_clients(display_);
        wl_display_destroy(display_);
    }
    Compositor(const Compositor &) = delete;
    Compositor &operator=(const Compositor &) = delete;

    Seat &addSeat()
    {
        Seat &seat = seats.emplace_back();
        wl_global_create(display_, &wl_seat_interface, 5, &seat, bindSeat);
        return seat;
    }
    void setCapabilities(const Seat &seat, uint32_t capabilities)
    {
        wl_seat_send_capabilities(seat.object, capabilities);
        serve();
    }
    /// Passes messages between compositor and client.
    void serve()
    {
        for (int i = 0; i < 4; ++i) {
            wl_display_flush(connection);
            wl_event_loop_dispatch(wl_display_get_event_loop(display_), 0);
            wl_display_flush_clients(display_);
            if (wl_display_prepare_read(connection) == 0) {
                wl_display_read_events(connection);
            }
            wl_display_dispatch_pending(connection);
        }
        QCOMPARE(wl_display_get_error(connection), 0);
    }
    void press(const Seat &seat, uint32_t serial, bool isDown = true)
    {
        wl_pointer_send_button(seat.pointer, serial, 0, 0x110, isDown ? 1 : 0);
        serve();
    }
    void strike(const Seat &seat, uint32_t serial, bool isDown = true)
    {
        wl_keyboard_send_key(seat.keyboard, serial, 0, 57, isDown ? 1 : 0);
        serve();
    }
    void touch(const Seat &seat, uint32_t serial)
    {
        wl_touch_send_down(seat.touch, serial, 0, surface, 0, 0, 0);
        wl_touch_send_up(seat.touch, serial + 1, 0, 0);
        serve();
    }
    void sendKeymap(const Seat &seat)
    {
        const int file = ::memfd_create("keymap", MFD_CLOEXEC);
        wl_keyboard_send_keymap(seat.keyboard, 0, file, 0);
        ::close(file);
        serve();
    }
    /// Returns a new window of the client. The compositor keeps it in `surface`.
    wl_surface *makeSurface()
    {
        static constexpr wl_registry_listener listener{
            [](void *data, wl_registry *registry, uint32_t name, const char *interface, uint32_t) {
                if (QByteArray(interface) == wl_compositor_interface.name) {
                    *static_cast<void **>(data) =
                        wl_registry_bind(registry, name, &wl_compositor_interface, 1);
                }
            },
            nullptr};
        wl_registry *const registry = wl_display_get_registry(connection);
        void *compositor = nullptr;
        wl_registry_add_listener(registry, &listener, &compositor);
        serve();
        wl_surface *const made =
            wl_compositor_create_surface(static_cast<wl_compositor *>(compositor));
        serve();
        wl_registry_destroy(registry);
        wl_compositor_destroy(static_cast<wl_compositor *>(compositor));
        return made;
    }

    std::list<Seat> seats;
    QList<Request> requests;
    int withdrawn = 0;
    wl_resource *surface = nullptr;
    wl_display *connection = nullptr;

private:
    // The functions below receive the client's calls.

    static void bindCompositor(wl_client *client, void *self, uint32_t version, uint32_t id)
    {
        static constexpr struct wl_compositor_interface calls{
            [](wl_client *client, wl_resource *object, uint32_t id) {
                dataOf<Compositor>(object).surface =
                    wl_resource_create(client, &wl_surface_interface, 1, id);
            },
            nullptr};
        auto *const object = wl_resource_create(client, &wl_compositor_interface, int(version), id);
        wl_resource_set_implementation(object, &calls, self, nullptr);
    }
    static void bindActivation(wl_client *client, void *self, uint32_t version, uint32_t id)
    {
        static constexpr struct xdg_activation_v1_interface calls{
            [](wl_client *, wl_resource *object) { wl_resource_destroy(object); }, makeToken,
            [](wl_client *, wl_resource *, const char *, wl_resource *) {}};
        auto *const object =
            wl_resource_create(client, &xdg_activation_v1_interface, int(version), id);
        wl_resource_set_implementation(object, &calls, self, nullptr);
    }
    static void makeToken(wl_client *client, wl_resource *object, uint32_t id)
    {
        static constexpr auto last = [](wl_resource *token) -> Request & {
            return dataOf<Compositor>(token).requests.last();
        };
        static constexpr struct xdg_activation_token_v1_interface calls{
            [](wl_client *, wl_resource *token, uint32_t serial, wl_resource *seat) {
                last(token).serial = serial;
                last(token).seat = &dataOf<Seat>(seat);
            },
            [](wl_client *, wl_resource *, const char *) {},
            [](wl_client *, wl_resource *token, wl_resource *window) {
                last(token).surface = window;
            },
            [](wl_client *, wl_resource *token) { last(token).isCommitted = true; },
            [](wl_client *, wl_resource *token) { wl_resource_destroy(token); }};
        auto &self = dataOf<Compositor>(object);
        auto *const token = wl_resource_create(client, &xdg_activation_token_v1_interface, 1, id);
        wl_resource_set_implementation(
            token, &calls, &self, [](wl_resource *gone) { ++dataOf<Compositor>(gone).withdrawn; });
        self.requests << Request{.token = token};
    }
    static void bindSeat(wl_client *client, void *seat, uint32_t version, uint32_t id)
    {
        static constexpr struct wl_seat_interface calls{
            [](wl_client *client, wl_resource *seat, uint32_t id) {
                dataOf<Seat>(seat).pointer =
                    wl_resource_create(client, &wl_pointer_interface, 5, id);
            },
            [](wl_client *client, wl_resource *seat, uint32_t id) {
                dataOf<Seat>(seat).keyboard =
                    wl_resource_create(client, &wl_keyboard_interface, 5, id);
            },
            [](wl_client *client, wl_resource *seat, uint32_t id) {
                dataOf<Seat>(seat).touch = wl_resource_create(client, &wl_touch_interface, 5, id);
            },
            nullptr};
        auto &self = *static_cast<Seat *>(seat);
        self.object = wl_resource_create(client, &wl_seat_interface, int(version), id);
        wl_resource_set_implementation(self.object, &calls, seat, nullptr);
    }

    wl_display *display_ = wl_display_create();
};

} // namespace

class TestActivationTokens : public QObject
{
    Q_OBJECT

    std::optional<Compositor> compositor_;
    std::optional<ActivationTokens> tokens_;
    QByteArrayList answers_;

    void connectTo(bool offersTokens)
    {
        tokens_.reset();
        compositor_.emplace(offersTokens);
        tokens_.emplace(compositor_->connection);
        compositor_->serve();
        compositor_->setCapabilities(seat(), everything);
    }
    const Seat &seat() { return compositor_->seats.front(); }
    std::shared_ptr<void> ask(void *surface = nullptr)
    {
        auto request =
            tokens_->ask(surface, [this](const QByteArray &token) { answers_ << token; });
        compositor_->serve();
        return request;
    }
    /// Returns the last request that the compositor received.
    const Request &asked() { return compositor_->requests.last(); }
    uint32_t serialAfterAsking()
    {
        ask();
        return asked().serial;
    }
    void answer(const char *token)
    {
        xdg_activation_token_v1_send_done(asked().token, token);
        compositor_->serve();
    }

private Q_SLOTS:
    void init()
    {
        answers_.clear();
        connectTo(true);
    }
    void cleanup()
    {
        tokens_.reset();
        compositor_.reset();
    }

    void eachRequestHasItsOwnAnswer()
    {
        compositor_->press(seat(), 11);
        const auto first = ask();
        QVERIFY(first);
        QVERIFY(asked().isCommitted);
        QVERIFY(answers_.isEmpty());
        answer("one");
        const auto second = ask();
        answer("not\nusable");
        QCOMPARE(answers_, (QByteArrayList{"one", ""}));
        QCOMPARE(compositor_->requests.size(), 2);
    }

    void onlyShortPrintableTokensAreUsable()
    {
        const QByteArray longest(255, '~');
        QCOMPARE(ActivationTokens::usable(longest), longest);
        for (const QByteArray &bad : {longest + '~', "a\nb"_ba, "a\177"_ba, "\xc3\xa4"_ba}) {
            QCOMPARE(ActivationTokens::usable(bad), QByteArray());
        }
    }

    void aTokenOrElseAStartupIdIsGiven()
    {
        for (const auto &[token, id, given] : {std::tuple{"token", "id", "token"},
                                               {"token", "", "token"},
                                               {"", "id", "id"},
                                               {"not\nusable", "id", "id"},
                                               {"", "not\nusable", ""}}) {
            qputenv("XDG_ACTIVATION_TOKEN", token);
            qputenv("DESKTOP_STARTUP_ID", id);
            QCOMPARE(ActivationTokens::given(), given);
        }
        qunsetenv("XDG_ACTIVATION_TOKEN");
        qunsetenv("DESKTOP_STARTUP_ID");
    }

    void namesTheLastPress()
    {
        QCOMPARE(serialAfterAsking(), 0U);
        QVERIFY(!asked().seat);
        compositor_->press(seat(), 11);
        compositor_->press(seat(), 12, false);
        QCOMPARE(serialAfterAsking(), 11U);
        QCOMPARE(asked().seat, &seat());
        compositor_->strike(seat(), 13);
        compositor_->strike(seat(), 14, false);
        QCOMPARE(serialAfterAsking(), 13U);
        wl_surface *const surface = compositor_->makeSurface();
        compositor_->touch(seat(), 15);
        QCOMPARE(serialAfterAsking(), 15U);
        wl_surface_destroy(surface);
    }

    void namesTheWindow()
    {
        ask();
        QVERIFY(!asked().surface);
        wl_surface *const surface = compositor_->makeSurface();
        const auto request = ask(surface);
        QVERIFY(asked().surface);
        QCOMPARE(asked().surface, compositor_->surface);
        wl_surface_destroy(surface);
    }

    void namesTheSeatOfTheLastPress()
    {
        Seat &guest = compositor_->addSeat();
        compositor_->serve();
        compositor_->setCapabilities(guest, WL_SEAT_CAPABILITY_KEYBOARD);
        compositor_->press(seat(), 21);
        compositor_->strike(guest, 22);
        QCOMPARE(serialAfterAsking(), 22U);
        QCOMPARE(asked().seat, &guest);
    }

    void listensToDevicesAsTheyArePlugged()
    {
        compositor_->strike(seat(), 31);
        compositor_->setCapabilities(seat(), 0);
        compositor_->strike(seat(), 32);
        QCOMPARE(serialAfterAsking(), 31U);
        compositor_->setCapabilities(seat(), WL_SEAT_CAPABILITY_KEYBOARD);
        compositor_->strike(seat(), 33);
        QCOMPARE(serialAfterAsking(), 33U);
    }

    void keepsNoKeymap()
    {
        const auto open = [] { return QDir(u"/proc/self/fd"_s).entryList().size(); };
        const qsizetype before = open();
        for (int i = 0; i < 10; ++i) {
            compositor_->sendKeymap(seat());
        }
        QCOMPARE(open(), before);
    }

    void aRequestThatIsDroppedIsWithdrawn()
    {
        ask().reset();
        xdg_activation_token_v1_send_done(asked().token, "late");
        compositor_->serve();
        QCOMPARE(compositor_->withdrawn, 1);
        QVERIFY(answers_.isEmpty());
    }

    void asksNobodyWithoutTheProtocol()
    {
        connectTo(false);
        QVERIFY(!ask());
    }
};

QTEST_GUILESS_MAIN(TestActivationTokens)
#include "tst_activationtokens.moc"
