// Writes the application's icons as desktops look for them, below a folder:
// "scalable/apps/NAME.svg" and "WxH/apps/NAME.png" (Icon Theme Specification).
//
// usage: brindle-icons FOLDER NAME

#include "ui/AppIcon.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>

#include <cstdio>

using namespace brindle;

namespace {

bool writeIcons(const QDir &folder, const QString &name)
{
    bool good = folder.mkpath(QStringLiteral("scalable/apps"));
    QFile scalable(folder.filePath(QStringLiteral("scalable/apps/%1.svg").arg(name)));
    const QByteArray svg = AppIcon::svg();
    good = good && scalable.open(QIODevice::WriteOnly) && scalable.write(svg) == svg.size();
    for (const int side : {16, 24, 32, 48, 64, 128, 256, 512}) {
        const QString sized = QStringLiteral("%1x%1/apps").arg(side);
        good = good && folder.mkpath(sized) &&
               AppIcon::image(side).save(
                   folder.filePath(QStringLiteral("%1/%2.png").arg(sized, name)));
    }
    return good;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fputs("usage: brindle-icons FOLDER NAME\n", stderr);
        return 2;
    }
    if (!writeIcons(QDir(arguments.at(1)), arguments.at(2))) {
        std::fputs("brindle-icons: can't write the icons\n", stderr);
        return 1;
    }
    return 0;
}
