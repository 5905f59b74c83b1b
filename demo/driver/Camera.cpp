#include "Camera.h"

#include <QDir>
#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>

#include <cstdio>
#include <stdexcept>

namespace brindle {

Camera::Camera(QString folder) : folder_(std::move(folder))
{
    if (folder_.isEmpty()) {
        return;
    }
    QDir().mkpath(folder_);
    const QDir pictures(folder_, QStringLiteral("*.png"));
    const QStringList earlier = pictures.entryList();
    for (const QString &name : earlier) {
        QFile::remove(pictures.filePath(name));
    }
}

void Camera::take(const QString &name)
{
    if (folder_.isEmpty()) {
        return;
    }
    const QString file = QStringLiteral("%1/%2-%3.png")
                             .arg(folder_)
                             .arg(++taken_, 2, 10, QLatin1Char('0'))
                             .arg(name);
    if (!QGuiApplication::primaryScreen()->grabWindow(0).save(file)) {
        throw std::runtime_error("can't write " + file.toStdString());
    }
    std::printf("[picture: %s]\n", qPrintable(file));
    std::fflush(stdout);
}

} // namespace brindle
