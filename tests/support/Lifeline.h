#pragma once

#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

/// A FIFO that children of the tests hold open while they live. Unlike a process number it also
/// tells the truth about children that are not ours.
class Lifeline
{
public:
    Lifeline()
    {
        const QByteArray path = QFile::encodeName(this->path());
        if (::mkfifo(path.constData(), S_IRUSR | S_IWUSR) != 0 ||
            (descriptor_ = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) < 0) {
            throw std::runtime_error("no FIFO to be had");
        }
    }
    ~Lifeline() { ::close(descriptor_); }
    Lifeline(const Lifeline &) = delete;
    Lifeline &operator=(const Lifeline &) = delete;

    QString path() const { return folder_.filePath(QStringLiteral("lifeline")); }

    /// True when somebody has held it and nobody does any more.
    bool isDropped() const
    {
        pollfd state = {descriptor_, POLLIN, 0};
        return ::poll(&state, 1, 0) == 1 && (state.revents & POLLHUP) != 0;
    }

private:
    QTemporaryDir folder_;
    int descriptor_ = -1;
};

} // namespace brindle
