#pragma once

#include <QObject>

namespace brindle {

/// Catches SIGTERM, SIGINT and SIGHUP, which then no longer end the process. At most one object at
/// a time; main thread.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    /// Throws std::system_error when the system has no descriptors left.
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    /// Emitted from the event loop, at least once for each such signal.
    void requested();

private:
    void read();

    int descriptors_[2] = {-1, -1}; // a socket pair: the handler writes, the event loop reads
};

} // namespace brindle
