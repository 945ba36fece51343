"""What a run of the benchmarks measured, and what follows from it.

Each benchmark is called Case/Peer or Case/Peer/argument. What has the same
case and argument is compared, the library's own being the peer Novu.
"""

import dataclasses
import json
import math
import re
import statistics

OWN = "Novu"

# What Google Benchmark appends to a name; the first three say what to count.
_OPTION = re.compile(
    r"(real_time|manual_time|process_time"
    r"|(iterations|repeats|min_time|min_warmup_time):.*)"
)
_SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


@dataclasses.dataclass
class Measurement:
    """Of one peer in one case: the time of an iteration in each repetition."""

    seconds: list = dataclasses.field(default_factory=list)
    rate: float = 0.0  # Bytes per second in the last repetition, or 0.
    error: str = ""

    @property
    def median(self):
        return statistics.median(self.seconds)

    @property
    def spread(self):
        return (max(self.seconds) - min(self.seconds)) / self.median

    @property
    def throughput(self):
        """In bytes per second; 0 where bytes are not counted."""
        return self.rate * self.seconds[-1] / self.median


@dataclasses.dataclass
class Case:
    """One case with one argument, and all its peers in the order they ran."""

    service: str
    name: str
    argument: str = ""
    peers: dict = dataclasses.field(default_factory=dict)

    @property
    def label(self):
        return " ".join([self.name, self.argument_text]).strip()

    @property
    def argument_text(self):
        """1048576 bytes as "1 MiB", and large numbers with commas."""
        if not self.argument.isdecimal():
            return self.argument
        number = int(self.argument)
        if any(peer.rate for peer in self.peers.values()):
            for unit in ("B", "KiB", "MiB", "GiB"):
                if number < 1024 or number % 1024:
                    return f"{number:,} {unit}"
                number //= 1024
        return f"{number:,}" if number >= 10000 else str(number)

    @property
    def own(self):
        """Null where it was not measured."""
        return self.measured().get(OWN)

    def measured(self):
        return {name: peer for name, peer in self.peers.items()
                if peer.seconds and not peer.error}

    def others(self, wanted=()):
        """The peers measured beside the library; of those wanted, if any."""
        return {name: peer for name, peer in self.measured().items()
                if name != OWN and (not wanted or name in wanted)}

    def best(self, wanted=()):
        """The fastest of `others`; null where there is none."""
        return min(self.others(wanted).values(),
                   key=lambda peer: peer.median, default=None)

    def ratio(self, wanted=()):
        """How many times as fast as the best peer the library is."""
        best = self.best(wanted)
        if best is None or self.own is None:
            return None
        return best.median / self.own.median


def parse_name(name):
    """(case, peer, argument, whether the time on the clock counts)."""
    options, parts = [], []
    for part in name.split("/"):
        (options if _OPTION.fullmatch(part) else parts).append(part)
    by_clock = "real_time" in options or "manual_time" in options
    case, peer = parts[0], parts[1] if len(parts) > 1 else ""
    return case, peer, "/".join(parts[2:]), by_clock


def read(service, text):
    """The cases of one benchmark program, from its JSON output."""
    runs = [run for run in json.loads(text)["benchmarks"]
            if run.get("run_type", "iteration") == "iteration"]
    # They ran in random order; this is how they stand in the source.
    runs.sort(key=lambda run: run.get("family_index", 0))
    cases = {}
    for run in runs:
        name, peer, argument, by_clock = parse_name(
            run.get("run_name", run["name"]))
        case = cases.setdefault((name, argument),
                                Case(service, name, argument))
        measurement = case.peers.setdefault(peer, Measurement())
        if run.get("error_occurred"):
            measurement.error = run.get("error_message", "failed")
            continue
        time = run["real_time" if by_clock else "cpu_time"]
        measurement.seconds.append(time * _SECONDS[run["time_unit"]])
        measurement.rate = run.get("bytes_per_second", 0.0)
    return in_order(cases.values())


def in_order(cases):
    """Arguments by size within each name; the library first of its peers."""
    cases = list(cases)
    names = list(dict.fromkeys(case.name for case in cases))

    def place(case):
        number = case.argument.isdecimal()
        return (names.index(case.name), not number,
                int(case.argument) if number else 0)

    for case in cases:
        case.peers = dict(sorted(case.peers.items(),
                                 key=lambda item: item[0] != OWN))
    return sorted(cases, key=place)


# Growth

@dataclasses.dataclass
class Growth:
    """How the time grows with the size: as its power `own`; the best peer's
    as `best`, or None."""

    service: str
    name: str
    sizes: tuple
    own: float
    best: float


def exponent(sizes, times):
    """The slope of the line that fits best through the logarithms."""
    xs = [math.log(size) for size in sizes]
    ys = [math.log(time) for time in times]
    x_mean, y_mean = statistics.mean(xs), statistics.mean(ys)
    return (sum((x - x_mean) * (y - y_mean) for x, y in zip(xs, ys))
            / sum((x - x_mean) ** 2 for x in xs))


def growths(cases):
    """Over the three largest sizes of each case that has as many, if they are
    far enough from each other to tell."""
    by_name = {}
    for case in cases:
        if case.argument.isdecimal() and int(case.argument) and case.own:
            by_name.setdefault((case.service, case.name), []).append(case)
    found = []
    for (service, name), sized in by_name.items():
        sized = sorted(sized, key=lambda case: int(case.argument))[-3:]
        sizes = tuple(int(case.argument) for case in sized)
        if len(sizes) < 3 or sizes[-1] < 50 * sizes[0]:
            continue
        bests = [case.best() for case in sized]
        found.append(Growth(
            service, name, tuple(case.argument_text for case in sized),
            exponent(sizes, [case.own.median for case in sized]),
            exponent(sizes, [best.median for best in bests])
            if all(bests) else None))
    return found
