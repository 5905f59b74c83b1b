#pragma once

#include <QObject>

namespace brindle {

/// Tells when the system or a terminal asks the process to end: SIGTERM, SIGINT or SIGHUP. While
/// one exists, these do not end the process by themselves. At most one at a time; main thread.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    /// Throws std::system_error when the system has no descriptors left.
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    /// From the event loop, once or more for each such request.
    void requested();

private:
    void read();

    int descriptors_[2] = {-1, -1}; // a socket pair: the handler writes, the event loop reads
};

} // namespace brindle
