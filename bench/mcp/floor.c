/// floor PORT REPLY [PORT REPLY]…
///
/// What the machine itself allows: a server that waits, accepts, receives, sends and closes, and
/// nothing else. Every request to a port, whatever it asks, gets the bytes of the file REPLY.

#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

enum { mostDescriptors = 4096, mostReply = 1024 * 1024, receiveBuffer = 64 * 1024, backlog = 4096 };

struct Reply {
    char* bytes;
    size_t length;
};

/// What is known of a descriptor: the reply, and, unless it listens, how much of the request is
/// still to come, none while its head is not there.
struct Descriptor {
    const struct Reply* reply;
    int isListener;
    size_t headLength;
    long bodyLeft;
    char head[4096];
};

static struct Descriptor descriptors[mostDescriptors];

_Noreturn static void fail(const char* what) {
    fprintf(stderr, "floor: %s: %s\n", what, strerror(errno));
    exit(1);
}

static void watch(int epoll, int descriptor) {
    struct epoll_event event = {.events = EPOLLIN, .data.fd = descriptor};
    if (epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) != 0)
        fail("epoll_ctl");
}

static void acceptAll(int epoll, int listener) {
    for (;;) {
        const int connection = accept4(listener, NULL, NULL, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (connection < 0)
            return;
        if (connection >= mostDescriptors) {
            close(connection);
            continue;
        }
        struct Descriptor* descriptor = &descriptors[connection];
        descriptor->reply = descriptors[listener].reply;
        descriptor->isListener = 0;
        descriptor->headLength = 0;
        descriptor->bodyLeft = -1;
        watch(epoll, connection);
    }
}

static long contentLength(const char* head) {
    static const char name[] = "content-length:";
    const char* at = strcasestr(head, name);
    return at ? atol(at + sizeof name - 1) : 0;
}

/// Takes what was received; whether the request is complete, or too long to be one.
static int take(struct Descriptor* request, const char* bytes, size_t count) {
    if (request->bodyLeft >= 0) {
        request->bodyLeft -= (long)count;
        return request->bodyLeft <= 0;
    }
    const size_t room = sizeof request->head - 1 - request->headLength;
    const size_t kept = count < room ? count : room;
    memcpy(request->head + request->headLength, bytes, kept);
    request->headLength += kept;
    request->head[request->headLength] = 0;
    const char* blankLine = strstr(request->head, "\r\n\r\n");
    if (!blankLine)
        return kept < count;
    const long body = (long)(request->head + request->headLength - (blankLine + 4));
    request->bodyLeft = contentLength(request->head) - body - (long)(count - kept);
    return request->bodyLeft <= 0;
}

static void serve(int connection) {
    static char buffer[receiveBuffer];
    struct Descriptor* request = &descriptors[connection];
    const ssize_t count = recv(connection, buffer, sizeof buffer, 0);
    if (count < 0 && errno == EAGAIN)
        return;
    if (count > 0) {
        if (!take(request, buffer, (size_t)count))
            return;
        const ssize_t sent =
            send(connection, request->reply->bytes, request->reply->length, MSG_NOSIGNAL);
        if (sent != (ssize_t)request->reply->length)
            fail("send");
    }
    close(connection);
}

static int listenerOn(int port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const struct sockaddr_in address = {.sin_family = AF_INET,
                                        .sin_port = htons((unsigned short)port),
                                        .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
    const int yes = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (bind(listener, (const struct sockaddr*)&address, sizeof address) != 0 ||
        listen(listener, backlog) != 0)
        fail("listen");
    return listener;
}

static struct Reply* readReply(const char* path) {
    FILE* file = fopen(path, "r");
    struct Reply* reply = malloc(sizeof *reply);
    if (!file || !reply || !(reply->bytes = malloc(mostReply)))
        fail(path);
    reply->length = fread(reply->bytes, 1, mostReply, file);
    fclose(file);
    return reply;
}

int main(int argc, char** argv) {
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    for (int i = 1; i + 1 < argc; i += 2) {
        const int listener = listenerOn(atoi(argv[i]));
        descriptors[listener].reply = readReply(argv[i + 1]);
        descriptors[listener].isListener = 1;
        watch(epoll, listener);
    }
    struct epoll_event events[64];
    for (;;) {
        const int count = epoll_wait(epoll, events, 64, -1);
        for (int i = 0; i < count; ++i) {
            const int descriptor = events[i].data.fd;
            if (descriptors[descriptor].isListener)
                acceptAll(epoll, descriptor);
            else
                serve(descriptor);
        }
    }
}
