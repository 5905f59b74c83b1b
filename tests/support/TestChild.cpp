// A child for the tests to run: does the steps that its arguments name, one after the other, with
// unbuffered writes. A step is a verb, or a verb, a colon and an argument; texts may contain the
// escapes \n \r \\ and \xHH.
//
//   out:TEXT err:TEXT    writes to standard output, standard error
//   args:                prints the rest of the arguments in brackets, one a line, and ends
//   lines:COUNT          prints that many numbered lines in large writes
//   paced:RATE,SECONDS   prints numbered lines, RATE in each second
//   endless:BYTES        prints that many bytes of "0123456789…" without a line feed
//   long:COUNT,BYTES     prints that many numbered lines of that many bytes, most of them digits
//   descriptors:         prints the numbers of the open descriptors in one line
//   group:               prints "leader" if it leads its process group
//   pid:                 prints its process number in one line
//   ignored:N blocked:N  prints "yes" or "no" for a signal
//   stdin:               copies standard input to standard output
//   folder:              prints the working folder
//   env:NAME             prints an environment variable
//   gate:FIFO            waits for one byte from a FIFO
//   touch:FILE           makes an empty file
//   hold:FIFO            opens a FIFO for writing, for as long as it and its copies live
//   ignore:N             ignores a signal
//   report:N             prints "signal N" whenever the signal arrives, and goes on
//   fork:                goes on as two processes; the original waits until the copy has printed
//                        its number, and skips all steps up to "parent:", where the copy ends
//   session:             becomes the leader of a session of its own
//   close:               closes standard output and error
//   wait:                waits until a signal ends it, two minutes at most
//   signal:N             dies of a signal, without a core file
//   exit:N               ends with a code
//   staging:FOLDER       makes a staging folder there, prints its path in one line, and goes on
//   launcher:PROGRAM     runs a program on the rest of the arguments, as TestLauncher.h says
//   killed:PROGRAM       the same with a program that shall end with it

#include "TestLauncher.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// Seconds; nothing that a test starts stays for ever, but longer than a test waits for its end.
constexpr unsigned maxLife = 120;
constexpr size_t largeWrite = 64UL * 1024;

/// Goes on without those who no longer listen, as a game does.
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

std::string unescaped(std::string_view text)
{
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        const char kind = text[++i];
        if (kind == 'n') {
            result += '\n';
        } else if (kind == 'r') {
            result += '\r';
        } else if (kind == 'x') {
            result += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else {
            result += kind;
        }
    }
    return result;
}

void printLines(long count)
{
    std::string block;
    for (long i = 0; i < count; ++i) {
        block += "line " + std::to_string(i) + '\n';
        if (block.size() >= largeWrite) {
            write(STDOUT_FILENO, block);
            block.clear();
        }
    }
    write(STDOUT_FILENO, block);
}

/// In a hundred portions a second.
void printPaced(long rate, long seconds)
{
    constexpr long portions = 100;
    auto next = std::chrono::steady_clock::now();
    long line = 0;
    for (long i = 1; i <= portions * seconds; ++i) {
        std::string block;
        for (; line < rate * i / portions; ++line) {
            block += "line " + std::to_string(line) + '\n';
        }
        write(STDOUT_FILENO, block);
        next += std::chrono::milliseconds(1000) / portions;
        std::this_thread::sleep_until(next);
    }
}

void printEndless(size_t count)
{
    // A multiple of ten, so that the digits go on from one block to the next.
    static const std::string digits = [] {
        std::string block;
        for (size_t i = 0; i < largeWrite / 10 * 10; ++i) {
            block += static_cast<char>('0' + i % 10);
        }
        return block;
    }();
    for (size_t left = count; left > 0;) {
        const std::string_view part = std::string_view(digits).substr(0, left);
        write(STDOUT_FILENO, part);
        left -= part.size();
    }
}

void printLong(long count, size_t bytes)
{
    for (long i = 0; i < count; ++i) {
        const std::string head = "line " + std::to_string(i) + ' ';
        write(STDOUT_FILENO, head);
        printEndless(bytes - std::min(bytes, head.size()));
        write(STDOUT_FILENO, "\n");
    }
}

/// By asking for each number: listing a folder would open one more.
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
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count <= 0) {
            return;
        }
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

/// True in the copy.
bool forkCopy()
{
    std::array<int, 2> ready = {};
    if (::pipe(ready.data()) != 0) {
        std::abort();
    }
    const pid_t copy = ::fork();
    if (copy == 0) {
        ::alarm(maxLife);
        print(std::to_string(::getpid()));
        ::close(ready[0]);
        ::close(ready[1]);
        return true;
    }
    ::close(ready[1]);
    char byte = 0;
    (void)!::read(ready[0], &byte, 1); // ends when the copy closes its side
    ::close(ready[0]);
    return false;
}

void reportSignal(int number)
{
    std::array<char, 16> text = {'s', 'i', 'g', 'n', 'a', 'l', ' '};
    size_t size = std::strlen(text.data());
    if (number >= 10) {
        text.at(size++) = static_cast<char>('0' + number / 10);
    }
    text.at(size++) = static_cast<char>('0' + number % 10);
    text.at(size++) = '\n';
    write(STDOUT_FILENO, std::string_view(text.data(), size));
}

[[noreturn]] void waitForEver()
{
    for (;;) {
        ::pause();
    }
}

void dieOf(int number)
{
    const rlimit none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    std::signal(number, SIG_DFL);
    ::raise(number);
}

/// What needs no more than its own argument. False for an unknown verb.
bool simpleStep(const std::string &verb, const std::string &argument)
{
    const auto number = [&] { return std::stoi(argument); };
    if (verb == "out") {
        write(STDOUT_FILENO, unescaped(argument));
    } else if (verb == "err") {
        write(STDERR_FILENO, unescaped(argument));
    } else if (verb == "lines") {
        printLines(std::stol(argument));
    } else if (verb == "paced") {
        printPaced(number(), std::stol(argument.substr(argument.find(',') + 1)));
    } else if (verb == "endless") {
        printEndless(std::stoul(argument));
    } else if (verb == "long") {
        printLong(std::stol(argument), std::stoul(argument.substr(argument.find(',') + 1)));
    } else if (verb == "descriptors") {
        print(openDescriptors());
    } else if (verb == "group") {
        print(::getpgrp() == ::getpid() ? "leader" : "follower");
    } else if (verb == "pid") {
        print(std::to_string(::getpid()));
    } else if (verb == "ignored") {
        print(isIgnored(number()) ? "yes" : "no");
    } else if (verb == "blocked") {
        print(isBlocked(number()) ? "yes" : "no");
    } else if (verb == "stdin") {
        copyInput();
    } else if (verb == "folder") {
        print(std::filesystem::current_path().string());
    } else if (verb == "env") {
        const char *value = std::getenv(argument.c_str());
        print(value ? value : "(unset)");
    } else if (verb == "staging") {
        print(brindle::makeTestStaging(argument));
    } else if (verb == "gate") {
        passGate(argument);
    } else if (verb == "touch") {
        ::close(::open(argument.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    } else if (verb == "ignore") {
        std::signal(number(), SIG_IGN);
    } else if (verb == "report") {
        std::signal(number(), reportSignal);
    } else if (verb == "hold") {
        (void)!::open(argument.c_str(), O_WRONLY | O_CLOEXEC);
    } else if (verb == "session") {
        ::setsid();
    } else if (verb == "close") {
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
    } else if (verb == "wait") {
        waitForEver();
    } else if (verb == "signal") {
        dieOf(number());
    } else if (verb == "exit") {
        ::_exit(number());
    } else {
        return false;
    }
    return true;
}

int runSteps(const std::vector<std::string> &steps)
{
    for (size_t i = 0; i < steps.size(); ++i) {
        const size_t colon = steps[i].find(':');
        const std::string verb = steps[i].substr(0, colon);
        const std::string argument =
            colon == std::string::npos ? std::string() : steps[i].substr(colon + 1);
        const std::vector<std::string> rest(steps.begin() + static_cast<long>(i) + 1, steps.end());
        if (verb == "args") {
            for (const std::string &text : rest) {
                print('[' + text + ']');
            }
            return 0;
        }
        if (verb == "launcher") {
            return brindle::runTestLauncher(argument, rest);
        }
        if (verb == "killed") {
            return brindle::runTestLauncher(argument, rest,
                                            brindle::ManagedProcess::OnParentDeath::kill);
        }
        if (verb == "fork") {
            if (!forkCopy()) {
                i = static_cast<size_t>(std::find(steps.begin(), steps.end(), "parent:") -
                                        steps.begin());
            }
        } else if (verb == "parent") {
            // Only the copy comes here by itself.
            return 0;
        } else if (!simpleStep(verb, argument)) {
            std::fprintf(stderr, "unknown step: %s\n", steps[i].c_str());
            return 2;
        }
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    ::alarm(maxLife);
    return runSteps(std::vector<std::string>(argv + 1, argv + argc));
}
