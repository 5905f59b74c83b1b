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

/// A FIFO between the test and its children.
class Fifo
{
public:
    Fifo(const Fifo &) = delete;
    Fifo &operator=(const Fifo &) = delete;

    QString path() const { return folder_.filePath(QStringLiteral("fifo")); }

protected:
    explicit Fifo(int flags)
    {
        const QByteArray name = QFile::encodeName(path());
        if (::mkfifo(name.constData(), S_IRUSR | S_IWUSR) != 0 ||
            (descriptor_ = ::open(name.constData(), flags | O_CLOEXEC)) < 0) {
            throw std::runtime_error("cannot make a FIFO");
        }
    }
    ~Fifo() { ::close(descriptor_); }

    QTemporaryDir folder_;
    int descriptor_ = -1;
};

/// Children wait at a gate until the test lets them pass.
class Gate : public Fifo
{
public:
    // Opens it for reading, too, so that neither side waits for the other.
    Gate() : Fifo(O_RDWR) {}

    /// Lets one child pass, now or later.
    void open() const
    {
        if (::write(descriptor_, "!", 1) != 1) {
            throw std::runtime_error("the gate is stuck");
        }
    }
};

/// Children hold a lifeline open while they live. Unlike a process number it also covers children
/// of children.
class Lifeline : public Fifo
{
public:
    Lifeline() : Fifo(O_RDONLY | O_NONBLOCK) {}

    /// Returns true once a process has held the lifeline and no process holds it any more.
    bool isDropped() const
    {
        pollfd state = {descriptor_, POLLIN, 0};
        return ::poll(&state, 1, 0) == 1 && (state.revents & POLLHUP) != 0;
    }
};

} // namespace brindle
