#include "platform/TerminationSignals.h"

#include <QSocketNotifier>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace brindle {

namespace {

constexpr std::array endSignals{SIGTERM, SIGINT, SIGHUP};

std::atomic<int> writeEnd = -1;

void handle(int)
{
    const int saved = errno;
    const char byte = 0;
    [[maybe_unused]] const auto written = write(writeEnd, &byte, 1); // or a request waits already
    errno = saved;
}

} // namespace

TerminationSignals::TerminationSignals(QObject *parent) : QObject(parent)
{
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, descriptors_) != 0) {
        throw std::system_error(errno, std::system_category(), "socketpair");
    }
    for (const int descriptor : descriptors_) {
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        fcntl(descriptor, F_SETFL, O_NONBLOCK);
    }
    writeEnd = descriptors_[0];
    auto *const notifier = new QSocketNotifier(descriptors_[1], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &TerminationSignals::read);
    struct sigaction action = {};
    action.sa_handler = &handle;
    action.sa_flags = SA_RESTART;
    for (const int signal : endSignals) {
        struct sigaction before = {};
        sigaction(signal, &action, &before);
        if (before.sa_handler == SIG_IGN) {
            std::signal(signal, SIG_IGN); // the wish of nohup
        }
    }
}

TerminationSignals::~TerminationSignals()
{
    for (const int signal : endSignals) {
        struct sigaction current = {};
        sigaction(signal, nullptr, &current);
        if (current.sa_handler == &handle) {
            std::signal(signal, SIG_DFL);
        }
    }
    writeEnd = -1;
    for (const int descriptor : descriptors_) {
        close(descriptor);
    }
}

void TerminationSignals::read()
{
    std::array<char, 16> bytes{};
    if (::read(descriptors_[1], bytes.data(), bytes.size()) > 0) {
        Q_EMIT requested();
    }
}

} // namespace brindle
