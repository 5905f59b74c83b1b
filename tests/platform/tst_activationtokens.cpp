// Tokens of a Wayland compositor, which is this test itself: it sees what it is asked.

#include "platform/ActivationTokens.h"
#include "xdg-activation-v1-server-protocol.h"

#include <QDir>
#include <QtTest>

#include <array>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <wayland-client.h>
#include <wayland-server.h>

using namespace brindle;

namespace {

/// What a token was asked for with.
struct Request
{
    uint32_t serial = 0;
    QString seat;
    wl_resource *surface = nullptr;
    wl_resource *token = nullptr;
    bool isCommitted = false;
};

/// A compositor and the connection of one client, both in this thread.
class Compositor
{
public:
    Compositor()
    {
        std::array<int, 2> ends = {};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            qFatal("no socket to be had");
        }
        client_ = wl_client_create(display_, ends[0]);
        connection = wl_display_connect_to_fd(ends[1]);
        wl_global_create(display_, &wl_compositor_interface, 1, this, bindCompositor);
    }
    ~Compositor()
    {
        wl_display_disconnect(connection);
        wl_display_destroy_clients(display_);
        wl_display_destroy(display_);
    }
    Compositor(const Compositor &) = delete;
    Compositor &operator=(const Compositor &) = delete;

    void offerTokens()
    {
        wl_global_create(display_, &xdg_activation_v1_interface, 1, this, bindActivation);
    }
    void addSeat(const QString &name)
    {
        seats.insert(name, {});
        auto *const data = new std::pair(this, name);
        bound_.emplace_back(data);
        wl_global_create(display_, &wl_seat_interface, 5, data, bindSeat);
    }
    void setCapabilities(const QString &seat, uint32_t capabilities)
    {
        wl_seat_send_capabilities(seats[seat].object, capabilities);
        serve();
    }
    /// Lets both sides hear each other.
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
    void press(const QString &seat, uint32_t serial, bool isDown = true)
    {
        wl_pointer_send_button(seats[seat].pointer, serial, 0, 0x110, isDown ? 1 : 0);
        serve();
    }
    void strike(const QString &seat, uint32_t serial, bool isDown = true)
    {
        wl_keyboard_send_key(seats[seat].keyboard, serial, 0, 57, isDown ? 1 : 0);
        serve();
    }
    void touch(const QString &seat, uint32_t serial)
    {
        wl_touch_send_down(seats[seat].touch, serial, 0, surface, 0, 0, 0);
        wl_touch_send_up(seats[seat].touch, serial + 1, 0, 0);
        serve();
    }
    void sendKeymap(const QString &seat)
    {
        const int file = ::memfd_create("keymap", MFD_CLOEXEC);
        wl_keyboard_send_keymap(seats[seat].keyboard, 0, file, 0);
        ::close(file);
        serve();
    }
    /// The client's window, as the client has it; the compositor has it as `surface`.
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

    struct Seat
    {
        wl_resource *object = nullptr;
        wl_resource *pointer = nullptr;
        wl_resource *keyboard = nullptr;
        wl_resource *touch = nullptr;
    };
    QMap<QString, Seat> seats;
    QList<Request> requests;
    int withdrawn = 0;
    wl_resource *surface = nullptr;
    wl_display *connection = nullptr;

private:
    using Bound = std::pair<Compositor *, QString>;

    static void bindCompositor(wl_client *client, void *data, uint32_t version, uint32_t id)
    {
        static constexpr struct wl_compositor_interface calls{
            [](wl_client *client, wl_resource *object, uint32_t id) {
                auto *const self = static_cast<Compositor *>(wl_resource_get_user_data(object));
                self->surface = wl_resource_create(client, &wl_surface_interface, 1, id);
            },
            nullptr};
        auto *const object = wl_resource_create(client, &wl_compositor_interface, int(version), id);
        wl_resource_set_implementation(object, &calls, data, nullptr);
    }
    static void bindActivation(wl_client *client, void *data, uint32_t version, uint32_t id)
    {
        static constexpr struct xdg_activation_v1_interface calls{
            [](wl_client *, wl_resource *object) { wl_resource_destroy(object); }, makeToken,
            [](wl_client *, wl_resource *, const char *, wl_resource *) {}};
        auto *const object =
            wl_resource_create(client, &xdg_activation_v1_interface, int(version), id);
        wl_resource_set_implementation(object, &calls, data, nullptr);
    }
    static void makeToken(wl_client *client, wl_resource *object, uint32_t id)
    {
        auto *const self = static_cast<Compositor *>(wl_resource_get_user_data(object));
        static constexpr struct xdg_activation_token_v1_interface calls{
            [](wl_client *, wl_resource *token, uint32_t serial, wl_resource *seat) {
                last(token).serial = serial;
                last(token).seat = static_cast<Bound *>(wl_resource_get_user_data(seat))->second;
            },
            [](wl_client *, wl_resource *, const char *) {},
            [](wl_client *, wl_resource *token, wl_resource *surface) {
                last(token).surface = surface;
            },
            [](wl_client *, wl_resource *token) { last(token).isCommitted = true; },
            [](wl_client *, wl_resource *token) { wl_resource_destroy(token); }};
        auto *const token = wl_resource_create(client, &xdg_activation_token_v1_interface, 1, id);
        wl_resource_set_implementation(token, &calls, self, [](wl_resource *gone) {
            ++static_cast<Compositor *>(wl_resource_get_user_data(gone))->withdrawn;
        });
        self->requests << Request();
        last(token).token = token;
    }
    static Request &last(wl_resource *token)
    {
        return static_cast<Compositor *>(wl_resource_get_user_data(token))->requests.last();
    }
    static void bindSeat(wl_client *client, void *data, uint32_t version, uint32_t id)
    {
        static constexpr struct wl_seat_interface calls{
            [](wl_client *client, wl_resource *seat, uint32_t id) {
                find(seat).pointer = make(client, seat, &wl_pointer_interface, id);
            },
            [](wl_client *client, wl_resource *seat, uint32_t id) {
                find(seat).keyboard = make(client, seat, &wl_keyboard_interface, id);
            },
            [](wl_client *client, wl_resource *seat, uint32_t id) {
                find(seat).touch = make(client, seat, &wl_touch_interface, id);
            },
            nullptr};
        auto *const seat = wl_resource_create(client, &wl_seat_interface, int(version), id);
        wl_resource_set_implementation(seat, &calls, data, nullptr);
        find(seat).object = seat;
    }
    static Seat &find(wl_resource *seat)
    {
        const auto *const bound = static_cast<Bound *>(wl_resource_get_user_data(seat));
        return bound->first->seats[bound->second];
    }
    static wl_resource *make(wl_client *client, wl_resource *seat, const wl_interface *kind,
                             uint32_t id)
    {
        return wl_resource_create(client, kind, wl_resource_get_version(seat), id);
    }

    wl_display *display_ = wl_display_create();
    wl_client *client_ = nullptr;
    std::vector<std::unique_ptr<Bound>> bound_;
};

constexpr uint32_t everything =
    WL_SEAT_CAPABILITY_POINTER | WL_SEAT_CAPABILITY_KEYBOARD | WL_SEAT_CAPABILITY_TOUCH;
const auto seat0 = QStringLiteral("seat0");

} // namespace

class TestActivationTokens : public QObject
{
    Q_OBJECT

    std::unique_ptr<Compositor> compositor_;
    std::unique_ptr<ActivationTokens> tokens_;
    QByteArrayList answers_;

    std::shared_ptr<void> ask(void *surface = nullptr)
    {
        auto request =
            tokens_->ask(surface, [this](const QByteArray &token) { answers_ << token; });
        compositor_->serve();
        return request;
    }
    /// What the compositor was asked last.
    const Request &asked() { return compositor_->requests.last(); }
    void answer(const char *token)
    {
        xdg_activation_token_v1_send_done(asked().token, token);
        compositor_->serve();
    }

private Q_SLOTS:
    void init()
    {
        answers_.clear();
        compositor_ = std::make_unique<Compositor>();
        compositor_->addSeat(seat0);
        compositor_->offerTokens();
        tokens_ = std::make_unique<ActivationTokens>(compositor_->connection);
        compositor_->serve();
        compositor_->setCapabilities(seat0, everything);
    }
    void cleanup()
    {
        tokens_.reset();
        compositor_.reset();
    }

    void eachRequestHasItsOwnAnswer()
    {
        compositor_->press(seat0, 11);
        const auto first = ask();
        QVERIFY(first);
        QVERIFY(asked().isCommitted);
        QVERIFY(answers_.isEmpty());
        answer("one");
        const auto second = ask();
        answer("two");
        QCOMPARE(answers_, (QByteArrayList{"one", "two"}));
        QCOMPARE(compositor_->requests.size(), 2);
    }

    void onlyShortPrintableTokensAreUsable_data()
    {
        QTest::addColumn<QByteArray>("token");
        QTest::addColumn<bool>("usable");
        QTest::newRow("longest") << QByteArray(255, '~') << true;
        QTest::newRow("too long") << QByteArray(256, 'a') << false;
        QTest::newRow("line feed") << QByteArray("a\nb") << false;
        QTest::newRow("delete") << QByteArray("a\177") << false;
        QTest::newRow("not ASCII") << QByteArray("\xc3\xa4") << false;
    }

    void onlyShortPrintableTokensAreUsable()
    {
        QFETCH(QByteArray, token);
        QFETCH(bool, usable);
        const auto request = ask();
        answer(token.constData());
        QCOMPARE(answers_, QByteArrayList{usable ? token : QByteArray()});
    }

    void namesTheLastPress()
    {
        const auto nothing = ask();
        QCOMPARE(asked().serial, 0U);
        QVERIFY2(asked().seat.isEmpty(), "whose press would that be?");
        compositor_->press(seat0, 11);
        compositor_->press(seat0, 12, false);
        const auto button = ask();
        QCOMPARE(asked().serial, 11U);
        QCOMPARE(asked().seat, seat0);
        compositor_->strike(seat0, 13);
        compositor_->strike(seat0, 14, false);
        const auto key = ask();
        QCOMPARE(asked().serial, 13U);
        wl_surface *const surface = compositor_->makeSurface();
        compositor_->touch(seat0, 15);
        const auto finger = ask();
        QCOMPARE(asked().serial, 15U);
        wl_surface_destroy(surface);
    }

    void namesTheWindow()
    {
        const auto nothing = ask();
        QVERIFY(!asked().surface);
        wl_surface *const surface = compositor_->makeSurface();
        const auto request = ask(surface);
        QVERIFY(asked().surface);
        QCOMPARE(asked().surface, compositor_->surface);
        wl_surface_destroy(surface);
    }

    void namesTheSeatOfTheLastPress()
    {
        const auto guest = QStringLiteral("guest");
        compositor_->addSeat(guest);
        compositor_->serve();
        compositor_->setCapabilities(guest, WL_SEAT_CAPABILITY_KEYBOARD);
        compositor_->press(seat0, 21);
        compositor_->strike(guest, 22);
        const auto request = ask();
        QCOMPARE(asked().serial, 22U);
        QCOMPARE(asked().seat, guest);
    }

    void followsWhatIsPluggedIn()
    {
        compositor_->strike(seat0, 31);
        compositor_->setCapabilities(seat0, 0);
        compositor_->strike(seat0, 32); // a keyboard that is gone
        const auto before = ask();
        QCOMPARE(asked().serial, 31U);
        compositor_->setCapabilities(seat0, WL_SEAT_CAPABILITY_KEYBOARD);
        compositor_->strike(seat0, 33);
        const auto request = ask();
        QCOMPARE(asked().serial, 33U);
    }

    void keepsNoKeymap()
    {
        const auto open = [] { return QDir(QStringLiteral("/proc/self/fd")).entryList().size(); };
        const qsizetype before = open();
        for (int i = 0; i < 10; ++i) {
            compositor_->sendKeymap(seat0);
        }
        QCOMPARE(open(), before);
    }

    void aRequestThatIsDroppedIsWithdrawn()
    {
        auto request = ask();
        request.reset();
        // The answer is on its way.
        xdg_activation_token_v1_send_done(asked().token, "late");
        compositor_->serve();
        QCOMPARE(compositor_->withdrawn, 1);
        QVERIFY(answers_.isEmpty());
    }

    void whereThereAreNoTokensNobodyIsAsked()
    {
        cleanup();
        compositor_ = std::make_unique<Compositor>();
        compositor_->addSeat(seat0);
        tokens_ = std::make_unique<ActivationTokens>(compositor_->connection);
        compositor_->serve();
        QVERIFY(!ask());
    }
};

QTEST_GUILESS_MAIN(TestActivationTokens)
#include "tst_activationtokens.moc"
