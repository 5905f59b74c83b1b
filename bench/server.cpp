// Serves the files of a folder: any address is answered with a redirect to "/files/" + its last
// part, as a release page answers, and that with the file of this name. Prints its own address and
// runs until its standard input ends.

#include "http/HttpServer.h"

#include <QCoreApplication>

#include <cstdio>

#include <unistd.h>

using namespace brindle;

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 2) {
        std::fputs("usage: bench_server FOLDER\n", stderr);
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    QUrl base;
    const auto answer = [&](const HttpRequest &request, HttpConnection &connection) {
        const QByteArray name = request.target.mid(request.target.lastIndexOf('/') + 1);
        if (request.target.startsWith("/files/")) {
            connection.respondWithFile(folder + u'/' + QString::fromUtf8(name), true);
        } else {
            connection.redirect(
                302, QUrl(base.toString() + QStringLiteral("/files/") + QString::fromUtf8(name)));
        }
    };
    const HttpServer server(answer);
    base = server.url();
    std::printf("%s\n", base.toEncoded().constData());
    std::fflush(stdout);

    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    return 0;
}
