"""Runs the load generator and watches what else the machine does meanwhile."""

import json
import os
import resource
import subprocess
import time
from pathlib import Path

TICKS = os.sysconf("SC_CLK_TCK")


def busy_seconds():
    """Of all processors since the start of the machine, what the host took included."""
    user, nice, system, _idle, _wait, *rest = Path("/proc/stat").read_text().split()[1:9]
    return sum(map(int, (user, nice, system, *rest))) / TICKS


def seconds_of(pid):
    fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


def seconds_of_children():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


class Generator:
    def __init__(self, program, folder):
        self.program, self.request = program, Path(folder, "request")

    def run(self, server, operation, clients, warm_up, seconds):
        """What load.c prints, and "others": how much of the machine's processors went to neither
        server nor clients."""
        self.request.write_bytes(server.request(operation))
        command = [self.program, server.ports[operation], clients, warm_up, seconds, server.pid,
                   self.request]
        before = self.moment(server)
        run = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, text=True,
                             timeout=60 + warm_up + seconds)
        if run.returncode:
            raise AssertionError(f"{server.name} did not serve {operation} to {clients} clients")
        time_took, busy, *ours = (a - b for a, b in zip(self.moment(server), before))
        others = max(0, busy - sum(ours)) / time_took / os.cpu_count()
        return dict(json.loads(run.stdout), server=server.name, operation=operation,
                    clients=clients, others=round(others, 3))

    @staticmethod
    def moment(server):
        return time.monotonic(), busy_seconds(), seconds_of(server.pid), seconds_of_children()
