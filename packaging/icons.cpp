// Renders a drawing (SVG) as square pictures (PNG), whose folders are made.
//
// usage: brindle-icons DRAWING SIDE FILE [SIDE FILE …]

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

namespace {

bool write(QSvgRenderer &drawing, int side, const QString &file)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawing.render(&painter);
    painter.end();
    return QDir().mkpath(QFileInfo(file).path()) && image.save(file);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().sliced(1);
    if (arguments.size() < 3 || arguments.size() % 2 == 0) {
        std::fputs("usage: brindle-icons DRAWING SIDE FILE [SIDE FILE …]\n", stderr);
        return 2;
    }
    QSvgRenderer drawing(arguments.at(0));
    bool good = drawing.isValid();
    for (qsizetype i = 1; good && i < arguments.size(); i += 2) {
        good = write(drawing, arguments.at(i).toInt(), arguments.at(i + 1));
    }
    if (!good) {
        std::fputs("brindle-icons: can't write the icons\n", stderr);
        return 1;
    }
    return 0;
}
