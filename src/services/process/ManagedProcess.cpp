#include "process/ManagedProcess.h"

#include "base/Error.h"
#include "base/OneShot.h"
#include "base/Threads.h"
#include "platform/ChildProcess.h"
#include "process/LineSplitter.h"

#include <QEventLoop>
#include <QProcess>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <optional>
#include <utility>

namespace brindle {

/// Shared by the object, the awaiting coroutine and the reader thread, so that the object may be
/// dropped at any time.
struct ManagedProcess::Impl
{
    std::optional<qint32> read(const std::stop_token &stop, const std::stop_token &programEnds);
    std::shared_ptr<QProcess> launch();

    QString executable;
    QStringList arguments;
    LineCallback onLine;
    ChildProcess::Setup setup;
    std::atomic<bool> isRunning = false;
    std::stop_source killing;
    const OneShot<qint32> ended;
};

/// Reader thread. The child, running. Throws SystemError.
std::shared_ptr<QProcess> ManagedProcess::Impl::launch()
{
    auto child = std::make_shared<QProcess>();
    child->setProgram(executable);
    child->setArguments(arguments);
    child->setProcessChannelMode(QProcess::MergedChannels);
    ChildProcess::prepare(*child, setup);
    child->start(QIODevice::ReadOnly);
    // Until exec the child may still run our own signal handlers; requests wait until then.
    if (!child->waitForStarted(-1)) {
        // What the system said, without the names of the calls that said it. Qt keeps its number
        // to itself.
        isRunning = false;
        const QString reason = child->errorString().section(QStringLiteral(": "), -1);
        throw SystemError(QStringLiteral("%1: %2").arg(executable, reason));
    }
    return child;
}

/// Reader thread. Nothing when the program ends and the child goes on without us.
///
/// Signals are sent on this thread only, which is also the one that reaps the child: so a process
/// number is never used after it has been given to someone else.
std::optional<qint32> ManagedProcess::Impl::read(const std::stop_token &stop,
                                                 const std::stop_token &programEnds)
{
    auto child = launch();
    const qint64 pid = child->processId();
    QEventLoop loop;
    LineSplitter lines(maxLineBytes);
    const auto isAlive = [&] { return child->state() == QProcess::Running; };
    // What is there, whole lines or not: looking for a line first would go over an endless one
    // again and again.
    const auto deliver = [&] { lines.feed(child->readAll(), onLine); };
    QObject::connect(child.get(), &QProcess::readyRead, &loop, deliver);
    QObject::connect(child.get(), &QProcess::finished, &loop, &QEventLoop::quit);

    const auto asTheLoopRuns = [&](auto act) {
        return [&, act] {
            const auto unlessEnded = [&, act] {
                if (isAlive()) {
                    act();
                }
            };
            QMetaObject::invokeMethod(&loop, unlessEnded, Qt::QueuedConnection);
        };
    };
    const std::stop_callback onStop(stop, asTheLoopRuns([&] { ChildProcess::send(SIGTERM, pid); }));
    const std::stop_callback onKill(
        killing.get_token(), asTheLoopRuns([&] { ChildProcess::sendToGroup(SIGKILL, pid); }));
    // Behind what was asked of the child.
    const std::stop_callback onEnd(programEnds, asTheLoopRuns([&] { loop.quit(); }));
    loop.exec();
    if (isAlive()) {
        // It must never be destroyed, as it would kill the child.
        Threads::keep(std::move(child));
        return std::nullopt;
    }

    // The group's number stays taken while anybody is in the group; were it empty, it has been free
    // for a moment only, and no more than a new group of the same number could be met.
    if (stop.stop_requested()) {
        ChildProcess::sendToGroup(SIGTERM, pid);
    }
    isRunning = false;
    // QProcess has read all that was in the pipe when the child was found dead. The pipe's end is
    // not waited for: another process may hold it open for as long as it likes.
    deliver();
    lines.flush(onLine);
    return child->exitCode(); // after a crash, the signal's number
}

ManagedProcess::ManagedProcess(QString executable, QStringList arguments, LineCallback onLine,
                               OnParentDeath onParentDeath)
    : impl_(std::make_shared<Impl>())
{
    impl_->executable = std::move(executable);
    impl_->arguments = std::move(arguments);
    impl_->onLine = std::move(onLine);
    impl_->setup.endsWithLauncher = onParentDeath == OnParentDeath::kill;
}

QCoro::Task<qint32> ManagedProcess::run(std::stop_token stop)
{
    auto impl = impl_; // this object may go
    [[maybe_unused]] const bool again = impl->isRunning.exchange(true);
    Q_ASSERT(!again);
    auto work = [impl, stop](const std::stop_token &programEnds) mutable {
        std::optional<qint32> status;
        std::exception_ptr error;
        try {
            status = impl->read(stop, programEnds);
        } catch (...) {
            error = std::current_exception();
        }
        if (!error && !status) {
            // With it, who awaits its end.
            Threads::keep(std::move(impl));
            return;
        }
        // The callback, and all that it holds, is to go where the awaiting code is, not here.
        const auto ended = impl->ended;
        impl.reset();
        (void)(error ? ended.fail(error) : ended.resume(*status));
    };
    if (!Threads::start(std::move(work))) {
        impl->isRunning = false;
        throw SystemError::fromErrno(EAGAIN, impl->executable);
    }
    co_return co_await impl->ended;
}

void ManagedProcess::setVariables(const QMap<QString, QString> &variables)
{
    impl_->setup.environment = ChildProcess::childEnvironment(variables);
}

void ManagedProcess::isolate(int descriptor)
{
    impl_->setup.isIsolated = true;
    impl_->setup.descriptor = descriptor;
}

bool ManagedProcess::isRunning() const
{
    return impl_->isRunning;
}

void ManagedProcess::kill()
{
    if (impl_->isRunning) {
        impl_->killing.request_stop();
    }
}

} // namespace brindle
