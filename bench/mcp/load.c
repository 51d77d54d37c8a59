/// load PORT CLIENTS WARM_UP SECONDS PID REQUEST
///
/// Puts load on a server on 127.0.0.1: so many clients, each of which connects, sends the bytes of
/// the file REQUEST, reads until the server closes, closes, and begins anew. After WARM_UP seconds
/// it measures for SECONDS and prints one line of JSON. PID is the server's process, whose
/// processor time is taken at both ends of the measurement.
///
/// Every reply must be "200 OK" and as long as the first one. The server closes first, so the ports
/// that wait for stray packets are its own and clients do not run out of them.

#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

enum {
    mostClients = 1024,
    mostRequest = 64 * 1024,
    mostLatencies = 8 * 1000 * 1000,
    receiveBuffer = 256 * 1024,
    stallMilliseconds = 10 * 1000,
};
static const char wantedStatus[] = "HTTP/1.1 200 OK\r\n";
enum { statusLength = sizeof wantedStatus - 1 };

struct Client {
    int socket;
    uint64_t began;
    size_t sent;
    size_t received;
};

struct Load {
    struct sockaddr_in server;
    int epoll;
    char request[mostRequest];
    size_t requestLength;
    struct Client clients[mostClients];
    int open;
    bool isEnding;
    size_t replyLength;   ///< of the first reply, and so of all
    uint32_t* latencies;  ///< in tenths of a microsecond, of the measured time
    size_t latencyCount;
    bool isMeasuring;
};

_Noreturn static void fail(const char* what) {
    fprintf(stderr, "load: %s: %s\n", what, strerror(errno));
    exit(1);
}

_Noreturn static void refuse(const char* what, size_t got, size_t wanted) {
    fprintf(stderr, "load: %s: %zu, wanted %zu\n", what, got, wanted);
    exit(1);
}

static uint64_t nanosecondsOf(clockid_t clock) {
    struct timespec time;
    if (clock_gettime(clock, &time) != 0)
        fail("clock");
    return (uint64_t)time.tv_sec * 1000000000u + (uint64_t)time.tv_nsec;
}

static void sendRequest(struct Load* load, struct Client* client) {
    while (client->sent < load->requestLength) {
        const ssize_t sent = send(client->socket, load->request + client->sent,
                                  load->requestLength - client->sent, MSG_NOSIGNAL);
        if (sent < 0 && (errno == EAGAIN || errno == EINPROGRESS))
            return;
        if (sent < 0)
            fail("send");
        client->sent += (size_t)sent;
    }
}

static void begin(struct Load* load, struct Client* client) {
    client->began = nanosecondsOf(CLOCK_MONOTONIC);
    client->sent = client->received = 0;
    client->socket = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (client->socket < 0)
        fail("socket");
    if (connect(client->socket, (struct sockaddr*)&load->server, sizeof load->server) != 0 &&
        errno != EINPROGRESS)
        fail("connect");
    // On the loopback interface the connection is there when connect() comes back.
    sendRequest(load, client);
    struct epoll_event event = {.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET,
                                .data.ptr = client};
    if (client->sent == load->requestLength)
        event.events &= ~(uint32_t)EPOLLOUT;
    if (epoll_ctl(load->epoll, EPOLL_CTL_ADD, client->socket, &event) != 0)
        fail("epoll_ctl");
    ++load->open;
}

static void checkStatus(const struct Client* client, const char* bytes, size_t count) {
    if (client->received >= statusLength)
        return;
    const size_t left = statusLength - client->received;
    if (memcmp(bytes, wantedStatus + client->received, count < left ? count : left) != 0) {
        fprintf(stderr, "load: the reply began with \"%.*s\"\n", (int)(count < 80 ? count : 80),
                bytes);
        exit(1);
    }
}

static void end(struct Load* load, struct Client* client) {
    if (load->replyLength == 0)
        load->replyLength = client->received;
    if (client->received != load->replyLength || client->received < statusLength)
        refuse("a reply's length", client->received, load->replyLength);
    if (load->isMeasuring && load->latencyCount < mostLatencies)
        load->latencies[load->latencyCount++] =
            (uint32_t)((nanosecondsOf(CLOCK_MONOTONIC) - client->began) / 100);
    close(client->socket);
    --load->open;
    if (!load->isEnding)
        begin(load, client);
}

static void receive(struct Load* load, struct Client* client) {
    static char buffer[receiveBuffer];
    for (;;) {
        const ssize_t count = recv(client->socket, buffer, sizeof buffer, 0);
        if (count == 0) {
            end(load, client);
            return;
        }
        if (count < 0 && errno == EAGAIN)
            return;
        if (count < 0)
            fail("recv");
        checkStatus(client, buffer, (size_t)count);
        client->received += (size_t)count;
    }
}

/// Lets the clients go on until then, or, when they are ending, until all have ended.
static void runUntil(struct Load* load, uint64_t then) {
    struct epoll_event events[64];
    while (load->open > 0 && (load->isEnding || nanosecondsOf(CLOCK_MONOTONIC) < then)) {
        const int count = epoll_wait(load->epoll, events, 64, stallMilliseconds);
        if (count < 0 && errno != EINTR)
            fail("epoll_wait");
        if (count == 0)
            refuse("nothing moved for so many milliseconds", stallMilliseconds, 0);
        for (int i = 0; i < count; ++i) {
            struct Client* client = events[i].data.ptr;
            if (client->sent < load->requestLength)
                sendRequest(load, client);
            receive(load, client);
        }
    }
}

static int byValue(const void* a, const void* b) {
    const uint32_t left = *(const uint32_t*)a;
    const uint32_t right = *(const uint32_t*)b;
    return (left > right) - (left < right);
}

static double percentile(const struct Load* load, double part) {
    const size_t at = (size_t)(part * (double)(load->latencyCount - 1) + 0.5);
    return load->latencies[at] / 10.0;
}

static void readRequest(struct Load* load, const char* path) {
    FILE* file = fopen(path, "r");
    if (!file)
        fail(path);
    load->requestLength = fread(load->request, 1, mostRequest, file);
    if (load->requestLength == 0 || load->requestLength == mostRequest)
        refuse("the request's length", load->requestLength, mostRequest - 1);
    fclose(file);
}

static void measure(struct Load* load, clockid_t serverClock, double seconds) {
    const uint64_t began = nanosecondsOf(CLOCK_MONOTONIC);
    const uint64_t server = nanosecondsOf(serverClock);
    const uint64_t own = nanosecondsOf(CLOCK_PROCESS_CPUTIME_ID);
    load->isMeasuring = true;
    runUntil(load, began + (uint64_t)(seconds * 1e9));
    load->isMeasuring = false;
    const double took = (double)(nanosecondsOf(CLOCK_MONOTONIC) - began) / 1e9;
    const double serverTook = (double)(nanosecondsOf(serverClock) - server) / 1e3;
    const double ownTook = (double)(nanosecondsOf(CLOCK_PROCESS_CPUTIME_ID) - own) / 1e3;
    load->isEnding = true;
    runUntil(load, 0);

    if (load->latencyCount == 0)
        refuse("requests answered", 0, 1);
    const double requests = (double)load->latencyCount;
    qsort(load->latencies, load->latencyCount, sizeof *load->latencies, byValue);
    printf(
        "{\"requests\": %.0f, \"seconds\": %.3f, \"rate\": %.1f, \"p50\": %.1f, \"p99\": %.1f, "
        "\"max\": %.1f, \"processor\": %.3f, \"generator\": %.3f, \"length\": %zu}\n",
        requests, took, requests / took, percentile(load, 0.5), percentile(load, 0.99),
        percentile(load, 1), serverTook / requests, ownTook / requests, load->replyLength);
}

int main(int argc, char** argv) {
    if (argc != 7) {
        fprintf(stderr, "usage: load PORT CLIENTS WARM_UP SECONDS PID REQUEST\n");
        return 2;
    }
    static struct Load load;
    load.server = (struct sockaddr_in){.sin_family = AF_INET,
                                       .sin_port = htons((uint16_t)atoi(argv[1])),
                                       .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
    const int clients = atoi(argv[2]);
    clockid_t serverClock;
    if (clients < 1 || clients > mostClients)
        refuse("clients", (size_t)clients, mostClients);
    if (clock_getcpuclockid(atoi(argv[5]), &serverClock) != 0)
        refuse("no such process", (size_t)atoi(argv[5]), 0);
    readRequest(&load, argv[6]);
    load.latencies = calloc(mostLatencies, sizeof *load.latencies);
    load.epoll = epoll_create1(EPOLL_CLOEXEC);
    if (!load.latencies || load.epoll < 0)
        fail("begin");

    for (int i = 0; i < clients; ++i)
        begin(&load, &load.clients[i]);
    runUntil(&load, nanosecondsOf(CLOCK_MONOTONIC) + (uint64_t)(atof(argv[3]) * 1e9));
    measure(&load, serverClock, atof(argv[4]));
    return 0;
}
