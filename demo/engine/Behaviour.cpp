#include "Behaviour.h"

#include <QFile>
#include <QSettings>

Behaviour Behaviour::read(const QString &project)
{
    Behaviour behaviour;
    QFile file(project + QStringLiteral("/project.godot"));
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : file.readAll().split('\n')) {
            if (line.startsWith("config/name=")) {
                behaviour.title = QString::fromUtf8(line.mid(12)).remove(QLatin1Char('"'));
            }
        }
    }
    const QSettings ini(project + QStringLiteral("/sample-engine.ini"), QSettings::IniFormat);
    const auto value = [&ini](const char *key, const QVariant &otherwise) {
        return ini.value(QLatin1String(key), otherwise);
    };
    behaviour.importSeconds = value("importSeconds", behaviour.importSeconds).toDouble();
    behaviour.importExit = value("importExit", behaviour.importExit).toInt();
    behaviour.playSeconds = value("playSeconds", behaviour.playSeconds).toDouble();
    behaviour.playExit = value("playExit", behaviour.playExit).toInt();
    behaviour.printLines = value("printLines", behaviour.printLines).toInt();
    behaviour.printText = value("printText", behaviour.printText).toString();
    behaviour.requireFile = value("requireFile", behaviour.requireFile).toString();
    behaviour.ignoreTerm = value("ignoreTerm", behaviour.ignoreTerm).toBool();
    return behaviour;
}
