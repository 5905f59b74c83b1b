// A child for the tests to run. Each argument is a step: a verb, a colon and an argument. The table
// below lists the verbs. Texts may contain the escapes \n \r \\ and \xHH. All writes are
// unbuffered.

#include "base/Threads.h"
#include "files/StagingFolder.h"
#include "platform/ProcessLock.h"
#include "process/ManagedProcess.h"
#include "process/Tools.h"

#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

// Longer than any test waits, but not for ever.
constexpr unsigned maxLifeSeconds = 120;
constexpr size_t largeWrite = 64UL * 1024;

/// Writes all of `text`. Ignores a closed output, as a game does.
void write(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        text.remove_prefix(static_cast<size_t>(written));
    }
}

void print(const std::string &line)
{
    write(STDOUT_FILENO, line + '\n');
}

void printAnswer(bool answer)
{
    print(answer ? "yes" : "no");
}

std::string unescaped(std::string_view text)
{
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        const char kind = text[++i];
        if (kind == 'x') {
            result += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else {
            result += kind == 'n' ? '\n' : kind == 'r' ? '\r' : kind;
        }
    }
    return result;
}

/// Prints the numbered lines from `line` up to `end`, and returns `end`.
long printLines(long line, long end)
{
    std::string block;
    for (; line < end; ++line) {
        block += "line " + std::to_string(line) + '\n';
        if (block.size() >= largeWrite) {
            write(STDOUT_FILENO, block);
            block.clear();
        }
    }
    write(STDOUT_FILENO, block);
    return end;
}

void printPaced(long rate, long seconds)
{
    constexpr long portions = 100; // per second
    auto next = std::chrono::steady_clock::now();
    long line = 0;
    for (long i = 1; i <= portions * seconds; ++i) {
        line = printLines(line, rate * i / portions);
        next += std::chrono::milliseconds(1000) / portions;
        std::this_thread::sleep_until(next);
    }
}

void printLong(long count, size_t bytes)
{
    // The size is a multiple of ten, so that the digits continue from block to block.
    std::string digits(largeWrite / 10 * 10, '0');
    for (size_t i = 0; i < digits.size(); ++i) {
        digits[i] = static_cast<char>('0' + i % 10);
    }
    for (long i = 0; i < count; ++i) {
        const std::string head = "line " + std::to_string(i) + ' ';
        write(STDOUT_FILENO, head);
        for (size_t left = bytes - std::min(bytes, head.size()); left > 0;) {
            const std::string_view part = std::string_view(digits).substr(0, left);
            write(STDOUT_FILENO, part);
            left -= part.size();
        }
        write(STDOUT_FILENO, "\n");
    }
}

/// Tests each number, because listing /proc/self/fd would open one more.
std::string openDescriptors()
{
    std::string open;
    const int end = ::getdtablesize();
    for (int descriptor = 0; descriptor < end; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) >= 0) {
            open += (open.empty() ? "" : " ") + std::to_string(descriptor);
        }
    }
    return open;
}

bool isIgnored(int number)
{
    struct sigaction action = {};
    ::sigaction(number, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

bool isBlocked(int number)
{
    sigset_t mask;
    ::sigprocmask(SIG_SETMASK, nullptr, &mask);
    return ::sigismember(&mask, number) == 1;
}

void copyInput()
{
    std::array<char, 4096> bytes = {};
    for (ssize_t count = 0; (count = ::read(STDIN_FILENO, bytes.data(), bytes.size())) > 0;) {
        write(STDOUT_FILENO, std::string_view(bytes.data(), static_cast<size_t>(count)));
    }
}

void passGate(const std::string &fifo)
{
    const int descriptor = ::open(fifo.c_str(), O_RDONLY | O_CLOEXEC);
    char byte = 0;
    while (::read(descriptor, &byte, 1) < 0 && errno == EINTR) {
    }
    ::close(descriptor);
}

/// Forks. Returns true in the copy.
bool forkCopy()
{
    std::array<int, 2> ready = {};
    if (::pipe(ready.data()) != 0) {
        std::abort();
    }
    const bool isCopy = ::fork() == 0;
    ::close(ready[1 - (isCopy ? 1 : 0)]);
    if (isCopy) {
        ::alarm(maxLifeSeconds);
        print(std::to_string(::getpid()));
        ::close(ready[1]);
    } else {
        char byte = 0;
        (void)!::read(ready[0], &byte, 1); // returns when the copy closes its side
        ::close(ready[0]);
    }
    return isCopy;
}

std::array<std::string, 65> reports; // by signal

void reportSignal(int number)
{
    write(STDOUT_FILENO, reports[static_cast<size_t>(number)]);
}

void dieOf(int number)
{
    const rlimit none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    std::signal(number, SIG_DFL);
    ::raise(number);
}

/// Runs a program as a ManagedProcess and prints its lines. At the line "quit" ends without waiting
/// for the program; at "stop and quit" asks it to end first. With `isTool`, drops the output.
int runLauncher(const std::vector<std::string> &command, bool isTool)
{
    std::string name = "testlauncher";
    int count = 1;
    char *values[] = {name.data(), nullptr};
    const Threads::ProgramEnd programEnd;
    const QCoreApplication application(count, values);
    QStringList arguments;
    for (const std::string &argument : command) {
        arguments.append(QString::fromStdString(argument));
    }
    const QString program = arguments.takeFirst();
    if (isTool) {
        Tools::run(program, arguments);
        return QCoreApplication::exec();
    }
    std::stop_source stop;
    const auto onLine = [&](const QString &line) {
        print(line.toStdString());
        if (line == u"stop and quit"_s) {
            stop.request_stop();
        }
        if (line.endsWith(u"quit"_s)) {
            QMetaObject::invokeMethod(
                QCoreApplication::instance(), [] { QCoreApplication::exit(0); },
                Qt::QueuedConnection);
        }
    };
    const auto quitWithChild = [](std::shared_ptr<ManagedProcess> child,
                                  std::stop_token token) -> QCoro::Task<> {
        QCoreApplication::exit(co_await child->run(token));
    };
    quitWithChild(std::make_shared<ManagedProcess>(program, arguments, onLine), stop.get_token());
    return QCoreApplication::exec();
}

/// Makes a staging folder and keeps it until this process ends.
std::string makeStaging(const std::string &temporaryFolder)
{
    static const auto *const staging = new std::shared_ptr(
        StagingFolder::make(QString::fromStdString(temporaryFolder), u"/nowhere/Brindle"_s));
    return (*staging)->path().toStdString();
}

using Argument = const std::string &;

long second(Argument pair)
{
    return std::stol(pair.substr(pair.find(',') + 1));
}

// clang-format off
const std::map<std::string, std::function<void(Argument)>> verbs{
    // out:TEXT, err:TEXT: writes to standard output or standard error
    {"out", [](Argument text) { write(STDOUT_FILENO, unescaped(text)); }},
    {"err", [](Argument text) { write(STDERR_FILENO, unescaped(text)); }},
    // line:TEXT: writes a line
    {"line", [](Argument text) { print(unescaped(text)); }},
    // lines:COUNT: prints that many numbered lines in large writes
    {"lines", [](Argument count) { printLines(0, std::stol(count)); }},
    // paced:RATE,SECONDS: prints numbered lines, RATE in each second
    {"paced", [](Argument pair) { printPaced(std::stol(pair), second(pair)); }},
    // long:COUNT,BYTES: prints that many numbered lines of that many bytes, most of them digits
    {"long", [](Argument pair) { printLong(std::stol(pair), static_cast<size_t>(second(pair))); }},
    // descriptors: prints the numbers of the open descriptors in one line
    {"descriptors", [](Argument) { print(openDescriptors()); }},
    // group: prints whether this process leads its process group
    {"group", [](Argument) { print(::getpgrp() == ::getpid() ? "leader" : "follower"); }},
    {"pid", [](Argument) { print(std::to_string(::getpid())); }},
    // ignored:N, blocked:N: prints whether a signal is ignored or blocked
    {"ignored", [](Argument number) { printAnswer(isIgnored(std::stoi(number))); }},
    {"blocked", [](Argument number) { printAnswer(isBlocked(std::stoi(number))); }},
    // stdin: copies standard input to standard output
    {"stdin", [](Argument) { copyInput(); }},
    // folder: prints the working folder
    {"folder", [](Argument) { print(std::filesystem::current_path().string()); }},
    // env:NAME: prints an environment variable
    {"env", [](Argument name) {
        const char *const value = std::getenv(name.c_str());
        print(value ? value : "(unset)");
    }},
    // gate:FIFO: waits for one byte from a FIFO
    {"gate", passGate},
    // touch:FILE: makes an empty file
    {"touch", [](Argument file) { ::close(::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)); }},
    // hold:FIFO: keeps a FIFO open for writing while this process and its copies live
    {"hold", [](Argument fifo) { (void)!::open(fifo.c_str(), O_WRONLY | O_CLOEXEC); }},
    // ignore:N: ignores a signal
    {"ignore", [](Argument number) { std::signal(std::stoi(number), SIG_IGN); }},
    // report:N: prints "signal N" at each such signal, without ending
    {"report", [](Argument number) {
        reports.at(std::stoul(number)) = "signal " + number + '\n';
        std::signal(std::stoi(number), reportSignal);
    }},
    // wait: waits for a signal to end it
    {"wait", [](Argument) { for (;;) { ::pause(); } }},
    // signal:N: dies of a signal, without a core file
    {"signal", [](Argument number) { dieOf(std::stoi(number)); }},
    {"exit", [](Argument number) { ::_exit(std::stoi(number)); }},
    // staging:FOLDER: makes a staging folder there and prints its path
    {"staging", [](Argument folder) { print(makeStaging(folder)); }},
};
// clang-format on

int runSteps(const std::vector<std::string> &steps)
{
    for (size_t i = 0; i < steps.size(); ++i) {
        const std::string &step = steps[i];
        const std::string verb = step.substr(0, step.find(':'));
        const std::string argument = step.substr(std::min(verb.size() + 1, step.size()));
        std::vector<std::string> rest(steps.begin() + static_cast<long>(i) + 1, steps.end());
        if (verb == "launcher" || verb == "toolbox") { // runs a program with the other arguments
            rest.insert(rest.begin(), argument);
            return runLauncher(rest, verb == "toolbox");
        }
        if (verb == "parent") {
            return 0; // only the copy gets here
        }
        // Continues as two processes. The copy prints its number, and ends at "parent:". The
        // original waits for that number, then continues behind "parent:".
        if (verb == "fork") {
            if (!forkCopy()) {
                const auto parent = std::find(steps.begin(), steps.end(), "parent:");
                i = static_cast<size_t>(parent - steps.begin());
            }
        } else if (const auto known = verbs.find(verb); known != verbs.end()) {
            known->second(argument);
        } else {
            std::fprintf(stderr, "unknown step: %s\n", step.c_str());
            return 2;
        }
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    ::alarm(maxLifeSeconds);
    return runSteps(std::vector<std::string>(argv + 1, argv + argc));
}
