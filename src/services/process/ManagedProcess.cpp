#include "process/ManagedProcess.h"

#include "base/Error.h"
#include "base/Threads.h"
#include "process/LineSplitter.h"

#include <QEventLoop>
#include <QProcess>
#include <QScopeGuard>

#include <atomic>
#include <csignal>
#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

/// Shared by the object and the reader thread.
struct ManagedProcess::Impl
{
    qint32 runChild(const std::stop_token &stop);

    QString executable;
    QStringList arguments;
    LineCallback onLine;
    ChildProcess::Setup setup;
    std::atomic<bool> isRunning = false;
    std::stop_source killing = {};
};

/// Runs on the reader thread. Only this thread sends signals: it also reaps the child, so the
/// process number can't pass to another process meanwhile.
qint32 ManagedProcess::Impl::runChild(const std::stop_token &stop)
{
    const auto end = qScopeGuard([this] { isRunning = false; });
    QProcess child;
    child.setProgram(executable);
    child.setArguments(arguments);
    child.setProcessChannelMode(QProcess::MergedChannels);
    ChildProcess::prepare(child, setup);
    child.start(QIODevice::ReadOnly);
    // Wait for exec before any signal: until then our own handlers would run in the child.
    if (!child.waitForStarted(-1)) {
        // Qt puts the system call's name before the system's text.
        const QString reason = child.errorString().section(u": "_s, -1);
        throw SystemError(u"%1: %2"_s.arg(executable, reason));
    }
    const qint64 group = child.processId();
    QEventLoop loop;
    LineSplitter lines(maxLineBytes);
    QObject::connect(&child, &QProcess::readyRead, &loop,
                     [&] { lines.feed(child.readAll(), onLine); });
    QObject::connect(&child, &QProcess::finished, &loop, &QEventLoop::quit);
    // `processId` is 0 once the child has ended; then no signal is sent.
    const auto kill = [&] { ChildProcess::sendToGroup(SIGKILL, child.processId()); };
    const std::stop_callback onStop(stop, [&] {
        QMetaObject::invokeMethod(&child, &QProcess::terminate, Qt::QueuedConnection);
    });
    const std::stop_callback onKill(killing.get_token(), [&] {
        QMetaObject::invokeMethod(&child, kill, Qt::QueuedConnection);
    });
    // QProcess empties the pipe when it finds the child dead. Another process may hold the pipe
    // open for as long as it likes, so don't wait for the pipe's end.
    loop.exec();

    // The group keeps its number while it has a member. An empty group lost its number only a
    // moment ago, so at worst a new group of that number gets this signal.
    if (stop.stop_requested()) {
        ChildProcess::sendToGroup(SIGTERM, group);
    }
    lines.flush(onLine);
    return child.exitCode(); // after a crash, the signal's number
}

ManagedProcess::ManagedProcess(QString executable, QStringList arguments, LineCallback onLine,
                               ChildProcess::Setup setup)
    : impl_(new Impl{std::move(executable), std::move(arguments), std::move(onLine),
                     std::move(setup)})
{}

QCoro::Task<qint32> ManagedProcess::run(std::stop_token stop)
{
    impl_->isRunning = true;
    return runOnWorker([impl = impl_, stop] { return impl->runChild(stop); }, {}, &Threads::start);
}

bool ManagedProcess::isRunning() const
{
    return impl_->isRunning;
}

void ManagedProcess::kill()
{
    impl_->killing.request_stop();
}

} // namespace brindle
