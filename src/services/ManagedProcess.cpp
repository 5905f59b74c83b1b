#include "services/ManagedProcess.h"

#include "platform/ChildProcess.h"
#include "services/Continuation.h"
#include "services/LineSplitter.h"
#include "services/SystemError.h"

#include <QProcess>
#include <QThread>

#include <mutex>

namespace brindle {

/// Shared with the reader thread, so that dropping the ManagedProcess never waits for the child.
class ManagedProcess::Impl
{
public:
    enum class Phase { created, launching, running, ended };

    Impl(QString executable, QStringList arguments, LineCallback onLine)
        : executable_(std::move(executable))
        , arguments_(std::move(arguments))
        , onLine_(std::move(onLine))
        , splitter_(maxLineBytes)
    {
    }

    /// The reader thread: owns the QProcess from start to end.
    void runChild();
    void launched(qint64 pid);
    void request(bool &request, bool (*act)(qint64));

    Continuation<qint32> ended;
    std::mutex lock; // guards the fields down to the blank line
    Phase phase = Phase::created;
    qint64 pid = 0;
    bool wantsTerminate = false;
    bool wantsKill = false;

private:
    void setEnded();
    void deliver(const QStringList &lines) const;

    QString executable_;
    QStringList arguments_;
    LineCallback onLine_;
    LineSplitter splitter_; // reader thread only
};

void ManagedProcess::Impl::runChild()
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setInputChannelMode(QProcess::ForwardedInputChannel);
    process.setChildProcessModifier(&ChildProcess::prepare);
    process.start(executable_, arguments_, QIODevice::ReadOnly);
    if (!process.waitForStarted(-1)) {
        const SystemError error(executable_ + QStringLiteral(": ") + process.errorString());
        setEnded();
        ended.fail(std::make_exception_ptr(error));
        return;
    }
    launched(process.processId());

    // Each wait takes over what is in the pipe now, so the pipe's size bounds what waits here and
    // a child that prints faster than we read is held up by it. The end of the child ends the
    // waiting, whoever else still holds the pipe.
    while (process.state() != QProcess::NotRunning) {
        if (!process.waitForReadyRead(-1) && process.state() != QProcess::NotRunning) {
            process.waitForFinished(-1); // it has closed its output and goes on
        }
        deliver(splitter_.consume(process.readAll()));
    }
    deliver(splitter_.consume(process.readAll()));
    deliver(splitter_.flush());
    setEnded();
    // For a child that died of a signal QProcess reports the signal's number.
    ended.resume(process.exitCode());
}

void ManagedProcess::Impl::launched(qint64 childPid)
{
    const std::lock_guard guard(lock);
    pid = childPid;
    phase = Phase::running;
    if (wantsKill) {
        ChildProcess::killGroup(pid);
    } else if (wantsTerminate) {
        ChildProcess::terminate(pid);
    }
}

void ManagedProcess::Impl::request(bool &request, bool (*act)(qint64))
{
    const std::lock_guard guard(lock);
    if (phase == Phase::launching) {
        request = true;
    } else if (phase == Phase::running) {
        act(pid);
    }
}

void ManagedProcess::Impl::setEnded()
{
    const std::lock_guard guard(lock);
    phase = Phase::ended;
}

void ManagedProcess::Impl::deliver(const QStringList &lines) const
{
    for (const QString &line : lines) {
        onLine_(line);
    }
}

ManagedProcess::ManagedProcess(QString executable, QStringList arguments, LineCallback onLine)
    : impl_(std::make_shared<Impl>(std::move(executable), std::move(arguments), std::move(onLine)))
{
}

ManagedProcess::~ManagedProcess() = default;

QCoro::Task<qint32> ManagedProcess::run()
{
    const auto impl = impl_; // the caller may drop this object while it waits
    {
        const std::lock_guard guard(impl->lock);
        impl->phase = Impl::Phase::launching;
    }
    auto *const thread = QThread::create([impl] { impl->runChild(); });
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
    const qint32 status = co_await impl->ended;
    co_return status;
}

bool ManagedProcess::isRunning() const
{
    const std::lock_guard guard(impl_->lock);
    return impl_->phase == Impl::Phase::launching || impl_->phase == Impl::Phase::running;
}

void ManagedProcess::terminate()
{
    impl_->request(impl_->wantsTerminate, &ChildProcess::terminate);
}

void ManagedProcess::kill()
{
    impl_->request(impl_->wantsKill, &ChildProcess::killGroup);
}

} // namespace brindle
