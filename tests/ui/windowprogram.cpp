// A program with a window, in the game's place: it asks for the front by the permission in its
// environment, once it can be seen. There are compositors that listen only to windows that are
// there.

#include <QGuiApplication>
#include <QRasterWindow>
#include <QTimer>

namespace {

class Window : public QRasterWindow
{
public:
    Window()
    {
        // Qt (6.8) would use it sooner.
        qunsetenv("XDG_ACTIVATION_TOKEN");
    }

private:
    void paintEvent(QPaintEvent * /*event*/) override
    {
        // Behind this picture.
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
    window.resize(400, 300);
    window.show();
    return QGuiApplication::exec();
}
