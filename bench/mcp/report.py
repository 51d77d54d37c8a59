"""Figures as people read them."""

from statistics import median

from exchange import OPERATIONS

CLIENTS = 1, 16, 64


class Runs:
    """The load runs of all rounds."""

    def __init__(self):
        self.runs = []

    def add(self, run):
        self.runs.append(run)

    def values(self, server, operation, clients, figure):
        """One value a round."""
        return [run[figure] for run in self.runs
                if (run["server"], run["operation"], run["clients"]) == (server, operation, clients)]

    def median(self, server, operation, clients, figure):
        return median(self.values(server, operation, clients, figure))

    def ratio(self, server, other, operation, clients):
        """Of the rates: the median of the rounds', since the two were measured next to each other."""
        return median(a / b for a, b in zip(self.values(server, operation, clients, "rate"),
                                            self.values(other, operation, clients, "rate")))


def print_loads(runs, servers):
    for operation in OPERATIONS:
        print(f"\n{operation:12}" + "".join(f"{f'clients: {clients}':^38}" for clients in CLIENTS))
        print(" " * 12 + f"{'req/s':>8} {'p50 µs':>7} {'p99 µs':>7} {'CPU µs':>7}      " * len(CLIENTS))
        for server in servers:
            cells = ([runs.median(server, operation, clients, figure)
                      for figure in ("rate", "p50", "p99", "processor")] for clients in CLIENTS)
            print(f"{server:12}" + "".join(f"{rate:8.0f} {p50:7.0f} {p99:7.0f} {cpu:7.1f}      "
                                           for rate, p50, p99, cpu in cells))


def each(values, text):
    return "  ".join(text.format(value) for value in values)


class Wishes:
    """What is wanted, and whether it came true."""

    def __init__(self):
        self.lines = []

    def add(self, what, figures, wanted, met):
        self.lines.append((what, figures, wanted, "yes" if met else "NO"))

    def add_ratio(self, runs, operation, other, least):
        ratios = [runs.ratio("Quillet", other, operation, clients) for clients in CLIENTS]
        self.add(f"{operation}, against {other}, at 1, 16, 64 clients", each(ratios, "{:.2f}×"),
                 f"≥ {least} ×", min(ratios) >= least)

    def print(self):
        print(f"\n{'wanted':56} {'measured':28} {'limit':12} met")
        for what, figures, wanted, met in self.lines:
            print(f"{what:56} {figures:28} {wanted:12} {met}")
