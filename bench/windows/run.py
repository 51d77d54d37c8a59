#!/usr/bin/python3
"""Measures how quickly the application and its windows appear, and what they leave behind; see
scripts/bench-windows."""

import argparse
import os
import re
import subprocess
import tempfile
import time
from pathlib import Path
from statistics import median

import seed
from accessible import AccessibleWindows
from desktop import until
from keyboard import press
from quillet import Quillet

WINDOWS = "guide settings history recordings review knowledge meetings".split()
HISTORY = 100_000
KNOWLEDGE = 500
MEETINGS = 60


class Application(Quillet):
    """Quillet of somebody who has used it for years."""

    def seed(self):
        self.start()
        database = self.home / ".quillet/sessions.db"
        until(lambda: seed.has_tables(database), 10, "the history")
        self.quit()
        seed.add_history(database, HISTORY)
        seed.write_knowledge(self.home / ".quillet/knowledge.json", KNOWLEDGE)
        seed.write_meetings(self.home / ".quillet/meetings", MEETINGS)

    def launch_timed(self):
        """Starts it; returns how long it took until it was ready, in ms. What it logs can be read
        from then on."""
        began = time.monotonic()
        self.process = subprocess.Popen([self.programs / "quillet-app"], env=self.environment,
                                        stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.await_line("Ready")
        return (time.monotonic() - began) * 1000

    def await_line(self, part):
        for line in self.process.stderr:
            if part in line:
                return line
        raise AssertionError(f"quillet-app ended before it said {part!r}")

    def open_timed(self, kind):
        """Opens a window; returns it with the time until it had been painted, in ms."""
        shown = AccessibleWindows(self.process.pid)
        before = shown.ids()
        self.command("open", kind)
        line = self.await_line(f"{kind} painted")
        window = until(lambda: shown.ids() - before, 10, kind).pop()
        return window, float(re.search(r"([\d.]+) ms", line)[1])

    def close_window(self, window):
        subprocess.run(["xdotool", "windowactivate", "--sync", window], check=True)
        press("Escape")
        until(lambda: window not in AccessibleWindows(self.process.pid).ids(), 10, "the window to close")

    def memory(self):
        """Resident memory of its own, in MiB."""
        status = Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(r"RssAnon:\s+(\d+)", status)[1]) / 1024


def measure_start(quillet, rounds):
    times = []
    for _ in range(rounds):
        times.append(quillet.launch_timed())
        quillet.quit()
        quillet.process.stderr.close()
    print(f"| application: start to ready | {median(times):.0f} ms, longest {max(times):.0f} |")


def measure_windows(quillet, rounds):
    first, later, memory = {}, {kind: [] for kind in WINDOWS}, []
    for number in range(rounds + 1):
        for kind in WINDOWS:
            window, taken = quillet.open_timed(kind)
            if number == 0:
                first[kind] = taken
            else:
                later[kind].append(taken)
            quillet.close_window(window)
        memory.append(quillet.memory())
    for kind in WINDOWS:
        print(f"| window {kind}: made and painted, the first time, later | {first[kind]:.0f} ms, "
              f"{median(later[kind]):.0f} ms, longest {max(later[kind]):.0f} |")
    points = [0, 1, rounds // 5, rounds // 2, rounds]
    told = ", ".join(f"{point + 1}: {memory[point]:.1f}" for point in points)
    print(f"| every window opened and closed so often: memory of its own | {told} MiB |")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--rounds", type=int, default=50)
    rounds = parser.parse_args().rounds
    with tempfile.TemporaryDirectory(dir=os.environ["VDESK_DIR"]) as folder:
        quillet = Application(Path(folder))
        quillet.seed()
        print("| what | measured |\n|---|---|")
        measure_start(quillet, 10)
        quillet.launch_timed()
        try:
            measure_windows(quillet, rounds)
        finally:
            quillet.quit()


main()
