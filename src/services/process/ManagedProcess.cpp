#include "process/ManagedProcess.h"

#include "base/Error.h"
#include "base/OneShot.h"
#include "base/ReaderThreads.h"
#include "platform/ChildProcess.h"
#include "process/LineSplitter.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QProcess>

#include <cerrno>
#include <csignal>
#include <mutex>
#include <utility>

namespace brindle {

namespace {

/// What the system said, without the name of the call that said it.
SystemError launchError(const QString &executable, const QString &text)
{
    return SystemError(
        QStringLiteral("%1: %2").arg(executable, text.section(QStringLiteral(": "), -1)));
}

} // namespace

/// Shared by the object, the awaiting coroutine and the reader thread, so that the object may be
/// dropped at any time.
class ManagedProcess::Impl : public std::enable_shared_from_this<Impl>
{
public:
    enum class Request { terminate, terminateGroup, kill };

    Impl(QString executable, QStringList arguments, LineCallback onLine,
         OnParentDeath onParentDeath)
        : executable_(std::move(executable))
        , arguments_(std::move(arguments))
        , onLine_(std::move(onLine))
        , onParentDeath_(onParentDeath)
    {}

    static QCoro::Task<qint32> run(std::shared_ptr<Impl> self);
    bool isRunning() const;
    void request(Request request);
    void isolate(int descriptor)
    {
        isIsolated_ = true;
        kept_ = descriptor;
    }

private:
    enum class Phase { created, running, ended };

    /// How the reader left its loop.
    struct Outcome
    {
        bool failed = false;
        bool ended = false;
        QString error;
        qint32 status = 0;
    };

    static void readToEnd(std::shared_ptr<Impl> self);
    Outcome read();
    void prepare(QProcess &child) const;
    void sendRequests(const QProcess &child);
    void leaveRunning(const std::shared_ptr<QProcess> &child);
    void setEnded();
    void endGroup(qint64 leader);

    const QString executable_;
    const QStringList arguments_;
    const LineCallback onLine_;
    const OnParentDeath onParentDeath_;
    bool isIsolated_ = false;
    int kept_ = -1; // the descriptor that the child gets
    const OneShot<qint32> ended_;

    mutable std::mutex lock_; // guards the fields below
    Phase phase_ = Phase::created;
    QProcess *child_ = nullptr; // lives on the reader thread; set while it can serve requests
    bool wantsTerminate_ = false;
    bool wantsKill_ = false;
    bool endsGroup_ = false;
};

QCoro::Task<qint32> ManagedProcess::Impl::run(std::shared_ptr<Impl> self)
{
    {
        const std::lock_guard guard(self->lock_);
        Q_ASSERT(self->phase_ == Phase::created);
        self->phase_ = Phase::running;
    }
    if (!ReaderThreads::start([self] { readToEnd(self); })) {
        self->setEnded();
        throw SystemError::fromErrno(EAGAIN, self->executable_);
    }
    const qint32 status = co_await self->ended_;
    co_return status;
}

bool ManagedProcess::Impl::isRunning() const
{
    const std::lock_guard guard(lock_);
    return phase_ == Phase::running;
}

/// Signals are sent on the reader thread only, which is also the one that reaps the child: so a
/// process number is never used after it has been given to someone else.
void ManagedProcess::Impl::request(Request request)
{
    const std::lock_guard guard(lock_);
    if (phase_ != Phase::running) {
        return;
    }
    (request == Request::kill ? wantsKill_ : wantsTerminate_) = true;
    endsGroup_ = endsGroup_ || request == Request::terminateGroup;
    if (child_) {
        QMetaObject::invokeMethod(
            child_, [this, child = child_] { sendRequests(*child); }, Qt::QueuedConnection);
    }
}

void ManagedProcess::Impl::readToEnd(std::shared_ptr<Impl> self)
{
    const Outcome outcome = self->read();
    if (!outcome.failed && !outcome.ended) {
        ReaderThreads::keep(std::move(self));
        return;
    }
    // The callback, and all that it holds, is to go where the awaiting code is, not here.
    const auto ended = self->ended_;
    const auto failure =
        outcome.failed ? std::make_exception_ptr(launchError(self->executable_, outcome.error))
                       : nullptr;
    self.reset();
    if (failure) {
        ended.fail(failure);
    } else {
        ended.resume(outcome.status);
    }
}

ManagedProcess::Impl::Outcome ManagedProcess::Impl::read()
{
    Outcome outcome;
    QEventLoop loop;
    const auto child = std::make_shared<QProcess>();
    qint64 leader = 0;
    LineSplitter lines(maxLineBytes);
    prepare(*child);

    // What is there, whole lines or not: looking for a line first would go over an endless one
    // again and again.
    const auto deliver = [&] { lines.feed(child->readAll(), onLine_); };
    QObject::connect(child.get(), &QProcess::started, child.get(), [&] {
        leader = child->processId();
        sendRequests(*child);
    });
    QObject::connect(child.get(), &QProcess::readyRead, child.get(), deliver);
    QObject::connect(child.get(), &QProcess::errorOccurred, child.get(),
                     [&](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart) {
                             setEnded();
                             outcome.failed = true;
                             outcome.error = child->errorString();
                             loop.quit();
                         }
                     });
    QObject::connect(child.get(), &QProcess::finished, child.get(), [&](int code) {
        setEnded();
        endGroup(leader);
        // QProcess has read all that was in the pipe when the child was found dead. The pipe's
        // end is not waited for: another process may hold it open for as long as it likes.
        deliver();
        lines.flush(onLine_);
        outcome.ended = true;
        outcome.status = code; // after a crash, the signal's number
        loop.quit();
    });

    {
        const std::lock_guard guard(lock_);
        child_ = child.get();
    }
    child->start(QIODevice::ReadOnly);
    if (!outcome.failed) {
        loop.exec();
    }
    if (!outcome.failed && !outcome.ended) {
        leaveRunning(child);
    }
    return outcome;
}

void ManagedProcess::Impl::prepare(QProcess &child) const
{
    child.setProgram(executable_);
    child.setArguments(arguments_);
    child.setProcessChannelMode(QProcess::MergedChannels);
    if (isIsolated_) {
        child.setStandardInputFile(QProcess::nullDevice());
    } else {
        child.setInputChannelMode(QProcess::ForwardedInputChannel);
    }
    ChildProcess::keepIgnoringSigPipe(child);
    const qint64 launcher = QCoreApplication::applicationPid();
    child.setChildProcessModifier([onParentDeath = onParentDeath_, isIsolated = isIsolated_,
                                   kept = kept_, launcher] {
        if (isIsolated) {
            ChildProcess::leaveTerminal();
        }
        ChildProcess::prepare();
        if (kept >= 0) {
            ChildProcess::keepOpen(kept);
        }
        if (onParentDeath != OnParentDeath::survive) {
            ChildProcess::endWithLauncher(onParentDeath == OnParentDeath::kill ? SIGKILL : SIGTERM,
                                          launcher);
        }
    });
}

/// Reader thread. Before `started`, the child may still run our own signal handlers; requests wait
/// until then.
void ManagedProcess::Impl::sendRequests(const QProcess &child)
{
    if (child.state() != QProcess::Running) {
        return;
    }
    bool terminates = false;
    bool kills = false;
    {
        const std::lock_guard guard(lock_);
        terminates = std::exchange(wantsTerminate_, false);
        kills = std::exchange(wantsKill_, false);
    }
    if (terminates) {
        ChildProcess::terminate(child.processId());
    }
    if (kills) {
        ChildProcess::killGroup(child.processId());
    }
}

/// The program ends: what was asked of the child still reaches it, and it goes on without us. The
/// object is never destroyed, as it would kill the child.
void ManagedProcess::Impl::leaveRunning(const std::shared_ptr<QProcess> &child)
{
    constexpr int launchMilliseconds = 300;
    child->disconnect();
    if (child->state() == QProcess::Starting) {
        child->waitForStarted(launchMilliseconds);
    }
    {
        const std::lock_guard guard(lock_);
        child_ = nullptr;
    }
    sendRequests(*child);
    ReaderThreads::keep(child);
}

/// Reader thread, right after the child has ended, if that was asked for. The group's number stays
/// taken while anybody is in the group; were it empty, it has been free for a moment only, and no
/// more than a new group of the same number could be met.
void ManagedProcess::Impl::endGroup(qint64 leader)
{
    const std::lock_guard guard(lock_);
    if (endsGroup_) {
        ChildProcess::terminateGroup(leader);
    }
}

void ManagedProcess::Impl::setEnded()
{
    const std::lock_guard guard(lock_);
    phase_ = Phase::ended;
    child_ = nullptr;
}

ManagedProcess::ManagedProcess(QString executable, QStringList arguments, LineCallback onLine,
                               OnParentDeath onParentDeath)
    : impl_(std::make_shared<Impl>(std::move(executable), std::move(arguments), std::move(onLine),
                                   onParentDeath))
{}

ManagedProcess::~ManagedProcess() = default;

QCoro::Task<qint32> ManagedProcess::run()
{
    return Impl::run(impl_);
}

void ManagedProcess::isolate(int descriptor)
{
    impl_->isolate(descriptor);
}

bool ManagedProcess::isRunning() const
{
    return impl_->isRunning();
}

void ManagedProcess::terminate()
{
    impl_->request(Impl::Request::terminate);
}

void ManagedProcess::terminateGroup()
{
    impl_->request(Impl::Request::terminateGroup);
}

void ManagedProcess::kill()
{
    impl_->request(Impl::Request::kill);
}

} // namespace brindle
