// A program with a window, which stands in for the game. Once its window is visible, it asks to
// come to the front by the token in its environment: some compositors listen to visible windows
// only.

#include <QGuiApplication>
#include <QRasterWindow>
#include <QTimer>

namespace {

class Window : public QRasterWindow
{
    void paintEvent(QPaintEvent * /*event*/) override
    {
        // Queued, because the picture comes first.
        QTimer::singleShot(0, this, [this] {
            qputenv("XDG_ACTIVATION_TOKEN", token_);
            requestActivate();
        });
    }

    const QByteArray token_ = qgetenv("XDG_ACTIVATION_TOKEN");
};

} // namespace

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    Window window;
    qunsetenv("XDG_ACTIVATION_TOKEN"); // Qt 6.8 would use it sooner
    window.resize(400, 300);
    window.show();
    return QGuiApplication::exec();
}
