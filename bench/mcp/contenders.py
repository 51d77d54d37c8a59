"""The servers that are measured, each a process that answers on 127.0.0.1."""

import os
import re
import socket
import subprocess
import time
from contextlib import suppress
from pathlib import Path

from exchange import OPERATIONS, await_answer, request_bytes
from quillet import Quillet

QUILLET_PORT = 7865
EVERY_PROCESSOR = sorted(os.sched_getaffinity(0))


class Processors:
    """Who runs where."""

    def __init__(self, arrangement):
        first, others = EVERY_PROCESSOR[:1], EVERY_PROCESSOR[1:]
        self.server, self.clients, self.sentence = {
            "apart": (first, others or first, "servers on one processor, clients on the others"),
            "one": (first, first, "servers and clients on one processor"),
            "free": (EVERY_PROCESSOR, EVERY_PROCESSOR, "servers and clients on any processor"),
        }[arrangement]

    def place_server(self, pid):
        for thread in os.listdir(f"/proc/{pid}/task"):
            with suppress(ProcessLookupError):
                os.sched_setaffinity(int(thread), self.server)

    def place_clients(self):
        os.sched_setaffinity(0, self.clients)


class Server:
    def __init__(self, name, pid, ports, key):
        self.name, self.pid, self.ports, self.key = name, pid, ports, key

    def request(self, operation):
        return request_bytes(self.ports[operation], self.key, *OPERATIONS[operation])

    def require_free_ports(self):
        for port in set(self.ports.values()):
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", port)) == 0:
                    raise AssertionError(f"another program serves port {port}")

    def await_ping(self):
        await_answer(self.ports["ping"], self.request("ping"))

    def memory(self, field="VmRSS"):
        """Resident memory in MiB; "VmHWM": the most it was."""
        status = Path(f"/proc/{self.pid}/status").read_text()
        return int(re.search(rf"^{field}:\s+(\d+) kB", status, re.M)[1]) / 1024

    def forget_peak(self):
        Path(f"/proc/{self.pid}/clear_refs").write_text("5")


class SpawnedServer(Server):
    """One of the comparison servers; `seconds_to_answer` is from its start to its first answer."""

    def __init__(self, name, command, ports, key):
        super().__init__(name, None, ports, key)
        self.require_free_ports()
        began = time.monotonic()
        self.process = subprocess.Popen(command, env=dict(os.environ, MCP_KEY=key))
        self.pid = self.process.pid
        self.await_ping()
        self.seconds_to_answer = time.monotonic() - began

    def stop(self):
        self.process.kill()
        self.process.wait()


def node_server(name, port, key, programs, history, tools):
    command = [programs / "node", programs / f"{name}.mjs", str(port), history, tools]
    return SpawnedServer(name, command, dict.fromkeys(OPERATIONS, port), key)


def floor(port, key, program, replies):
    """`replies`: for each operation a file with the reply."""
    ports = {operation: port + i for i, operation in enumerate(replies)}
    words = [str(word) for operation in replies for word in (ports[operation], replies[operation])]
    return SpawnedServer("floor", [program, *words], ports, key)


class QuilletServer(Server):
    """The application. It is given what it needs of a home and runs with its server off."""

    def __init__(self, folder):
        super().__init__("Quillet", None, dict.fromkeys(OPERATIONS, QUILLET_PORT), None)
        self.require_free_ports()
        self.app = Quillet(folder)
        self.app.start()
        self.pid = self.app.process.pid

    @property
    def database(self):
        return self.app.home / ".quillet/sessions.db"

    def switch_on(self):
        """Seconds until the first answer."""
        self.key = re.search(r"qk_[0-9a-f]{64}", self.app.command("mcp", "command"))[0]
        began = time.monotonic()
        command = self.app.begin("mcp", "on")
        self.await_ping()
        took = time.monotonic() - began
        command.communicate(timeout=10)
        return took

    def restart(self):
        self.app.quit()
        self.app.start()
        self.pid = self.app.process.pid
        self.await_ping()

    def stop(self):
        self.app.quit()
