#include "Served.h"

#include <QCoreApplication>

#include <stdexcept>

namespace brindle {

using namespace Qt::StringLiterals;

Served::Served(const QString &folder, const QString &certificate)
{
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // The benchmark may itself run with a library preloaded; the server must not.
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"LD_PRELOAD"_s);
    process_.setProcessEnvironment(environment);
    process_.start(QCoreApplication::applicationDirPath() + u"/bench_server"_s,
                   certificate.isEmpty() ? QStringList{folder} : QStringList{folder, certificate});
    while (!process_.canReadLine()) {
        if (!process_.waitForReadyRead(10'000)) {
            throw std::runtime_error("the server did not start");
        }
    }
    url_ = QUrl(QString::fromUtf8(process_.readLine().trimmed()));
}

Served::~Served()
{
    // It ends with its standard input.
    process_.closeWriteChannel();
    process_.waitForFinished();
}

} // namespace brindle
