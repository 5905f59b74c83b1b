#include "Served.h"

#include "TestCertificate.h"
#include "demo/ReleaseHost.h"
#include "engine/EngineSpec.h"

#include <QFile>

#include <array>
#include <csignal>
#include <stdexcept>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brindle {

namespace {

/// Writes the server's address to the descriptor, then serves until the process is killed.
[[noreturn]] void serve(const QString &archive, const QString &certificate, int descriptor)
{
    ReleaseHost::Options options;
    if (!certificate.isEmpty()) {
        const TestCertificate made = TestCertificate::make();
        made.save(certificate);
        options.tls = made.serverConfiguration();
    }
    ReleaseHost host(options);
    QFile file(archive);
    const uchar *const bytes = file.open(QIODevice::ReadOnly) ? file.map(0, file.size()) : nullptr;
    host.offerEngine(Served::tag, Served::name(),
                     QByteArray::fromRawData(reinterpret_cast<const char *>(bytes), file.size()));
    const QByteArray address = host.url().toEncoded();
    (void)!write(descriptor, address.constData(), static_cast<size_t>(address.size()));
    for (;;) {
        pause();
    }
}

} // namespace

Served::Served(const QString &archive, const QString &certificate)
{
    std::array<int, 2> pipe = {};
    if (::pipe(pipe.data()) == 0 && (process_ = fork()) == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(pipe[0]);
        try {
            serve(archive, certificate, pipe[1]);
        } catch (...) {
            _exit(1);
        }
    }
    close(pipe[1]);
    std::array<char, 100> address = {};
    const ssize_t length = read(pipe[0], address.data(), address.size());
    close(pipe[0]);
    if (length <= 0) {
        throw std::runtime_error("the server did not start");
    }
    url_ = QUrl::fromEncoded(QByteArray(address.data(), length));
}

Served::~Served()
{
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

QUrl Served::archive() const
{
    return QUrl(url_.toString() + ReleaseHost::enginePath(tag, name()));
}

QString Served::name()
{
    return EngineSpec{tag}.zipName(Platform::current({}));
}

} // namespace brindle
