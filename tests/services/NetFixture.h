#pragma once

#include "files/OutputFile.h"
#include "http/HttpServer.h"
#include "net/Transfer.h"

#include "Outcome.h"
#include "TestCertificate.h"

#include <QNetworkProxy>
#include <QObject>
#include <QSslConfiguration>
#include <QTemporaryDir>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <semaphore>
#include <vector>

namespace brindle {

/// Stand-ins for the system. Unless a test sets one, they call the system itself.
namespace StandIns {

/// A host whose look-up never ends.
inline constexpr const char *silentName = "silent.invalid";
inline QUrl silentUrl()
{
    return QUrl(QStringLiteral("https://%1/file").arg(QLatin1String(silentName)));
}
/// Released at each look-up of the silent host.
extern std::counting_semaphore<> lookUps;

/// Answers for the system's proxy settings. Called on the transfer's thread.
extern std::function<QList<QNetworkProxy>(const QUrl &)> proxies;

/// Called before each write to a file whose path contains ".slow", on the writing thread. Returns
/// the errno for the write, or 0 to let it through.
extern std::function<int()> beforeWrite;

/// Stops std::chrono::steady_clock while this object exists. `move` sets the clock to a time after
/// the stop. Qt's test watchdog follows this clock as well, so move it by seconds only.
struct StoppedClock
{
    StoppedClock();
    ~StoppedClock();
    void move(std::chrono::nanoseconds time) const;
    std::chrono::nanoseconds time() const;
};

} // namespace StandIns

/// Gives tests of transfers a folder, a certificate and short names.
class NetFixture : public QObject
{
public:
    using Milliseconds = std::chrono::milliseconds;

    NetFixture();
    ~NetFixture() override;

protected:
    /// Returns a path in the tests' folder.
    QString path(const QString &name) const { return folder_.filePath(name); }
    /// Returns an unused path in the tests' folder.
    QString newPath() { return path(QString::number(++paths_)); }

    /// Returns a new file at an unused path.
    std::shared_ptr<OutputFile> newFile() { return std::make_shared<OutputFile>(newPath()); }

    Outcome<TransferResult> fetch(const QUrl &url, const TransferOptions &options = {})
    {
        return store(url, newPath(), options);
    }
    static Outcome<TransferResult> store(const QUrl &url, const QString &file,
                                         const TransferOptions &options = {},
                                         const ProgressCallback &onProgress = {})
    {
        return outcomeOf(
            Transfer::toFile(url, std::make_shared<OutputFile>(file), onProgress, {}, options));
    }

    /// Returns the stored body; empty if the result has none.
    static QByteArray bodyOf(const Outcome<TransferResult> &outcome)
    {
        const auto &file = outcome.value->file;
        return file ? file->readAll() : QByteArray();
    }

    /// Serves events until `semaphore` is released.
    static void acquire(std::counting_semaphore<> &semaphore)
    {
        spinUntil([&] { return semaphore.try_acquire(); });
    }

    /// Returns options that skip the waits between attempts. `waits` lists the skipped waits.
    TransferOptions withoutWaits();
    std::vector<Milliseconds> waits() const;

    /// Returns bytes without repetition, so that a mix-up of pieces shows.
    static QByteArray pattern(qsizetype size);
    static QByteArray contentOf(const QString &file);
    /// Returns a handler that sends these bytes.
    static HttpServer::Handler sending(const QByteArray &bytes);
    /// Returns a handler that answers with status 200 and keeps the connection.
    static HttpServer::Handler answering(const QByteArray &body);

    QTemporaryDir folder_;
    QSslConfiguration tls_;    // for servers with the tests' certificate
    TransferOptions trusting_; // for clients that trust the certificate

private:
    int paths_ = 0;
    mutable std::mutex lock_; // guards waits_
    std::vector<Milliseconds> waits_;
};

} // namespace brindle
