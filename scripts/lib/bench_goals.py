"""How fast the library is meant to be, and what docs/performance.md shows.

A goal is a throughput, as a multiple of that of the best peer, or of the best
of those named. Where it depends on the processor, the first line whose
features the processor has is the one that holds.
"""

import dataclasses
import fnmatch

GROWTH = 1.1  # The greatest exponent of what is linear.
LIBRARY_BYTES = 250 * 1024  # Of the shared library, stripped.

# What grows faster by its contract, and where that is said.
NOT_LINEAR = {("Buffer", "AppendGrowing"): "[buffer-3]"}


@dataclasses.dataclass(frozen=True)
class Goal:
    """For the cases of a service whose names match one of these patterns, with
    arguments from `least` to `most`; `beside` names the case that the peer is
    taken from, where it is another."""

    service: str
    cases: str  # Patterns with spaces between.
    ratios: tuple = ()  # (ratio, features with spaces between), ...
    peers: tuple = ()
    least: int = 0
    most: int = 1 << 62
    beside: str = ""
    nanoseconds: float = 0.0  # At most, instead of a ratio.


def plain(ratio):
    return ((ratio, ""),)


_BASE64 = ("OpenSSL", "GLib", "nettle")

GOALS = (
    Goal("CryptoBlockCipherSeed", "Encrypt Decrypt",
         ((22, "avx512bw gfni"), (11, "avx2 gfni"), (5.5, "avx2 aes"),
          (3, "")), ("OpenSSL",), least=4096),
    Goal("CryptoBlockCipherSeed", "Block", plain(1.15), ("OpenSSL",)),
    Goal("CryptoBlockCipherSeed", "KeySchedule", plain(1), ("OpenSSL",)),
    Goal("CryptoHashMd5", "Digest", ((1.15, "avx512vl"), (1.03, "")),
         ("OpenSSL",), least=1024),
    Goal("CryptoHashMd5", "Digest", plain(1.1), ("OpenSSL",), 64, 64),
    Goal("Base64", "Encode", plain(15), _BASE64, 1 << 10, 1 << 10),
    Goal("Base64", "Encode", plain(6), _BASE64, 1 << 20, 1 << 20),
    Goal("Base64", "Decode", plain(8), _BASE64, 1 << 10, 1 << 10),
    Goal("Base64", "Decode", plain(5), _BASE64, 1 << 20, 1 << 20),
    Goal("Base64", "EncodeOwnAlphabet", plain(1), ("OpenSSL",),
         beside="Encode"),
    Goal("Base64", "DecodeOwnAlphabet", plain(1), ("OpenSSL",),
         beside="Decode"),
    Goal("Bits", "Count", plain(15), least=1000000),
    Goal("Bits", "And Or Xor Compare", plain(0.95), least=1000000),
    Goal("Bits", "ToText", plain(25), least=1000000),
    Goal("Bits", "FromText", plain(50), least=1000000),
    Goal("Paths", "Seed:AVX-512+GFNI", plain(22)),
    Goal("Paths", "Seed:AVX2+GFNI", plain(11)),
    Goal("Paths", "Seed:AVX2+AES-NI", plain(5.5)),
    Goal("Paths", "Seed:plain", plain(3)),
    Goal("Paths", "SeedSchedule:*", plain(1)),
    Goal("Paths", "Md5:AVX-512", plain(1.15)),
    Goal("Paths", "Md5:plain", plain(1.03)),
    Goal("Paths", "Base64Encode:plain Base64Decode:plain", plain(1)),
    Goal("Paths", "BitsCount:AVX-512+VPOPCNTDQ", plain(15)),
    Goal("Paths", "BitsCount:popcnt", plain(5)),
    Goal("Paths", "BitsCount:plain", plain(2)),
    Goal("tchar", "Radix10", plain(1.1),
         ("to_chars", "fmt_format_to", "fmt_format_int")),
    Goal("tchar", "Radix16 Radix2", plain(2), ("to_chars", "fmt_format_to")),
    Goal("Date", "DayNumber", plain(1 / 1.7), ("chrono",)),
    Goal("Date", "Weekday", plain(1 / 1.4), ("chrono",)),
    Goal("Time", "ToFields ToLocalFields FromFields", plain(1 / 1.05)),
    Goal("DateTimeFormat", "Record", plain(1.8), ("fmt",)),
    Goal("Guid", "ToString", plain(1.8), ("boost",)),
    Goal("Guid", "Generate", plain(1 / 1.1), ("boost_mt19937_one_read",)),
    Goal("String", "MbsToWcs* WcsToMbs*", plain(1 / 1.05), ("codecvt",)),
    Goal("String", "Utf8ToWcs* WcsToUtf8*", plain(1 / 1.05),
         ("mbstowcs", "wcstombs")),
    Goal("ThreadSync", "LockAndUnlock", plain(1 / 1.05),
         ("PthreadRecursive",)),
    Goal("Sem", "SetAndWait", plain(1 / 1.1), ("Futex",)),
    Goal("Sem", "Poll", nanoseconds=10),
    Goal("Sem", "PingPong", plain(1 / 1.1), ("Futex",)),
    Goal("Thread", "StartAndStop", plain(1 / 1.05), ("StdThreadAndPause",)),
    Goal("ThreadPool", "Tasks", plain(1.4), ("Asio",)),
    Goal("ThreadPool", "RoundTrip", plain(1 / 1.2), ("Asio",)),
    Goal("FileFind", "Walk", plain(1 / 1.05), ("readdir + stat",)),
    Goal("FileSys", "Copy", plain(1 / 1.02), ("read + write 1024",),
         least=1 << 20),
    Goal("XmlDoc", "WriteUtf8", plain(1 / 1.2), ("libxml2",)),
    Goal("XmlDoc", "WriteLatin1", plain(1.25), ("libxml2 + iconv",)),
    Goal("XmlDoc", "ReadUtf8", plain(1 / 1.1), ("libxml2",)),
)


@dataclasses.dataclass(frozen=True)
class Chart:
    """A file docs/performance/NAME.svg; its bars are these cases, each
    "Service Case" or "Service Case argument"."""

    name: str
    title: str
    cases: tuple


CHARTS = (
    Chart("seed", "SEED: messages, one block, the key schedule", (
        "CryptoBlockCipherSeed Encrypt 1024",
        "CryptoBlockCipherSeed Encrypt 65536",
        "CryptoBlockCipherSeed Encrypt 16777216",
        "CryptoBlockCipherSeed Decrypt 65536",
        "CryptoBlockCipherSeed Block",
        "CryptoBlockCipherSeed KeySchedule")),
    Chart("md5", "MD5", (
        "CryptoHashMd5 Digest 64", "CryptoHashMd5 Digest 1024",
        "CryptoHashMd5 Digest 1048576", "CryptoHashMd5 HexText")),
    Chart("base64", "Base64", (
        "Base64 Encode 32", "Base64 Encode 1024", "Base64 Encode 1048576",
        "Base64 Decode 32", "Base64 Decode 1024", "Base64 Decode 1048576")),
    Chart("bits", "Sets of 1,000,000 bits", tuple(
        f"Bits {case} 1000000"
        for case in ("Count", "And", "Or", "Xor", "Compare"))),
    Chart("bits-text", "Sets of bits as text", tuple(
        f"Bits {case} {size}"
        for case in ("ToText", "FromText") for size in (4096, 1000000))),
    Chart("text", "Text: numbers, dates, identifiers, encodings", (
        "tchar Radix10", "tchar Radix16", "tchar Radix2",
        "DateTimeFormat Record", "Guid ToString", "Guid FromText",
        "String MbsToWcsMixed 1024", "String WcsToMbsMixed 1024")),
    Chart("dates", "Calendar and clock", (
        "Date DayNumber 2100", "Date Weekday 2100", "Date NextDay",
        "Time ToFields", "Time ToLocalFields", "Time FromFields")),
    Chart("threads", "Locks, events, threads, tasks", (
        "ThreadSync LockAndUnlock", "Sem SetAndWait", "Sem Poll",
        "Sem PingPong", "Thread StartAndStop", "ThreadPool Tasks",
        "ThreadPool RoundTrip")),
    Chart("files", "Buffers, directories, copies", (
        "Buffer AppendReserved 1048576", "Buffer Consume 1048576",
        "FileFind Walk 10000", "FileSys Copy 67108864")),
    Chart("xml", "XML, 10,000 elements", tuple(
        f"XmlDoc {case} 10000"
        for case in ("WriteUtf8", "WriteLatin1", "ReadUtf8"))),
)


# The rows of docs/performance/overview.svg: what it is called there, and the
# case.
OVERVIEW = (
    ("SEED, 64 KiB", "CryptoBlockCipherSeed Encrypt 65536"),
    ("MD5, 1 MiB", "CryptoHashMd5 Digest 1048576"),
    ("Base64 of 1 KiB", "Base64 Encode 1024"),
    ("Count 1,000,000 bits", "Bits Count 1000000"),
    ("Integers to text", "tchar Radix10"),
    ("Date and time to text", "DateTimeFormat Record"),
    ("Identifier to text", "Guid ToString"),
    ("Lock and unlock", "ThreadSync LockAndUnlock"),
    ("Event, there and back", "Sem PingPong"),
    ("Start and stop a thread", "Thread StartAndStop"),
    ("100,000 tasks", "ThreadPool Tasks 100000"),
    ("Walk 10,000 files", "FileFind Walk 10000"),
    ("Write XML", "XmlDoc WriteUtf8 10000"),
    ("Read XML", "XmlDoc ReadUtf8 10000"),
)


@dataclasses.dataclass
class Verdict:
    goal: Goal
    case: str  # The one that is farthest from the goal, or all of them.
    peer: str
    wanted: str
    found: str
    met: bool  # None where it was not measured.


def ratio_for(goal, features):
    for ratio, needed in goal.ratios:
        if set(needed.split()) <= features:
            return ratio
    return None


def judge(goal, cases, features):
    """The verdict over all cases that a goal is for: that of the slowest."""
    chosen = [case for case in cases
              if case.service == goal.service
              and any(fnmatch.fnmatchcase(case.name, pattern)
                      for pattern in goal.cases.split())
              and (not case.argument.isdecimal()
                   or goal.least <= int(case.argument) <= goal.most)
              and case.own]
    if goal.nanoseconds:
        peer, wanted = "", f"at most {goal.nanoseconds:g} ns"
        found = [(case.own.median * 1e9, case.label) for case in chosen]
        worst = max(found, default=None)
        met = worst and worst[0] <= goal.nanoseconds
    else:
        ratio = ratio_for(goal, features)
        peer, wanted = " or ".join(goal.peers) or "the best", f"{ratio:.3g}"
        found = [(_ratio(goal, case, cases), case.label) for case in chosen]
        worst = min((one for one in found if one[0] is not None), default=None)
        met = worst and worst[0] >= ratio
    if worst is None:
        return Verdict(goal, goal.cases, peer, wanted, "", None)
    unit = " ns" if goal.nanoseconds else ""
    return Verdict(goal, worst[1], peer, wanted, f"{worst[0]:.3g}{unit}", met)


def _ratio(goal, case, cases):
    if not goal.beside:
        return case.ratio(goal.peers)
    for other in cases:
        if (other.service, other.name, other.argument) == (
                case.service, goal.beside, case.argument):
            best = other.best(goal.peers)
            return best.median / case.own.median if best else None
    return None
