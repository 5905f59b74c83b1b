#include "ConsoleDesktop.h"

#include <cstdio>

namespace brindle {

int ConsoleDesktop::runAlert(const Alert &alert)
{
    std::printf("[%s %s]\n", qPrintable(alert.message), qPrintable(alert.informativeText));
    return 0;
}

void ConsoleDesktop::reveal(const QString &path)
{
    std::printf("[shown in the file browser: %s]\n", qPrintable(path));
}

void ConsoleDesktop::copyText(const QString &text)
{
    std::printf("[copied: %lld characters]\n", static_cast<long long>(text.size()));
}

} // namespace brindle
