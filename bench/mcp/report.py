"""Figures as people read them, and what is wanted of them."""

from statistics import median

from exchange import OPERATIONS

CLIENTS = 1, 16, 64
QUIET = 0.05  # so much work of others, as a part of the machine, does not matter


class Figure:
    """What is measured beside the loads."""
    OFF_MEMORY = "Quillet's resident memory with the server off: MiB"
    IDLE_MEMORY = "resident memory, idle: MiB"
    LOAD_MEMORY = "resident memory, most under load: MiB"
    SWITCH = "Quillet, from `quillet mcp on` to the first answer: s"
    START = "from the start of the process to the first answer: s"
    ONE_PROCESSOR = "ping, 64 clients, on the server's own processor: µs of it a request"
    COMPANY = "ping of one client beside others: µs"
    EACH_SEARCH = "search_memory: ms"
    SEARCH = "search_memory, together: ms"


class Runs:
    """The load runs of all rounds."""

    def __init__(self):
        self.runs = []

    def add(self, run):
        self.runs.append(run)

    def values(self, server, operation, clients, figure):
        """One value a round."""
        wanted = server, operation, clients
        return [run[figure] for run in self.runs
                if (run["server"], run["operation"], run["clients"]) == wanted]

    def median(self, server, operation, clients, figure):
        return median(self.values(server, operation, clients, figure))

    def ratio(self, server, other, operation, clients):
        """Of the rates: the median of the rounds', for the two were measured next to each other."""
        return median(a / b for a, b in zip(self.values(server, operation, clients, "rate"),
                                            self.values(other, operation, clients, "rate")))


# What is wanted: lines of what, the figures, the limit, and whether it was met.

def wish(what, values, form, limit, met):
    return what, texts(values, form), limit, "yes" if met else "NO"


def texts(values, form):
    return "  ".join(form.format(value) for value in values)


def floors_own(values, form):
    """A line for comparison: what the machine allows."""
    return "    the floor's own", texts(values, form), "", ""


def wished_ratio(runs, operation, other, least):
    def ratios(server):
        return [runs.ratio(server, other, operation, clients) for clients in CLIENTS]
    form = "{:.2f}×"
    yield wish(f"{operation} against {other}, at 1, 16, 64 clients", ratios("Quillet"), form,
               f"≥ {least}×", min(ratios("Quillet")) >= least)
    if other != "floor":
        yield floors_own(ratios("floor"), form)


def wished_processor_time(what, values, floor):
    form = "{:.1f} µs"
    yield wish(what, values, form, "≤ 13 µs", max(values) <= 13)
    yield floors_own(floor, form)


def wished_spread(runs, operation):
    spread = median(p99 / p50 for p99, p50 in zip(runs.values("Quillet", operation, 64, "p99"),
                                                  runs.values("Quillet", operation, 64, "p50")))
    return wish(f"{operation}, 64 clients: p99 to p50", [spread], "{:.1f}", "≤ 3", spread <= 3)


def wished_calm(beside, kind):
    delays = [(beside[f"Quillet, {kind}"][figure] - beside["Quillet, nobody"][figure]) / 1e3
              for figure in ("p99", "max")]
    return wish(f"ping beside {kind} clients: delay of p99, of the longest", delays, "{:.2f} ms",
                "≤ 5 ms", max(delays) <= 5)


def wishes(runs, figures):
    grown = figures[Figure.LOAD_MEMORY]["Quillet"] - figures[Figure.OFF_MEMORY]
    search = [figures[Figure.SEARCH][part] for part in ("p50", "p95")]
    return [
        *wished_ratio(runs, "ping", "plain-node", 1.3),
        *wished_ratio(runs, "ping", "floor", 0.65),
        *wished_ratio(runs, "tools/list", "plain-node", 2),
        *wished_ratio(runs, "20 entries", "plain-node", 3),
        *wished_processor_time("ping, processor time, at 1, 16, 64 clients",
                               *([runs.median(server, "ping", clients, "processor")
                                  for clients in CLIENTS] for server in ("Quillet", "floor"))),
        *wished_processor_time("the same, 64 clients on the server's processor",
                               *([figures[Figure.ONE_PROCESSOR][server]]
                                 for server in ("Quillet", "floor"))),
        *(wished_spread(runs, operation) for operation in OPERATIONS),
        wish("memory under load, beyond that with the server off", [grown], "{:.1f} MiB",
             "≤ 6 MiB", grown <= 6),
        wished_calm(figures[Figure.COMPANY], "idle"),
        wished_calm(figures[Figure.COMPANY], "large"),
        wish("search_memory, p50 and p95 of 20 queries", search, "{:.0f} ms", "≤ 100 ms",
             max(search) <= 100),
    ]


# Printing

def print_loads(runs):
    columns = f"{'req/s':>8} {'p50 µs':>7} {'p99 µs':>7} {'CPU µs':>7}      "
    servers = dict.fromkeys(run["server"] for run in runs.runs)
    for operation in OPERATIONS:
        print(f"\n{operation:12}" + "".join(f"{f'clients: {count}':^38}" for count in CLIENTS))
        print(" " * 12 + columns * len(CLIENTS))
        for server in servers:
            print(f"{server:12}", end="")
            for clients in CLIENTS:
                rate, *times, cpu = (runs.median(server, operation, clients, figure)
                                     for figure in ("rate", "p50", "p99", "processor"))
                print(f"{rate:8.0f} {times[0]:7.0f} {times[1]:7.0f} {cpu:7.1f}      ", end="")
            print()


def print_conditions(runs):
    others = [run["others"] for run in runs.runs]
    generator = max(run["generator"] * run["rate"] for run in runs.runs) / 1e6
    print(f"\nThe load generator took at most {generator:.0%} of one processor. Work of others took "
          f"{median(others):.0%} of the machine in the middle, {max(others):.0%} at worst.")
    if median(others) > QUIET:
        print("THE MACHINE WAS BUSY: rates, times and what follows from them cannot be trusted.")


def text_of(value):
    if isinstance(value, dict):
        return ", ".join(f"{name} {text_of(part)}" for name, part in value.items())
    return value if isinstance(value, str) else f"{value:.2f}"


def print_figures(figures):
    for what, figure in figures.items():
        if isinstance(figure, dict):
            print(f"\n{what}", *(f"  {name:24} {text_of(value)}" for name, value in figure.items()),
                  sep="\n")
        else:
            print(f"\n{what}   {text_of(figure)}")


def print_all(runs, figures, wished):
    print_loads(runs)
    print_conditions(runs)
    print_figures(figures)
    print(f"\n{'wanted':56} {'measured':28} {'limit':10} met")
    for what, values, limit, met in wished:
        print(f"{what:56} {values:28} {limit:10} {met}")
