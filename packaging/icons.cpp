// Writes the application's icons below a folder: as Linux desktops look for them
// ("scalable/apps/NAME.svg" and "WxH/apps/NAME.png", as icon themes have them), or as macOS's
// iconutil wants them ("icon_16x16.png", "icon_16x16@2x.png" …).
//
// usage: brindle-icons FOLDER NAME
//        brindle-icons --iconset FOLDER

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

bool writeIconset(const QDir &folder)
{
    bool good = folder.mkpath(QStringLiteral("."));
    for (const int side : {16, 32, 128, 256, 512}) {
        const QString path = folder.filePath(QStringLiteral("icon_%1x%1").arg(side));
        good = good && AppIcon::image(side).save(path + QStringLiteral(".png")) &&
               AppIcon::image(2 * side).save(path + QStringLiteral("@2x.png"));
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
        std::fputs("usage: brindle-icons FOLDER NAME\n"
                   "       brindle-icons --iconset FOLDER\n",
                   stderr);
        return 2;
    }
    const bool good = arguments.at(1) == u"--iconset"
                          ? writeIconset(QDir(arguments.at(2)))
                          : writeIcons(QDir(arguments.at(1)), arguments.at(2));
    if (!good) {
        std::fputs("brindle-icons: can't write the icons\n", stderr);
        return 1;
    }
    return 0;
}
