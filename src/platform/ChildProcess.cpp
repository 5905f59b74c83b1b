#include "platform/ChildProcess.h"

#include <QCoreApplication>
#include <QProcess>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>
#ifdef Q_OS_LINUX
#include <sys/prctl.h>
#endif

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr int firstPrivateDescriptor = 3;

// The functions below run in the forked child, so they may only call async-signal-safe functions.

/// Lets exec close all descriptors but the standard ones. Do not close them earlier, because
/// QProcess reports a failed exec through one of them.
void markDescriptors()
{
#ifdef Q_OS_LINUX
    // The flag needs Linux 5.11: https://man7.org/linux/man-pages/man2/close_range.2.html
    ::close_range(firstPrivateDescriptor, ~0U, CLOSE_RANGE_CLOEXEC);
#else
    const int end = ::getdtablesize();
    for (int descriptor = firstPrivateDescriptor; descriptor < end; ++descriptor) {
        ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
#endif
}

/// Ends the child when the launcher ends, or at once if the launcher has already ended.
void endWithLauncher([[maybe_unused]] qint64 launcher)
{
#ifdef Q_OS_LINUX
    // Stays set after exec: https://man7.org/linux/man-pages/man2/pr_set_pdeathsig.2const.html
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != launcher) {
        ::_exit(EXIT_FAILURE);
    }
#endif
}

void prepareForked(const ChildProcess::Setup &setup, qint64 launcher)
{
    // First, because the child holds the launcher's locks until exec.
    if (setup.endsWithLauncher) {
        endWithLauncher(launcher);
    }
    if (setup.isIsolated) {
        ::setsid(); // would fail after setpgid
    }
    ::setpgid(0, 0);
    markDescriptors();
    ::fcntl(setup.descriptor, F_SETFD, 0); // does nothing for -1
    // Both settings survive exec. The starting thread may block some signals.
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, nullptr);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace

QProcessEnvironment ChildProcess::childEnvironment(const QMap<QString, QString> &variables)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"XDG_ACTIVATION_TOKEN"_s);
    environment.remove(u"DESKTOP_STARTUP_ID"_s);
    for (const auto &[name, value] : variables.asKeyValueRange()) {
        environment.insert(name, value);
    }
    return environment;
}

void ChildProcess::prepare(QProcess &child, Setup setup)
{
    if (setup.isIsolated) {
        child.setStandardInputFile(QProcess::nullDevice());
    } else {
        child.setInputChannelMode(QProcess::ForwardedInputChannel);
    }
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    // The first two flags keep newer versions from undoing our signal settings after the modifier.
    // Without vfork, a child whose launcher has been killed waits for ever.
    using Flag = QProcess::UnixProcessFlag;
    child.setUnixProcessParameters(Flag::IgnoreSigPipe | Flag::ResetSignalHandlers |
                                   Flag::UseVFork);
#endif
    child.setProcessEnvironment(setup.environment);
    child.setChildProcessModifier(
        [setup, launcher = QCoreApplication::applicationPid()] { prepareForked(setup, launcher); });
}

void ChildProcess::sendToGroup(int signal, qint64 leader)
{
    // kill() takes 0 for our own group, and -1 for every process.
    if (leader > 1) {
        ::kill(-static_cast<pid_t>(leader), signal);
    }
}

} // namespace brindle
