// A program with a window, in the game's place: it asks for the front as soon as it can be seen, by
// the permission in its environment.

#include <QGuiApplication>
#include <QRasterWindow>
#include <QTimer>

namespace {

class Window : public QRasterWindow
{
    void paintEvent(QPaintEvent * /*event*/) override
    {
        // Behind this picture: there are compositors that listen only to windows that are there.
        QTimer::singleShot(0, this, &QWindow::requestActivate);
    }
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
