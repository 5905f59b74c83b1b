#include "Behaviour.h"

#include <QSettings>

namespace {

template <typename T>
void take(const QSettings &ini, const QString &key, T &field)
{
    if (ini.contains(key)) {
        field = ini.value(key).value<T>();
    }
}

} // namespace

Behaviour Behaviour::read(const QString &project)
{
    const QSettings ini(project + QStringLiteral("/sample-engine.ini"), QSettings::IniFormat);
    Behaviour behaviour;
    take(ini, QStringLiteral("importSeconds"), behaviour.importSeconds);
    take(ini, QStringLiteral("importExit"), behaviour.importExit);
    take(ini, QStringLiteral("windowSeconds"), behaviour.windowSeconds);
    take(ini, QStringLiteral("playSeconds"), behaviour.playSeconds);
    take(ini, QStringLiteral("playExit"), behaviour.playExit);
    take(ini, QStringLiteral("crashSignal"), behaviour.crashSignal);
    take(ini, QStringLiteral("printLines"), behaviour.printLines);
    take(ini, QStringLiteral("printText"), behaviour.printText);
    take(ini, QStringLiteral("printParseError"), behaviour.printParseError);
    take(ini, QStringLiteral("requireFile"), behaviour.requireFile);
    take(ini, QStringLiteral("ignoreTerm"), behaviour.ignoreTerm);
    return behaviour;
}
