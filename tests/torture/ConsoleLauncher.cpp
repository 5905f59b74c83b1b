#include "ConsoleLauncher.h"

#include <QRegularExpression>

namespace brindle {

using namespace Qt::StringLiterals;

QString ConsoleLauncher::Setting::root(const QString &name) const
{
    return home + u"/data/Brindle"_s + (name.isEmpty() ? QString() : u'/' + name);
}

ConsoleLauncher::ConsoleLauncher(Setting setting) : setting_(std::move(setting))
{
    process_.setProcessChannelMode(QProcess::MergedChannels);
    process_.setStandardInputFile(QProcess::nullDevice());
}

ConsoleLauncher::~ConsoleLauncher()
{
    kill();
}

void ConsoleLauncher::start(const QString &action)
{
    lines_.clear();
    process_.start(setting_.programs + u"/torture-launcher"_s,
                   {action, setting_.home, setting_.temporary, setting_.host, setting_.programs});
    process_.waitForStarted();
}

bool ConsoleLauncher::waitForEnd(std::chrono::milliseconds longest)
{
    process_.waitForFinished(static_cast<int>(longest.count()));
    read();
    return process_.state() == QProcess::NotRunning;
}

void ConsoleLauncher::kill()
{
    process_.kill();
    process_.waitForFinished(-1);
    read();
}

QStringList ConsoleLauncher::marked(const QString &mark) const
{
    QStringList found;
    for (const QString &line : lines_) {
        if (line.startsWith(mark)) {
            found << line.mid(mark.size());
        }
    }
    return found;
}

QString ConsoleLauncher::phase() const
{
    if (!wasKilled()) {
        return u"Ended"_s;
    }
    const QStringList phases = marked(u"phase: "_s);
    static const QRegularExpression version(u" [0-9.]+-stable$"_s);
    return phases.isEmpty() ? u"Starting"_s : QString(phases.last()).remove(version);
}

void ConsoleLauncher::read()
{
    while (process_.canReadLine()) {
        lines_ << QString::fromUtf8(process_.readLine()).trimmed();
    }
}

} // namespace brindle
