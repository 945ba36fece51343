"""What it costs to load a library: time, memory, and its size on the disk.

The programs of benchmarks/start/ do nothing but that; Empty loads none, and is
what the others are compared with.
"""

import dataclasses
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import tempfile
import time

EMPTY = "Empty"
PROGRAMS = {EMPTY: "no library", "Novu": "libNovu-Bases", "GLib": "GLib",
            "Poco": "POCO Foundation"}


@dataclasses.dataclass
class Start:
    """Of one program; memory in KiB, or None where the system tells none."""

    name: str
    seconds: float  # From exec to exit, in the median.
    resident: int = None
    proportional: int = None  # What is shared counts for its part.


def stripped_size(library):
    """The bytes of a stripped copy of a shared library."""
    with tempfile.TemporaryDirectory() as folder:
        copy = shutil.copy(library, folder)
        subprocess.run(["strip", copy], check=True)
        return os.path.getsize(copy)


def memory_of(text):
    """(resident, proportional) in KiB, of the text of a smaps_rollup."""
    found = dict(re.findall(r"^(Rss|Pss):\s+(\d+) kB$", text, re.MULTILINE))
    return int(found["Rss"]), int(found["Pss"])


def _run(program):
    begun = time.perf_counter()
    process = os.posix_spawn(program, [program], os.environ)
    _, status = os.waitpid(process, 0)
    if status:
        raise RuntimeError(f"{program} ended with status {status}")
    return time.perf_counter() - begun


def _memory(program):
    with subprocess.Popen([program, "wait"], stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE) as process:
        process.stdout.readline()
        rollup = pathlib.Path(f"/proc/{process.pid}/smaps_rollup")
        found = memory_of(rollup.read_text()) if rollup.exists() else (
            None, None)
        process.stdin.close()
    return found


def measure(folder, times):
    """All programs in turns, so that what disturbs one disturbs all."""
    programs = {name: str(folder / f"Start{name}") for name in PROGRAMS}
    seconds = {name: [] for name in PROGRAMS}
    for _ in range(times):
        for name, program in programs.items():
            seconds[name].append(_run(program))
    return [Start(name, statistics.median(seconds[name]),
                  *_memory(programs[name])) for name in PROGRAMS]
