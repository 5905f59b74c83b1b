#include "Served.h"

#include "TestCertificate.h"
#include "http/HttpServer.h"

#include <QFile>
#include <QSslConfiguration>

#include <array>
#include <csignal>
#include <stdexcept>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brindle {

namespace {

/// Writes the address to the descriptor and serves until the process is killed.
[[noreturn]] void serve(const QString &folder, const QString &certificate, int descriptor)
{
    QSslConfiguration configuration;
    const QSslConfiguration *tls = nullptr;
    if (!certificate.isEmpty()) {
        const TestCertificate made = TestCertificate::make();
        made.save(certificate);
        configuration = made.serverConfiguration();
        tls = &configuration;
    }
    const auto nameOf = [](const HttpRequest &request) {
        return QString::fromUtf8(request.target.mid(request.target.lastIndexOf('/')));
    };
    const HttpServer files(
        [&](const HttpRequest &request, HttpConnection &connection) {
            QFile file(folder + nameOf(request));
            if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
                connection.respond(404, {}, {});
                return;
            }
            connection.keepOpen();
            connection.write("HTTP/1.1 200 OK\r\nContent-Length: " +
                             QByteArray::number(file.size()) + "\r\n\r\n");
            while (!file.atEnd() && connection.write(file.read(262'144))) {
            }
        },
        0, tls);
    const HttpServer server(
        [&](const HttpRequest &request, HttpConnection &connection) {
            connection.keepOpen();
            connection.redirect(302, files.url(nameOf(request)));
        },
        0, tls);
    const QByteArray address = server.url().toEncoded();
    (void)!write(descriptor, address.constData(), static_cast<size_t>(address.size()));
    for (;;) {
        pause();
    }
}

} // namespace

Served::Served(const QString &folder, const QString &certificate)
{
    std::array<int, 2> pipe = {};
    if (::pipe(pipe.data()) == 0 && (process_ = fork()) == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(pipe[0]);
        try {
            serve(folder, certificate, pipe[1]);
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

} // namespace brindle
