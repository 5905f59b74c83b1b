// A session manager for one client: prints its address, what the client does, and does what it is
// told on its input, each a line. Ends with its input.
//
// It is told "ask" or "silently": the session is about to end, with or without questions to the
// user; "cancelled": it is not; "die": it ends.

#include <X11/SM/SMlib.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

SmsConn client = nullptr;

void say(const char *line)
{
    std::puts(line);
    std::fflush(stdout);
}

Status registerClient(SmsConn connection, SmPointer /*data*/, char *previous)
{
    std::free(previous);
    client = connection;
    char *const name = SmsGenerateClientID(connection);
    SmsRegisterClientReply(connection, name);
    std::free(name);
    // As is due for a client that has just come.
    SmsSaveYourself(connection, SmSaveLocal, False, SmInteractStyleNone, False);
    return 1;
}

void interactRequest(SmsConn connection, SmPointer /*data*/, int /*type*/)
{
    say("wants to ask");
    SmsInteract(connection);
}

void interactDone(SmsConn /*connection*/, SmPointer /*data*/, Bool cancels)
{
    say(cancels ? "has asked and cancels" : "has asked");
}

void saveYourselfDone(SmsConn connection, SmPointer /*data*/, Bool success)
{
    say(success ? "agrees" : "does not agree");
    static bool isFirst = true;
    if (isFirst) {
        isFirst = false;
        SmsSaveComplete(connection);
    }
}

void saveYourselfRequest(SmsConn /*connection*/, SmPointer /*data*/, int /*type*/,
                         Bool /*shutdown*/, int /*style*/, Bool /*fast*/, Bool /*global*/)
{}

void phase2Request(SmsConn connection, SmPointer /*data*/)
{
    SmsSaveYourselfPhase2(connection);
}

void closed(SmsConn connection, SmPointer /*data*/, int count, char **reasons)
{
    SmFreeReasons(count, reasons);
    client = nullptr;
    SmsCleanUp(connection);
    say("closed");
}

void setProperties(SmsConn /*connection*/, SmPointer /*data*/, int count, SmProp **properties)
{
    for (int i = 0; i < count; ++i) {
        SmFreeProperty(properties[i]);
    }
    std::free(static_cast<void *>(properties));
}

void deleteProperties(SmsConn /*connection*/, SmPointer /*data*/, int count, char **names)
{
    for (int i = 0; i < count; ++i) {
        std::free(names[i]);
    }
    std::free(static_cast<void *>(names));
}

void getProperties(SmsConn connection, SmPointer /*data*/)
{
    SmsReturnProperties(connection, 0, nullptr);
}

Status newClient(SmsConn /*connection*/, SmPointer /*data*/, unsigned long *mask,
                 SmsCallbacks *callbacks, char ** /*reason*/)
{
    *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask |
            SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask |
            SmsSaveYourselfDoneProcMask | SmsCloseConnectionProcMask | SmsSetPropertiesProcMask |
            SmsDeletePropertiesProcMask | SmsGetPropertiesProcMask;
    callbacks->register_client.callback = registerClient;
    callbacks->interact_request.callback = interactRequest;
    callbacks->interact_done.callback = interactDone;
    callbacks->save_yourself_request.callback = saveYourselfRequest;
    callbacks->save_yourself_phase2_request.callback = phase2Request;
    callbacks->save_yourself_done.callback = saveYourselfDone;
    callbacks->close_connection.callback = closed;
    callbacks->set_properties.callback = setProperties;
    callbacks->delete_properties.callback = deleteProperties;
    callbacks->get_properties.callback = getProperties;
    return 1;
}

/// Whoever gets here is a program of the test's.
Bool admit(char * /*host*/)
{
    return True;
}

void obey(const std::string &line)
{
    if (!client) {
        say("nobody is there");
    } else if (line == "die") {
        SmsDie(client);
    } else if (line == "cancelled") {
        SmsShutdownCancelled(client);
    } else {
        const int style = line == "ask" ? SmInteractStyleAny : SmInteractStyleNone;
        SmsSaveYourself(client, SmSaveBoth, True, style, False);
    }
}

/// False at the end of the input.
bool readInput(std::string &input)
{
    std::array<char, 256> bytes = {};
    const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count <= 0) {
        return false;
    }
    input.append(bytes.data(), static_cast<size_t>(count));
    for (size_t end = input.find('\n'); end != std::string::npos; end = input.find('\n')) {
        obey(input.substr(0, end));
        input.erase(0, end + 1);
    }
    return true;
}

void serve(IceListenObj door)
{
    std::string input;
    std::vector<IceConn> connections;
    for (;;) {
        std::vector<pollfd> waiting{{STDIN_FILENO, POLLIN, 0},
                                    {IceGetListenConnectionNumber(door), POLLIN, 0}};
        for (IceConn connection : connections) {
            waiting.push_back({IceConnectionNumber(connection), POLLIN, 0});
        }
        if (poll(waiting.data(), waiting.size(), -1) < 0) {
            return;
        }
        for (size_t i = connections.size(); i-- > 0;) {
            if (waiting[i + 2].revents != 0 &&
                IceProcessMessages(connections[i], nullptr, nullptr) != IceProcessMessagesSuccess) {
                connections.erase(connections.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (waiting[1].revents != 0) {
            IceAcceptStatus status = IceAcceptSuccess;
            if (IceConn connection = IceAcceptConnection(door, &status)) {
                connections.push_back(connection);
            }
        }
        if (waiting[0].revents != 0 && !readInput(input)) {
            return;
        }
    }
}

} // namespace

int main()
{
    std::array<char, 256> error = {};
    int count = 0;
    IceListenObj *doors = nullptr;
    // A client that goes is no reason to go as well.
    IceSetIOErrorHandler([](IceConn) {});
    if (!SmsInitialize("Brindle's tests", "1", newClient, nullptr, admit, error.size(),
                       error.data()) ||
        !IceListenForConnections(&count, &doors, error.size(), error.data()) || count == 0) {
        std::fprintf(stderr, "no session to be had: %s\n", error.data());
        return 1;
    }
    // The local one, which is the last.
    IceListenObj door = doors[count - 1];
    IceSetHostBasedAuthProc(door, admit);
    char *const address = IceComposeNetworkIdList(1, &door);
    say(address);
    std::free(address);
    serve(door);
    // With its connections, which libICE does not let go of.
    std::_Exit(0);
}
