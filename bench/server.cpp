// Serves the files of a folder, each after a redirect to a second server, as a release page does.
// With a second argument it uses TLS, and writes the certificate to trust to that file. Prints its
// address and runs until its standard input ends.

#include "TestCertificate.h"
#include "http/HttpServer.h"

#include <QCoreApplication>
#include <QFile>
#include <QSslConfiguration>

#include <cstdio>

#include <unistd.h>

using namespace brindle;

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 2 && argc != 3) {
        std::fputs("usage: bench_server FOLDER [CERTIFICATE]\n", stderr);
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    QSslConfiguration tls;
    if (argc == 3) {
        const TestCertificate certificate = TestCertificate::make();
        QFile trusted(QString::fromLocal8Bit(argv[2]));
        if (!trusted.open(QIODevice::WriteOnly) || trusted.write(certificate.certificate) < 0) {
            std::fprintf(stderr, "bench_server: can't write %s\n", argv[2]);
            return 1;
        }
        tls = certificate.serverConfiguration();
    }
    const auto nameOf = [](const HttpRequest &request) {
        return QString::fromUtf8(request.target.mid(request.target.lastIndexOf('/') + 1));
    };
    const HttpServer::Handler send = [&](const HttpRequest &request, HttpConnection &connection) {
        QFile file(folder + u'/' + nameOf(request));
        if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
            connection.respond(404, {}, {});
            return;
        }
        connection.keepOpen();
        connection.write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(file.size()) +
                         "\r\n\r\n");
        while (!file.atEnd() && connection.write(file.read(262'144))) {
        }
    };
    const HttpServer files(send, 0, argc == 3 ? &tls : nullptr);
    const HttpServer::Handler lead = [&](const HttpRequest &request, HttpConnection &connection) {
        connection.keepOpen();
        connection.redirect(302, files.url(u'/' + nameOf(request)));
    };
    const HttpServer server(lead, 0, argc == 3 ? &tls : nullptr);
    const QUrl base = server.url();
    std::printf("%s\n", base.toEncoded().constData());
    std::fflush(stdout);

    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    return 0;
}
