#include "platform/TerminationSignals.h"

#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace brindle {

namespace {

std::array<int, 2> ends; // a pipe from the handler to the event loop

void handle(int /*signal*/)
{
    const int saved = errno;
    [[maybe_unused]] const auto written = ::write(ends[1], "", 1); // a full pipe already asks
    errno = saved;
}

void read(const std::function<void()> &act)
{
    std::array<char, 16> bytes{};
    if (::read(ends[0], bytes.data(), bytes.size()) > 0) {
        act();
    }
}

} // namespace

void onTerminationSignal(QObject *receiver, std::function<void()> act)
{
    if (::pipe(ends.data()) != 0) {
        return; // then the signals still end the process
    }
    for (const int end : ends) {
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
    auto *const notifier = new QSocketNotifier(ends[0], QSocketNotifier::Read, receiver);
    QObject::connect(notifier, &QSocketNotifier::activated, receiver,
                     [act = std::move(act)] { read(act); });
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        if (std::signal(signal, &handle) == SIG_IGN) {
            std::signal(signal, SIG_IGN); // as nohup wants
        }
    }
}

} // namespace brindle
