#include "SessionManager.h"

#include "support/Await.h"

#include <X11/SM/SMlib.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace brindle {

namespace {

int line = -1; // the socket to the test
SmsConn client = nullptr;
bool isGnome = false;

void say(const char *text)
{
    dprintf(line, "%s\n", text);
}

void obey(const std::string &order)
{
    if (order == "GNOME" || order == "Plasma") {
        isGnome = order == "GNOME";
    } else if (order == "die") {
        SmsDie(client);
    } else if (order == "cancelled") {
        SmsShutdownCancelled(client);
    } else {
        const bool asks = order == "ask";
        SmsSaveYourself(client, isGnome ? SmSaveGlobal : SmSaveBoth, True,
                        asks ? SmInteractStyleAny : SmInteractStyleNone, !asks);
    }
}

Status admitClient(SmsConn /*connection*/, SmPointer /*data*/, unsigned long *mask,
                   SmsCallbacks *calls, char ** /*reason*/)
{
    *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask |
            SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask |
            SmsSaveYourselfDoneProcMask | SmsCloseConnectionProcMask | SmsSetPropertiesProcMask |
            SmsDeletePropertiesProcMask | SmsGetPropertiesProcMask;
    calls->register_client.callback = [](SmsConn connection, SmPointer, char *previous) -> Status {
        std::free(previous);
        client = connection;
        char *const name = SmsGenerateClientID(connection);
        SmsRegisterClientReply(connection, name);
        std::free(name);
        // The protocol demands this question for each new client.
        SmsSaveYourself(connection, SmSaveLocal, False, SmInteractStyleNone, False);
        return 1;
    };
    calls->interact_request.callback = [](SmsConn connection, SmPointer, int) {
        say("wants to ask");
        SmsInteract(connection);
    };
    calls->interact_done.callback = [](SmsConn connection, SmPointer, Bool cancels) {
        say(cancels ? "has asked and cancels" : "has asked");
        if (cancels) {
            SmsShutdownCancelled(connection); // before the client has saved
        }
    };
    calls->save_yourself_done.callback = [](SmsConn connection, SmPointer, Bool success) {
        say(success ? "agrees" : "does not agree");
        static bool isFirst = true;
        if (std::exchange(isFirst, false) || isGnome) {
            SmsSaveComplete(connection);
        }
    };
    calls->save_yourself_request.callback = [](SmsConn, SmPointer, int, Bool, int, Bool, Bool) {};
    calls->save_yourself_phase2_request.callback = [](SmsConn connection, SmPointer) {
        SmsSaveYourselfPhase2(connection);
    };
    calls->close_connection.callback = [](SmsConn connection, SmPointer, int count, char **why) {
        SmFreeReasons(count, why);
        SmsCleanUp(connection);
    };
    calls->set_properties.callback = [](SmsConn, SmPointer, int count, SmProp **properties) {
        for (int i = 0; i < count; ++i) {
            SmFreeProperty(properties[i]);
        }
        std::free(static_cast<void *>(properties));
    };
    calls->delete_properties.callback = [](SmsConn, SmPointer, int, char **names) {
        std::free(static_cast<void *>(names));
    };
    calls->get_properties.callback = [](SmsConn connection, SmPointer) {
        SmsReturnProperties(connection, 0, nullptr);
    };
    return 1;
}

/// Serves the application and the test until the test closes its socket.
void serve(IceListenObj door)
{
    std::string orders;
    IceConn connection = nullptr;
    const auto numberOf = [](IceConn ice) { return ice ? IceConnectionNumber(ice) : -1; };
    for (;;) {
        std::array waiting{pollfd{line, POLLIN, 0},
                           pollfd{IceGetListenConnectionNumber(door), POLLIN, 0},
                           pollfd{numberOf(connection), POLLIN, 0}};
        poll(waiting.data(), waiting.size(), -1);
        if (waiting[2].revents != 0 &&
            IceProcessMessages(connection, nullptr, nullptr) != IceProcessMessagesSuccess) {
            connection = nullptr;
        }
        if (waiting[1].revents != 0) {
            IceAcceptStatus status = IceAcceptSuccess;
            connection = IceAcceptConnection(door, &status);
        }
        if (waiting[0].revents != 0) {
            std::array<char, 256> bytes = {};
            const ssize_t count = read(line, bytes.data(), bytes.size());
            if (count <= 0) {
                return;
            }
            orders.append(bytes.data(), static_cast<size_t>(count));
            for (size_t end = 0; (end = orders.find('\n')) != std::string::npos;) {
                obey(orders.substr(0, end));
                orders.erase(0, end + 1);
            }
        }
    }
}

[[noreturn]] void run()
{
    const auto admitHost = [](char *) -> Bool { return True; };
    std::array<char, 256> error = {};
    int count = 0;
    IceListenObj *doors = nullptr;
    IceSetIOErrorHandler([](IceConn) {}); // without it libICE exits when its client does
    if (SmsInitialize("Brindle's tests", "1", admitClient, nullptr, admitHost, error.size(),
                      error.data()) &&
        IceListenForConnections(&count, &doors, error.size(), error.data()) && count > 0) {
        // The last address is the local one.
        IceListenObj door = doors[count - 1];
        IceSetHostBasedAuthProc(door, admitHost);
        say(IceComposeNetworkIdList(1, &door));
        serve(door);
    }
    // End at once, because libICE does not free its connections.
    std::_Exit(0);
}

} // namespace

SessionManager::SessionManager()
{
    std::array<int, 2> ends = {};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        qFatal("there is no socket");
    }
    if (fork() == 0) {
        close(ends[0]);
        line = ends[1];
        run();
    }
    close(ends[1]);
    line_ = ends[0];
    QByteArray address;
    for (char c = 0; read(line_, &c, 1) == 1 && c != '\n';) {
        address += c;
    }
    qputenv("SESSION_MANAGER", address);
}

void SessionManager::order(const char *order)
{
    if (!socket_.isOpen()) {
        socket_.setSocketDescriptor(line_);
    }
    socket_.write(QByteArray(order) + '\n');
    socket_.flush();
}

QStringList SessionManager::waitFor(const QString &act)
{
    if (!socket_.isOpen()) {
        socket_.setSocketDescriptor(line_);
    }
    QStringList acts;
    spinUntil([&] {
        while (socket_.canReadLine() && !acts.contains(act)) {
            acts << QString::fromUtf8(socket_.readLine()).trimmed();
        }
        return acts.contains(act);
    });
    return acts;
}

} // namespace brindle
