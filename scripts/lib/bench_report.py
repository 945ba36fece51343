"""scripts/bench: how fast the library is beside its peers.

Runs the benchmarks of the services that are named, or of all, and prints a
table for each, the goals, the growth and what it costs to load the library. A
run of all of them, without --quick, writes docs/performance.md and its charts,
from scripts/lib/performance.md.in. The status is 1 where a benchmark failed or
a peer's result was another than the library's; a missed goal is no failure.
"""

import argparse
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys

import bench_chart
import bench_data
import bench_goals
import bench_start

ROOT = pathlib.Path(__file__).resolve().parents[2]
BINARIES = ROOT / "build" / "release" / "benchmarks"
RESULTS = ROOT / "build" / "bench"
TEMPLATE = ROOT / "scripts" / "lib" / "performance.md.in"
PAGE = ROOT / "docs" / "performance.md"
CHARTS = ROOT / "docs" / "performance"

# What a processor is chosen for by the library, where Linux tells.
FEATURES = ("aes", "avx2", "avx512bw", "avx512vbmi", "avx512vl",
            "avx512_vpopcntdq", "gfni", "popcnt")

# Several threads need several processors; all others keep to one.
THREADED = ("Sem", "Thread", "ThreadPool", "ThreadSync")

FULL = ("--benchmark_repetitions=5", "--benchmark_min_time=0.1")
# Without what has arguments of 100,000 and more.
QUICK = ("--benchmark_repetitions=3", "--benchmark_min_time=0.01",
         "--benchmark_filter=-/[0-9]{6,}(/|$)")


# Running

def services():
    return sorted(path.name.removesuffix("Bench")
                  for path in BINARIES.glob("*Bench"))


def run(service, options):
    """The cases of a service, which may be none of those that the options
    leave; None where its program failed."""
    RESULTS.mkdir(parents=True, exist_ok=True)
    output = RESULTS / f"{service}.json"

    def keep_to_one_processor():
        if service not in THREADED and hasattr(os, "sched_setaffinity"):
            os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})

    finished = subprocess.run(
        [BINARIES / f"{service}Bench", *options,
         "--benchmark_enable_random_interleaving=true",
         f"--benchmark_out={output}", "--benchmark_out_format=json"],
        check=False, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
        text=True, preexec_fn=keep_to_one_processor)
    if finished.returncode:
        print(finished.stderr, file=sys.stderr)
        return None
    text = output.read_text()
    return bench_data.read(service, text) if text else []


# The machine

def processor():
    """(model, features), as far as the system tells."""
    path = pathlib.Path("/proc/cpuinfo")
    if not path.exists():
        return platform.processor() or platform.machine(), set()
    text = path.read_text()
    model = re.search(r"^model name\s*: (.*)$", text, re.MULTILINE)
    flags = re.search(r"^flags\s*: (.*)$", text, re.MULTILINE)
    return (model[1] if model else platform.machine(),
            set(flags[1].split()) if flags else set())


def system():
    try:
        name = platform.freedesktop_os_release()["PRETTY_NAME"]
    except OSError:
        name = platform.system()
    return " with ".join(part for part in (
        name, " ".join(platform.libc_ver())) if part)


def machine(cases):
    """And how quiet it was."""
    spreads = sorted(measurement.spread for case in cases
                     for measurement in case.measured().values())
    model, features = processor()
    built_with = (BINARIES / "versions.txt").read_text().splitlines()
    known = ", ".join(name for name in FEATURES if name in features)
    return table(("Measured on", ""), [
        ("Processor", f"{model}, {os.cpu_count()} logical"),
        ("Its features that the library may use", known or "not known"),
        ("System", system()),
        ("Compiler", f"{built_with[0]}, preset `release`"),
        ("Libraries", ", ".join(built_with[1:])),
        ("Spread", f"{100 * statistics.median(spreads):.0f} % in the median,"
         f" {100 * spreads[-1]:.0f} % at most"),
    ])


# Tables, which are read as they are and as Markdown

def table(head, rows):
    """A Markdown table whose columns are aligned, numbers to the right; an
    empty text where it has no rows."""
    rows = [[str(cell) for cell in row] for row in rows]
    if not rows:
        return ""
    widths = [max(len(row[at]) for row in [head, *rows])
              for at in range(len(head))]
    right = [at > 0 and all(re.match(r"[\d.,-]*$|[\d.,]+ ", row[at])
                            for row in rows) for at in range(len(head))]

    def line(row):
        cells = (cell.rjust(width) if to_right else cell.ljust(width)
                 for cell, width, to_right in zip(row, widths, right))
        return "| " + " | ".join(cells) + " |"

    rule = "|".join("-" * (width + 1) + ("-:"[to_right])
                    for width, to_right in zip(widths, right))
    return "\n".join([line(head), f"|{rule}|", *map(line, rows)])


def figure(measurement):
    """As "2.26 GB/s" or "13.2 ns"."""
    if measurement.throughput:
        return scaled(measurement.throughput,
                      ((1e9, "GB/s"), (1e6, "MB/s"), (1e3, "kB/s")))
    return time_text(measurement.median)


def time_text(seconds):
    return scaled(seconds, ((1, "s"), (1e-3, "ms"), (1e-6, "us"),
                            (1e-9, "ns")))


def scaled(value, units):
    size, unit = next((unit for unit in units if value >= unit[0]), units[-1])
    value /= size
    digits = 0 if value >= 100 else 1 if value >= 10 else 2
    return f"{value:,.{digits}f} {unit}"


def with_spread(measurement):
    return f"{figure(measurement)} ({100 * measurement.spread:.0f} %)"


def times(ratio):
    """A ratio with three digits."""
    return "-" if ratio is None else f"{ratio:#.3g}".rstrip(".")


def service_tables(cases):
    """One table for each run of cases that have the same peers."""
    parts, peers, rows = [], None, []

    def finish():
        if rows:
            parts.append(table(("Case", *peers, "x best"), rows))

    for case in cases:
        if tuple(case.peers) != peers:
            finish()
            peers, rows = tuple(case.peers), []
        measured = case.measured()
        rows.append((case.label,
                     *(with_spread(measured[peer]) if peer in measured
                       else "failed" for peer in peers),
                     times(case.ratio())))
    finish()
    return "\n\n".join(parts)


def goals_table(verdicts):
    words = {True: "met", False: "MISSED", None: "not measured"}
    return table(
        ("Service", "Farthest case", "Beside", "Goal", "Found", ""),
        [(verdict.goal.service, verdict.case, verdict.peer, verdict.wanted,
          verdict.found, words[verdict.met]) for verdict in verdicts])


def growth_remark(growth):
    def is_above(power):  # As it is shown.
        return power is not None and round(power, 2) > bench_goals.GROWTH

    if not is_above(growth.own):
        return ""
    said = bench_goals.NOT_LINEAR.get((growth.service, growth.name))
    if said:
        return f"fixed by the interface, {said}"
    return "ABOVE, and so is the peer's" if is_above(growth.best) else "ABOVE"


def growth_table(found):
    return table(
        ("Service", "Case", "Sizes", "Exponent", "Best peer", ""),
        [(growth.service, growth.name, ", ".join(growth.sizes),
          f"{growth.own:.2f}",
          "-" if growth.best is None else f"{growth.best:.2f}",
          growth_remark(growth)) for growth in found])


def library_size(library_bytes):
    limit = bench_goals.LIBRARY_BYTES
    return ("The shared library, stripped, has"
            f" {library_bytes / 1024:,.0f} KiB, where less than"
            f" {limit // 1024} KiB were aimed for:"
            f" {'met' if library_bytes < limit else 'MISSED'}")


def start_table(starts):
    """The first of them is the one without a library."""
    empty = starts[0]

    def more(start):
        if start is empty:
            return "-"
        seconds = start.seconds - empty.seconds
        return time_text(seconds) if seconds > 0 else "none"

    return table(
        ("Program with", "Start to end", "More than without", "Resident",
         "Proportional"),
        [(bench_start.PROGRAMS[start.name], time_text(start.seconds),
          more(start), kibibytes(start.resident),
          kibibytes(start.proportional)) for start in starts])


def kibibytes(number):
    return "-" if number is None else f"{number:,} KiB"


# Charts

def chosen_for(names, cases):
    """The cases of these names that have peers, in the order of the names."""
    chosen = []
    for wanted in names:
        service, name, *argument = wanted.split(" ")
        chosen += [case for case in cases
                   if (case.service, case.name) == (service, name)
                   and (not argument or case.argument == argument[0])
                   and case.own and case.others()]
    return chosen


def draw(chart, cases):
    """Speeds as multiples of the fastest peer's."""
    several = len({case.service for case in cases}) > 1

    def bar(case, peer, measured):
        return bench_chart.Bar("own" if peer == bench_data.OWN else "peer",
                               case.best().median / measured.median,
                               f"{peer}: {figure(measured)}")

    return bench_chart.draw(
        chart.title, "speed (the fastest peer is 1; longer is faster)",
        [bench_chart.Group(
            f"{case.service}: {case.label}" if several else case.label,
            [bar(case, *item) for item in case.measured().items()])
         for case in cases])


def draw_overview(cases):
    """One case of each service, beside its fastest peer."""
    rows = []
    for label, name in bench_goals.OVERVIEW:
        for case in chosen_for([name], cases):
            best = case.best()
            peer = next(peer for peer, measured in case.others().items()
                        if measured is best)
            rows.append((label, case.ratio(),
                         f"{times(case.ratio())} x {peer}"))
    return bench_chart.draw_ratios(
        "libNovu-Bases beside the fastest peer",
        "speed as a multiple of that peer's", rows)


def write_charts(cases):
    """Writes the charts that there are cases for; answers their Markdown."""
    CHARTS.mkdir(exist_ok=True)
    (CHARTS / "overview.svg").write_text(draw_overview(cases))
    shown = [f"![Overview]({CHARTS.name}/overview.svg)"]
    for chart in bench_goals.CHARTS:
        path = CHARTS / f"{chart.name}.svg"
        chosen = chosen_for(chart.cases, cases)
        if chosen:
            path.write_text(draw(chart, chosen))
            shown.append(f"![{chart.title}]({CHARTS.name}/{path.name})")
        else:
            path.unlink(missing_ok=True)
    return "\n\n".join(shown)


def fill(template, parts):
    """Each @NAME@ of the template replaced. One without a part, and a part
    without its place, is an error."""
    places = set(re.findall(r"@([A-Z_]+)@", template))
    if places != set(parts):
        raise ValueError(f"the template has {sorted(places)}, and not"
                         f" {sorted(parts)}")
    return re.sub(r"@([A-Z_]+)@", lambda place: parts[place[1]], template)


def failures(cases):
    return [f"{case.service}: {case.name}/{peer}/{case.argument}:"
            f" {measurement.error}"
            for case in cases for peer, measurement in case.peers.items()
            if measurement.error]


def main():
    parser = argparse.ArgumentParser(
        prog="scripts/bench", description=__doc__,
        formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--quick", action="store_true",
                        help="at most two minutes; large cases are left out")
    parser.add_argument("services", metavar="SERVICE", nargs="*")
    options = parser.parse_args()
    known = services()
    for service in options.services:
        if service not in known:
            parser.error(f"{service} has no benchmark; these have: "
                         + ", ".join(known))

    cases, failed, tables = [], [], []
    for service in options.services or known:
        found = run(service, QUICK if options.quick else FULL)
        if found is None:
            failed.append(f"{service}: the program failed")
        elif found:
            cases += found
            tables.append(f"### {service}\n\n{service_tables(found)}")
            print(f"\n{tables[-1]}", flush=True)
    failed += failures(cases)

    _, features = processor()
    parts = {
        "GOALS": goals_table([
            bench_goals.judge(goal, cases, features)
            for goal in bench_goals.GOALS
            if not options.services or goal.service in options.services]),
        "GROWTH": growth_table(bench_data.growths(cases)),
    }
    if not options.services:
        [library] = {path.resolve() for kind in ("so", "dylib")
                     for path in BINARIES.parent.glob(f"libNovu-Bases.{kind}")}
        parts["LIBRARY"] = library_size(bench_start.stripped_size(library))
        parts["START"] = start_table(bench_start.measure(
            BINARIES / "start", 20 if options.quick else 200))
    for part in filter(None, parts.values()):
        print(f"\n{part}")

    if not options.quick and not options.services and not failed:
        PAGE.write_text(fill(TEMPLATE.read_text(), {
            **parts,
            "CHARTS": write_charts(cases),
            "GROWTH_LIMIT": str(bench_goals.GROWTH),
            "MACHINE": machine(cases),
            "TABLES": "\n\n".join(tables),
        }))
        print(f"\nwrote {PAGE.relative_to(ROOT)}")
    for line in failed:
        print(f"FAILED {line}", file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
