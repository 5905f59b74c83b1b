#include "ui/Views.h"

#include "ui/AccessibleProgress.h"

#include <QQuickWindow>
#include <QtGlobal>

// Generated, and left out of a program that links this library unless something calls them.
extern void qml_register_types_Brindle();

namespace brindle {

namespace {

QUrl view(const QString &name)
{
    return QUrl(QStringLiteral("qrc:/qt-project.org/imports/Brindle/%1.qml").arg(name));
}

} // namespace

void Views::prepare()
{
    qml_register_types_Brindle();
    AccessibleProgress::install();
    // The window is drawn by the processor: that needs half the memory, is there sooner, wants no
    // driver, and leaves the graphics card to the game. There is little to draw, and none of it
    // while nothing changes.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    // The letters of the desktop's other windows, not the ones made for zooming.
    QQuickWindow::setTextRenderType(QQuickWindow::NativeTextRendering);
}

QUrl Views::mainWindow()
{
    return view(QStringLiteral("MainWindow"));
}

QUrl Views::alertWindow()
{
    return view(QStringLiteral("AlertWindow"));
}

} // namespace brindle
