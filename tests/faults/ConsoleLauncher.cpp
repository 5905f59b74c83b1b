#include "ConsoleLauncher.h"

#include "files/Files.h"
#include "support/Await.h"
#include "support/TestChild.h"

#include <QCoreApplication>
#include <QDir>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace brindle {

ConsoleLauncher::ConsoleLauncher() : programs_(QCoreApplication::applicationDirPath())
{
    process_.setProcessChannelMode(QProcess::MergedChannels);
    process_.setStandardInputFile(QProcess::nullDevice());
    QObject::connect(&process_, &QProcess::readyRead, [this] { read(); });
}

ConsoleLauncher::~ConsoleLauncher()
{
    process_.disconnect();
    process_.kill();
    process_.waitForFinished();
}

void ConsoleLauncher::setVariable(const QString &name, const QString &value)
{
    environment_.insert(name, value);
}

void ConsoleLauncher::play(const QUrl &host)
{
    Files::createFolder(temporary());
    lines_.clear();
    process_.setProcessEnvironment(environment_);
    process_.start(QCoreApplication::applicationDirPath() + u"/torture-launcher"_s,
                   {u"play"_s, home_.filePath(u"home"_s), temporary(), host.toString(), programs_});
}

void ConsoleLauncher::waitFor(const QString &text)
{
    try {
        spinUntil([&] { return hasPrinted(text); });
    } catch (const std::exception &) {
        throw std::runtime_error("\"" + text.toStdString() + "\" was not printed, but:\n" +
                                 lines_.join(u'\n').toStdString());
    }
}

int ConsoleLauncher::waitForEnd()
{
    spinUntil([&] { return process_.state() == QProcess::NotRunning; });
    read();
    return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
}

bool ConsoleLauncher::hasPrinted(const QString &text) const
{
    return std::any_of(lines_.begin(), lines_.end(),
                       [&](const QString &line) { return line.contains(text); });
}

QString ConsoleLauncher::project() const
{
    return root() + u"/Game/godot-brindle-main"_s;
}

void ConsoleLauncher::read()
{
    while (process_.canReadLine()) {
        lines_ << QString::fromUtf8(process_.readLine()).trimmed();
    }
}

QByteArray steppedEngine(const QString &importSteps, const QString &playSteps)
{
    return u"#!/bin/sh\ncase \"$*\" in\n*--import*) exec '%1' %2;;\nesac\nexec '%1' %3\n"_s
        .arg(testChild(), importSteps, playSteps)
        .toUtf8();
}

} // namespace brindle
