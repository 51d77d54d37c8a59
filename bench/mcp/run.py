#!/usr/bin/python3
"""Measures the server for AI clients against others; see scripts/bench-mcp."""

import argparse
import json
import os
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from statistics import median

import seed
from exchange import OPERATIONS, exchange, request_bytes, result_of, tool_call
from load import Generator
from report import CLIENTS, Runs, Wishes, print_loads
from contenders import HERE, Processors, QuilletServer, floor, node_server

from desktop import until

NODE_SERVERS = {"sdk1": 7901, "sdk2": 7902, "plain-node": 7903}
FLOOR_PORT = 7910
HISTORY = 2_000
LARGE_HISTORY, KNOWLEDGE, MEETINGS = 100_000, 2_000, 300
QUERIES = """会议时间|报价|customer discount|zeppelin|紫檀木|ÜBERRASCHUNG|量子退火|latency|pull request
flaky Monday|上海 机票|备份|onboarding|review tonight|合同 付款|nobody ever said this|three thirty|周五
release Thursday|搜索结果""".replace("\n", "|").split("|")
QUIET = 0.05  # so much work of others, as a part of the machine, does not matter
KINDS = "dictation live meeting knowledge".split()


class Bench:
    def __init__(self, options, folder):
        self.options, self.folder = options, folder
        self.programs = Path(os.environ["BENCH_BIN"])
        self.rounds, self.warm_up, self.seconds = (1, 0.2, 0.6) if options.quick else (3, 0.4, 1.6)
        self.generator = Generator(self.programs / "load", folder)
        self.runs, self.wishes = Runs(), Wishes()
        self.figures = {}
        self.servers = {}

    # Starting

    def start_quillet(self):
        quillet = self.servers["Quillet"] = QuilletServer(self.folder)
        until(lambda: seed.has_tables(quillet.database), 10, "the history")
        seed.add_history(quillet.database, HISTORY)
        self.figures["memory, server off"] = quillet.memory()
        self.figures["Quillet: seconds from `quillet mcp on` to the first answer"] = quillet.switch_on()

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
        self.starters["floor"] = lambda: floor(FLOOR_PORT, quillet.key, self.programs / "floor", files)
        for name, start in self.starters.items():
            self.servers[name] = start()

    def check_replies(self):
        """All servers but the floor must work out the same."""
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

    def measure_loads(self):
        """The servers take turns, so that what else the machine does meets all of them."""
        where = self.place(self.options.processors)
        print(f"Rounds: {self.rounds}, of {self.seconds} s each; {where}.", flush=True)
        self.figures["memory, idle"] = {name: server.memory()
                                        for name, server in self.servers.items()}
        for server in self.servers.values():
            server.forget_peak()
        for _ in range(self.rounds):
            for operation in OPERATIONS:
                for clients in CLIENTS:
                    for server in self.servers.values():
                        self.runs.add(self.generator.run(server, operation, clients, self.warm_up,
                                                         self.seconds))
        self.figures["memory, under load"] = {name: server.memory("VmHWM")
                                              for name, server in self.servers.items()}

    def measure_on_one_processor(self):
        """What a request costs where no other processor's caches have to be asked."""
        self.place("one")
        costs = {name: [self.generator.run(server, "ping", 64, self.warm_up, self.seconds)["processor"]
                        for _ in range(self.rounds)] for name, server in self.servers.items()}
        self.place(self.options.processors)
        self.figures["ping, 64 clients on the server's processor: µs"] = {
            name: median(values) for name, values in costs.items()}

    def measure_starts(self):
        self.place("free")
        took = {}
        for name, start in self.starters.items():
            self.servers.pop(name).stop()
            servers = []
            for _ in range(self.rounds):
                servers.append(start())
                servers[-1].stop()
            took[name] = median(server.seconds_to_answer for server in servers)
        self.figures["seconds from the start to the first answer"] = took
        self.servers["floor"] = self.starters["floor"]()
        self.place(self.options.processors)

    def measure_nuisances(self):
        """Pings of one client, alone and beside bad company."""
        self.figures["ping beside others: p50, p99, longest, in µs"] = beside = {}
        for name in "Quillet", "floor":
            for company in "nobody", "idle", "large":
                with Company(company, self.servers[name]) as others:
                    runs = [self.generator.run(self.servers[name], "ping", 1, self.warm_up,
                                               self.seconds) for _ in range(3)]
                beside[f"{name}, {company}"] = {
                    **{figure: median(run[figure] for run in runs)
                       for figure in ("p50", "p99", "max")}, "company": others.account}

    def measure_search(self):
        self.place("free")
        quillet = self.servers["Quillet"]
        seed.add_history(quillet.database, LARGE_HISTORY - HISTORY, every_fifth="live")
        seed.write_knowledge(quillet.app.home / ".quillet/knowledge.json", KNOWLEDGE)
        seed.write_meetings(quillet.app.home / ".quillet/meetings", MEETINGS)
        quillet.restart()
        self.search(QUERIES[0])
        took, kinds = {}, set()
        for query in QUERIES:
            took[query], found = self.search(query)
            kinds |= found
        times = sorted(took.values())
        if kinds != set(KINDS):
            raise AssertionError(f"only {kinds} were found")
        self.figures["search_memory, each query: ms"] = took
        self.figures["search_memory: ms"] = {
            "p50": median(times), "p95": times[len(times) * 95 // 100 - 1], "longest": times[-1]}

    def search(self, query):
        """How many milliseconds it took, and the kinds that were found, asked one by one."""
        quillet = self.servers["Quillet"]
        request = request_bytes(quillet.ports["ping"], quillet.key,
                                *tool_call("search_memory", query=query))
        began = time.monotonic()
        reply = exchange(quillet.ports["ping"], request)
        took = 1e3 * (time.monotonic() - began)
        hits = json.loads(result_of(reply)["content"][0]["text"])
        if bool(hits) == query.startswith("nobody"):
            raise AssertionError(f"{len(hits)} hits for {query}")
        found = set()
        for kind in KINDS:
            request = request_bytes(quillet.ports["ping"], quillet.key,
                                    *tool_call("search_memory", query=query, kinds=[kind]))
            if json.loads(result_of(exchange(quillet.ports["ping"], request))["content"][0]["text"]):
                found.add(kind)
        return took, found

    # Telling

    def make_wishes(self):
        wishes, runs = self.wishes, self.runs
        wishes.add_ratio(runs, "ping", "plain-node", 1.3)
        wishes.add_ratio(runs, "ping", "floor", 0.65)
        wishes.add_ratio(runs, "tools/list", "plain-node", 2)
        wishes.add_ratio(runs, "20 entries", "plain-node", 3)
        costs = [runs.median("Quillet", "ping", clients, "processor") for clients in CLIENTS]
        wishes.add("ping, processor time, at 1, 16, 64 clients",
                   "  ".join(f"{cost:.1f} µs" for cost in costs), "≤ 13 µs", max(costs) <= 13)
        one = self.figures["ping, 64 clients on the server's processor: µs"]
        wishes.add("the same, 64 clients on the server's processor", f"{one['Quillet']:.1f} µs",
                   "≤ 13 µs", one["Quillet"] <= 13)
        for operation in OPERATIONS:
            spread = (runs.median("Quillet", operation, 64, "p99") /
                      runs.median("Quillet", operation, 64, "p50"))
            wishes.add(f"{operation}, 64 clients: p99 to p50", f"{spread:.1f}", "≤ 3", spread <= 3)
        grown = self.figures["memory, under load"]["Quillet"] - self.figures["memory, server off"]
        wishes.add("memory under load, beyond that with the server off", f"{grown:.1f} MiB",
                   "≤ 6 MiB", grown <= 6)
        self.wish_no_delays()
        search = self.figures["search_memory: ms"]
        wishes.add("search_memory, p50 and p95 of 20 queries",
                   f"{search['p50']:.0f} ms  {search['p95']:.0f} ms", "≤ 100 ms",
                   search["p95"] <= 100)

    def wish_no_delays(self):
        beside = self.figures["ping beside others: p50, p99, longest, in µs"]
        for company in "idle", "large":
            delays = [(beside[f"Quillet, {company}"][figure] - beside["Quillet, nobody"][figure]) / 1e3
                      for figure in ("p99", "max")]
            self.wishes.add(f"ping beside {company} clients, delay of p99 and the longest",
                            f"{delays[0]:.2f} ms  {delays[1]:.2f} ms", "≤ 5 ms", max(delays) <= 5)

    def print(self):
        print_loads(self.runs, [name for name in ("Quillet", *NODE_SERVERS, "floor")])
        others = [run["others"] for run in self.runs.runs]
        generator = max(run["generator"] * run["rate"] for run in self.runs.runs) / 1e6
        print(f"\nThe load generator took at most {generator:.0%} of one processor. Work of others "
              f"took {median(others):.0%} of the machine in the middle, {max(others):.0%} at worst.")
        if median(others) > QUIET:
            print("THE MACHINE WAS BUSY: rates, times and what follows from them are not to be trusted.")
        print()
        for what, figure in self.figures.items():
            print(f"{what}:", *lines_of(figure), sep="\n    " if isinstance(figure, dict) else " ")
        self.wishes.print()

    def run(self):
        began = time.monotonic()
        print(f"{os.cpu_count()} processors, load {os.getloadavg()[0]:.2f} before the start.")
        try:
            self.start_quillet()
            self.start_others()
            self.check_replies()
            self.measure_loads()
            self.measure_on_one_processor()
            self.measure_starts()
            self.measure_nuisances()
            self.measure_search()
        finally:
            for server in self.servers.values():
                server.stop()
        self.make_wishes()
        self.print()
        print(f"\nTook {time.monotonic() - began:.0f} s.")


class Company:
    """Clients that are there while others are measured; `account` is what they say in the end."""

    def __init__(self, kind, server):
        self.process, self.account = None, ""
        if kind != "nobody":
            self.process = subprocess.Popen(
                [sys.executable, "-B", HERE / "nuisance.py", kind, str(server.ports["ping"])],
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


def content_of(result):
    """A result with the texts of its content read as JSON."""
    texts = [json.loads(item["text"]) for item in result.get("content", [])]
    return {**result, "content": texts}


def lines_of(figure):
    if not isinstance(figure, dict):
        return [f"{figure:.2f}"]
    return [f"{name:20} " + (", ".join(f"{value}" for value in values.values())
                             if isinstance(values, dict) else f"{values:.2f}")
            for name, values in figure.items()]


def main():
    parser = argparse.ArgumentParser(prog="bench-mcp", description=__doc__)
    parser.add_argument("--quick", action="store_true", help="one short round")
    parser.add_argument("--processors", choices=["apart", "one", "free"], default="apart",
                        help="where servers and clients run (default: apart)")
    parser.add_argument("--json", type=Path, help="write all figures into this file")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="bench.", dir=os.environ["VDESK_DIR"]) as folder:
        bench = Bench(options, Path(folder))
        bench.run()
        if options.json:
            options.json.write_text(json.dumps(
                {"runs": bench.runs.runs, "figures": bench.figures, "wishes": bench.wishes.lines},
                indent=1, ensure_ascii=False))


if __name__ == "__main__":
    main()
