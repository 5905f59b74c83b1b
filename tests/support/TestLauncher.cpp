#include "TestLauncher.h"

#include "files/StagingFolder.h"
#include "platform/ProcessLock.h"
#include "process/ManagedProcess.h"
#include "process/Tools.h"
#include "support/Await.h"

#include <QCoreApplication>

#include <cstdio>
#include <memory>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

QCoro::Task<> quitWithChild(std::shared_ptr<ManagedProcess> child, std::stop_token stop)
{
    const qint32 status = co_await child->run(stop);
    QCoreApplication::exit(status);
}

} // namespace

int runTestLauncher(const std::string &program, const std::vector<std::string> &arguments,
                    bool isTool)
{
    std::string name = "testlauncher";
    int count = 1;
    char *values[] = {name.data(), nullptr};
    QCoreApplication application(count, values);

    QStringList list;
    for (const std::string &argument : arguments) {
        list.append(QString::fromStdString(argument));
    }
    if (isTool) {
        Tools::run(QString::fromStdString(program), list);
        return QCoreApplication::exec();
    }
    std::stop_source stop;
    const auto onLine = [&](const QString &line) {
        std::puts(line.toUtf8().constData());
        std::fflush(stdout);
        if (line == u"stop and quit"_s) {
            stop.request_stop();
        }
        if (line.endsWith(u"quit"_s)) {
            QMetaObject::invokeMethod(
                &application, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
        }
    };
    quitWithChild(
        std::make_shared<ManagedProcess>(QString::fromStdString(program), list, onLine),
        stop.get_token());
    return QCoreApplication::exec();
}

std::string makeTestStaging(const std::string &temporaryFolder)
{
    // Never destroyed: the lock goes with the process.
    static const auto *const staging = new std::shared_ptr(
        StagingFolder::make(QString::fromStdString(temporaryFolder), u"/nowhere/Brindle"_s));
    return (*staging)->path().toStdString();
}

} // namespace brindle
