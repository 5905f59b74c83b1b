#include "Console.h"

#include <cstdio>

namespace {

void write(std::FILE *stream, const QString &text)
{
    const QByteArray bytes = text.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace

void Console::print(const QString &line)
{
    write(stdout, line);
}

void Console::error(const QString &line)
{
    write(stderr, line);
}

// Both as seen from a 4.6.3 build on Linux, which prints them into pipes as well.
void Console::progress(int percent, const QString &task, const QString &text)
{
    print(QStringLiteral("[%1% ] \x1b[90m\x1b[1m%2\x1b[22m | %3\x1b[39m\x1b[0m")
              .arg(percent, 4)
              .arg(task, text));
}

void Console::taskDone(const QString &task)
{
    print(QStringLiteral("\x1b[92m[ DONE ]\x1b[39m \x1b[1m%1\x1b[22m\n\x1b[0m").arg(task));
}
