// A program with a window that stands in for the game. Asks to come to the front with the token in
// its environment, but only once its window is visible: some compositors ignore invisible windows.

#include <QGuiApplication>
#include <QRasterWindow>
#include <QTimer>

namespace {

class Window : public QRasterWindow
{
    void paintEvent(QPaintEvent * /*event*/) override
    {
        // Queue the request, because the first picture must come before it.
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
    qunsetenv("XDG_ACTIVATION_TOKEN"); // otherwise Qt 6.8 uses the token too early
    window.resize(400, 300);
    window.show();
    return QGuiApplication::exec();
}
