#pragma once

#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

/// A FIFO that a child of the tests waits at until the test lets it pass.
class Gate
{
public:
    explicit Gate()
    {
        const QByteArray path = QFile::encodeName(this->path());
        // Opened for both ways, so that neither side waits for the other to open it.
        if (::mkfifo(path.constData(), S_IRUSR | S_IWUSR) != 0 ||
            (descriptor_ = ::open(path.constData(), O_RDWR | O_CLOEXEC)) < 0) {
            throw std::runtime_error("no FIFO to be had");
        }
    }
    ~Gate() { ::close(descriptor_); }
    Gate(const Gate &) = delete;
    Gate &operator=(const Gate &) = delete;

    QString path() const { return folder_.filePath(QStringLiteral("gate")); }

    /// Lets one child pass, once; it need not wait yet.
    void open() const
    {
        if (::write(descriptor_, "!", 1) != 1) {
            throw std::runtime_error("the gate is stuck");
        }
    }

private:
    QTemporaryDir folder_;
    int descriptor_ = -1;
};

} // namespace brindle
