#include "Orphans.h"

#include "Tree.h"

#include <QDir>
#include <QElapsedTimer>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 patience = 5000; // milliseconds

/// Returns the process numbers of our children.
QList<pid_t> children()
{
    QList<pid_t> found;
    for (const QString &name : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        bool isNumber = false;
        const int pid = name.toInt(&isNumber);
        if (!isNumber) {
            continue;
        }
        // "pid (name) state parent …", where the name may hold anything.
        const QByteArray status = contentOf(u"/proc/%1/stat"_s.arg(pid));
        const QList<QByteArray> fields = status.mid(status.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1 && fields.at(1).toInt() == getpid()) {
            found << pid;
        }
    }
    return found;
}

QString commandLine(pid_t pid)
{
    QByteArray line = contentOf(u"/proc/%1/cmdline"_s.arg(pid));
    return QString::fromUtf8(line.replace('\0', ' ')).trimmed();
}

} // namespace

void Orphans::takeIn()
{
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) {
        throw std::runtime_error(std::strerror(errno));
    }
}

QStringList Orphans::clear()
{
    QElapsedTimer timer;
    timer.start();
    QStringList stubborn;
    for (;;) {
        const QList<pid_t> left = children();
        if (left.isEmpty()) {
            return stubborn;
        }
        for (const pid_t pid : left) {
            if (waitpid(pid, nullptr, WNOHANG) == pid) {
                continue;
            }
            const QString line = commandLine(pid);
            if (line.contains(u" --windowed"_s)) { // a game
                kill(pid, SIGKILL);
            } else if (timer.elapsed() > patience) {
                stubborn << u"still running: "_s + line;
                kill(pid, SIGKILL);
            }
        }
        QThread::msleep(1);
    }
}

} // namespace brindle
