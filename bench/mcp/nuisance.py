"""Clients that a server must not let others suffer from.

    nuisance.py idle PORT     200 connections: half of them silent, half sending a request a byte at
                              a time; again and again when they are closed
    nuisance.py large PORT    posts the bodies of a mebibyte that cost most to read

The key is MCP_KEY. Says "ready" when it is at work, and how it went when its standard input ends.
"""

import os
import select
import socket
import subprocess
import sys
import time

from exchange import exchange, request_bytes

SILENT, SLOW = 100, 100
TURN = 0.01  # seconds; in each a tenth of the slow ones send a byte
LARGEST_BODY = 1 << 20
PAUSE_BETWEEN_BODIES = 0.05


def asked_to_end(seconds):
    return bool(select.select([sys.stdin], [], [], seconds)[0])


class Idler:
    """A connection that sends nothing, or little."""

    def __init__(self, port, request):
        self.port, self.request = port, request
        self.closed = 0
        self.connect()

    def connect(self):
        self.connection = socket.create_connection(("127.0.0.1", self.port), timeout=10)
        self.connection.setblocking(False)
        self.sent = 0

    def turn(self):
        try:
            if self.request:
                # Never all of it: it is not to be answered.
                at = self.sent % (len(self.request) - 1)
                self.sent += self.connection.send(self.request[at:at + 1])
            if self.connection.recv(1 << 16) == b"":
                raise ConnectionResetError
        except BlockingIOError:
            pass
        except ConnectionError:
            self.closed += 1
            self.connection.close()
            self.connect()


def idle(port):
    request = request_bytes(port, "none", "ping")
    idlers = [Idler(port, given) for given in [None] * SILENT + [request] * SLOW]
    print("ready", flush=True)
    turns = 0
    while not asked_to_end(TURN):
        for idler in idlers[turns % 10::10]:
            idler.turn()
        turns += 1
    print(f"closed by the server {sum(idler.closed for idler in idlers)} times")


def large_request(port, key):
    """As many small values as fit."""
    def request(count):
        return request_bytes(port, key, "ping", {"padding": [1] * count})
    body = len(request(0).partition(b"\r\n\r\n")[2])
    return request((LARGEST_BODY - body + 1) // 2)


def large(port):
    request = large_request(port, os.environ["MCP_KEY"])
    answered = []
    print("ready", flush=True)
    while not asked_to_end(PAUSE_BETWEEN_BODIES):
        began = time.monotonic()
        reply = exchange(port, request)
        if not reply.startswith(b"HTTP/1.1 200 OK\r\n"):
            sys.exit(f"a large body was refused: {reply[:200]!r}")
        answered.append(time.monotonic() - began)
    print(f"{len(answered)} answered in {1e3 * sorted(answered)[len(answered) // 2]:.1f} ms each")


class Company:
    """Such clients, there while others are measured; `account` is what they say in the end."""

    def __init__(self, kind, server):
        self.process, self.account = None, ""
        if kind != "nobody":
            self.process = subprocess.Popen(
                [sys.executable, "-B", __file__, kind, str(server.ports["ping"])],
                env=dict(os.environ, MCP_KEY=server.key), stdin=subprocess.PIPE,
                stdout=subprocess.PIPE, text=True)

    def __enter__(self):
        if self.process and self.process.stdout.readline() != "ready\n":
            raise AssertionError("the nuisance ended at once")
        return self

    def __exit__(self, *_):
        if self.process:
            self.account = self.process.communicate(timeout=30)[0].strip()
            if self.process.returncode:
                raise AssertionError("the nuisance gave up")


if __name__ == "__main__":
    {"idle": idle, "large": large}[sys.argv[1]](int(sys.argv[2]))
