// Shows an empty Qt Quick window of the launcher's size, for comparison.

#include <QGuiApplication>
#include <QQmlApplicationEngine>

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    QQmlApplicationEngine engine;
    engine.loadData("import QtQuick\nWindow { width: 600; height: 720; visible: true }\n");
    return QGuiApplication::exec();
}
