#!/usr/bin/python3
"""Measures the server for AI clients against others; see scripts/bench-mcp."""

import argparse
import json
import os
import tempfile
import time
from pathlib import Path
from statistics import median

import report
import seed
from contenders import Processors, QuilletServer, floor, node_server
from desktop import until
from exchange import OPERATIONS, exchange, result_of
from load import Generator
from nuisance import Company
from report import CLIENTS, Figure, Runs
from search import measured_search

NODE_SERVERS = {"sdk1": 7901, "sdk2": 7902, "plain-node": 7903}
FLOOR_PORT = 7910
HISTORY = 2_000


class Bench:
    def __init__(self, options, folder):
        self.options, self.folder = options, folder
        self.programs = Path(os.environ["BENCH_BIN"])
        self.rounds, self.warm_up, self.seconds = (1, 0.2, 0.6) if options.quick else (3, 0.4, 1.6)
        self.generator = Generator(self.programs / "load", folder)
        self.runs, self.figures = Runs(), {}
        self.servers = {}

    # Starting

    def start_quillet(self):
        quillet = self.servers["Quillet"] = QuilletServer(self.folder)
        until(lambda: seed.has_tables(quillet.database), 10, "the history")
        seed.add_history(quillet.database, HISTORY)
        self.figures[Figure.OFF_MEMORY] = quillet.memory()
        self.figures[Figure.SWITCH] = quillet.switch_on()

    def start_others(self):
        """With Quillet's list of tools and, where replies are fixed, with Quillet's replies."""
        quillet = self.servers["Quillet"]
        replies = {operation: exchange(quillet.ports[operation], quillet.request(operation))
                   for operation in OPERATIONS}
        tools, files = self.folder / "tools.json", {}
        tools.write_text(json.dumps(result_of(replies["tools/list"])["tools"]))
        for number, (operation, reply) in enumerate(replies.items()):
            files[operation] = self.folder / f"reply{number}"
            files[operation].write_bytes(reply)
        self.starters = {name: lambda name=name, port=port: node_server(
            name, port, quillet.key, self.programs, quillet.database, tools)
            for name, port in NODE_SERVERS.items()}
        self.starters["floor"] = lambda: floor(FLOOR_PORT, quillet.key, self.programs / "floor",
                                               files)
        for name, start in self.starters.items():
            self.servers[name] = start()

    def check_replies(self):
        """All servers must answer the same; the floor does so by its nature."""
        for operation in OPERATIONS:
            answers = {name: result_of(exchange(server.ports[operation], server.request(operation)))
                       for name, server in self.servers.items()}
            for name, answer in answers.items():
                if content_of(answer) != content_of(answers["Quillet"]):
                    raise AssertionError(
                        f"{name} answers {operation} with\n{str(answer)[:1000]}\n"
                        f"and Quillet with\n{str(answers['Quillet'])[:1000]}")
        print(f"All {len(self.servers)} servers give the same replies.")

    # Measuring

    def place(self, arrangement):
        """Says where servers and clients run from now on."""
        processors = Processors(arrangement)
        processors.place_clients()
        for server in self.servers.values():
            processors.place_server(server.pid)
        return processors.sentence

    def load(self, server, operation, clients):
        return self.generator.run(server, operation, clients, self.warm_up, self.seconds)

    def memory(self, field):
        return {name: server.memory(field) for name, server in self.servers.items()}

    def measure_loads(self):
        """The servers take turns, so that what else the machine does meets all of them."""
        where = self.place(self.options.processors)
        print(f"Rounds: {self.rounds}, of {self.seconds} s each; {where}.", flush=True)
        self.figures[Figure.IDLE_MEMORY] = self.memory("VmRSS")
        for server in self.servers.values():
            server.forget_peak()
        for _ in range(self.rounds):
            for operation in OPERATIONS:
                for clients in CLIENTS:
                    for server in self.servers.values():
                        self.runs.add(self.load(server, operation, clients))
        self.figures[Figure.LOAD_MEMORY] = self.memory("VmHWM")

    def measure_on_one_processor(self):
        """What a request costs where no other processor's caches have to be asked."""
        self.place("one")
        costs = {name: [] for name in self.servers}
        for _ in range(self.rounds):
            for name, server in self.servers.items():
                costs[name].append(self.load(server, "ping", 64)["processor"])
        self.figures[Figure.ONE_PROCESSOR] = {name: median(values)
                                              for name, values in costs.items()}

    def measure_nuisances(self):
        """Pings of one client, alone and beside bad company."""
        self.place(self.options.processors)
        self.figures[Figure.COMPANY] = beside = {}
        for name in "Quillet", "floor":
            for kind in "nobody", "idle", "large":
                with Company(kind, self.servers[name]) as company:
                    runs = [self.load(self.servers[name], "ping", 1) for _ in range(3)]
                beside[f"{name}, {kind}"] = {figure: median(run[figure] for run in runs)
                                             for figure in ("p50", "p99", "max")}
                if company.account:
                    beside[f"{name}, {kind}"]["the others"] = company.account

    def measure_starts(self):
        self.place("free")
        self.figures[Figure.START] = {}
        for name, start in self.starters.items():
            self.servers.pop(name).stop()
            took = []
            for _ in range(self.rounds):
                server = start()
                server.stop()
                took.append(server.seconds_to_answer)
            self.figures[Figure.START][name] = median(took)

    def measure_search(self):
        self.place("free")
        took = measured_search(self.servers["Quillet"], HISTORY)
        times = sorted(took.values())
        self.figures[Figure.EACH_SEARCH] = took
        self.figures[Figure.SEARCH] = {"p50": median(times), "longest": times[-1],
                                       "p95": times[len(times) * 95 // 100 - 1]}

    def run(self):
        print(f"{os.cpu_count()} processors, load {os.getloadavg()[0]:.2f} before the start.")
        try:
            self.start_quillet()
            self.start_others()
            self.check_replies()
            self.measure_loads()
            self.measure_on_one_processor()
            self.measure_nuisances()
            self.measure_starts()
            self.measure_search()
        finally:
            for server in self.servers.values():
                server.stop()


def content_of(result):
    """A result with the texts of its content read as JSON."""
    texts = [json.loads(item["text"]) for item in result.get("content", [])]
    return {**result, "content": texts}


def main():
    parser = argparse.ArgumentParser(prog="bench-mcp", description=__doc__)
    parser.add_argument("--quick", action="store_true", help="one short round")
    parser.add_argument("--processors", choices=["apart", "one", "free"], default="apart",
                        help="where servers and clients run (default: apart)")
    parser.add_argument("--json", type=Path, help="write all figures into this file")
    options = parser.parse_args()
    began = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="bench.", dir=os.environ["VDESK_DIR"]) as folder:
        bench = Bench(options, Path(folder))
        bench.run()
    wishes = report.wishes(bench.runs, bench.figures)
    report.print_all(bench.runs, bench.figures, wishes)
    print(f"\nTook {time.monotonic() - began:.0f} s.")
    if options.json:
        options.json.write_text(json.dumps(
            {"runs": bench.runs.runs, "figures": bench.figures, "wishes": wishes},
            indent=1, ensure_ascii=False))


if __name__ == "__main__":
    main()
