#include "process/ManagedProcess.h"

#include "base/Error.h"
#include "base/OneShot.h"
#include "base/Threads.h"
#include "platform/ChildProcess.h"
#include "process/LineSplitter.h"

#include <QEventLoop>
#include <QProcess>

#include <atomic>
#include <csignal>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

/// Keeps an object until the process has ended. Any thread.
void keep(std::shared_ptr<void> object)
{
    static std::mutex lock;
    static auto *const kept = new std::vector<std::shared_ptr<void>>; // never destroyed
    const std::lock_guard guard(lock);
    kept->push_back(std::move(object));
}

} // namespace

/// Shared by the object, the awaiting coroutine and the reader thread.
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

/// Starts the child on the reader thread. Throws SystemError.
std::shared_ptr<QProcess> ManagedProcess::Impl::launch()
{
    auto child = std::make_shared<QProcess>();
    child->setProgram(executable);
    child->setArguments(arguments);
    child->setProcessChannelMode(QProcess::MergedChannels);
    ChildProcess::prepare(*child, setup);
    child->start(QIODevice::ReadOnly);
    // Until exec a signal may still run our own handlers in the child, so send none before.
    if (!child->waitForStarted(-1)) {
        isRunning = false;
        // Qt puts the names of system calls before the system's own text.
        const QString reason = child->errorString().section(u": "_s, -1);
        throw SystemError(u"%1: %2"_s.arg(executable, reason));
    }
    return child;
}

/// Runs the child on the reader thread. Returns nothing if the program ends before the child.
///
/// Only this thread sends signals, because it also reaps the child: until then the process number
/// can't belong to another process.
std::optional<qint32> ManagedProcess::Impl::read(const std::stop_token &stop,
                                                 const std::stop_token &programEnds)
{
    auto child = launch();
    const qint64 pid = child->processId();
    QEventLoop loop;
    LineSplitter lines(maxLineBytes);
    const auto isAlive = [&] { return child->state() == QProcess::Running; };
    const auto deliver = [&] { lines.feed(child->readAll(), onLine); };
    QObject::connect(child.get(), &QProcess::readyRead, &loop, deliver);
    QObject::connect(child.get(), &QProcess::finished, &loop, &QEventLoop::quit);

    const auto inLoop = [&](auto act) {
        return [&, act] {
            const auto unlessEnded = [&, act] {
                if (isAlive()) {
                    act();
                }
            };
            QMetaObject::invokeMethod(&loop, unlessEnded, Qt::QueuedConnection);
        };
    };
    const std::stop_callback onStop(stop, inLoop([&] { ChildProcess::send(SIGTERM, pid); }));
    const std::stop_callback onKill(killing.get_token(),
                                    inLoop([&] { ChildProcess::sendToGroup(SIGKILL, pid); }));
    // The loop sends signals requested before the program's end, and quits then.
    const std::stop_callback onEnd(programEnds, inLoop([&] { loop.quit(); }));
    loop.exec();
    if (isAlive()) {
        keep(std::move(child)); // ~QProcess would kill it
        return std::nullopt;
    }

    // The group keeps its number while it has a member. If it is empty, its number became free only
    // a moment ago, so at worst a new group of that number gets this signal.
    if (stop.stop_requested()) {
        ChildProcess::sendToGroup(SIGTERM, pid);
    }
    isRunning = false;
    // QProcess emptied the pipe when it found the child dead. Another process may hold the pipe
    // open for as long as it likes, so don't wait for the pipe's end.
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
    auto impl = impl_; // this object may be destroyed meanwhile
    [[maybe_unused]] const bool again = impl->isRunning.exchange(true);
    Q_ASSERT(!again);
    Threads::start([impl, stop](const std::stop_token &programEnds) mutable {
        const auto ended = impl->ended;
        try {
            const std::optional<qint32> status = impl->read(stop, programEnds);
            if (!status) {
                return;
            }
            impl.reset(); // only the awaiting thread may destroy the callback
            ended.resume(*status);
        } catch (...) {
            impl.reset();
            ended.fail(std::current_exception());
        }
    });
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
