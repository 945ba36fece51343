"""scripts/mutate: what the tests do not notice.

In a copy of the tree, every implementation file is changed in one place at a
time: a comparison turned, a constant changed by one, a statement dropped, ...
What depends on the file is built, without optimisation and benchmarks, and the
test programs concerned run until one fails: those of the service and of what is
private to it, and those of the services that build on it by the table of
docs/architecture.md. A mutant that no program notices survives; one that does
not compile counts as none.

Not changed: comments, strings, preprocessor lines, assertions, what this system
does not build, and the twins for other processors, which no test program has.
The mutants of a path whose instructions this processor lacks survive, since it
is never taken. Each verdict goes into build/mutation/journal.jsonl, so that a
run which was stopped goes on where it was; --retry runs survivors again.
--sample takes N mutants over all files, by their lines; the same --seed gives
the same. Survivors that tests/equivalent-mutants.txt explains are listed apart.

Mutants can do harm: they run in namespaces of their own for processes, System V
objects and (as root) named semaphores, with limits for time and memory, and
make temporary files in a folder that is emptied. Needs unshare to be allowed.
"""

import argparse
import collections
import hashlib
import json
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import time

ROOT = pathlib.Path.cwd()
HOME = ROOT / "build" / "mutation"
TREE = HOME / "tree"
BUILD = HOME / "build"
SCRATCH = HOME / "tmp"
JOURNAL = HOME / "journal.jsonl"
EQUIVALENT = ROOT / "tests" / "equivalent-mutants.txt"

GIGABYTE = 1 << 30

# Tokens

TOKEN = re.compile(
    r"""
      (?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n\\]|\\.)*|\s+)
    | (?P<string>(?:u8|[uUL])?R"(?P<d>[^(\s]*)\(.*?\)(?P=d)"
                 |(?:u8|[uUL])?"(?:[^"\\\n]|\\.)*")
    | (?P<char>(?:u8|[uUL])?'(?:[^'\\\n]|\\.)*')
    | (?P<number>\.?\d(?:[eEpP][+-]|['\w.])*)
    | (?P<name>[A-Za-z_]\w*)
    | (?P<punct><<=|>>=|\.\.\.|->\*|<=>|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&
               |\|\||[-+*/%&|^]=|.)
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

Token = collections.namedtuple("Token", "kind text start end")


def tokens_of(source):
    tokens = []
    for match in TOKEN.finditer(source):
        kind = next(
            k
            for k in ("skip", "string", "char", "number", "name", "punct")
            if match.group(k) is not None
        )
        if kind != "skip":
            tokens.append(Token(kind, match.group(), *match.span()))
    return tokens


def closing(tokens, at):
    """The index of the bracket that closes the one at `at`."""
    pairs = {"(": ")", "{": "}", "[": "]"}
    opened = []
    for index in range(at, len(tokens)):
        text = tokens[index].text
        if text in pairs:
            opened.append(pairs[text])
        elif opened and text == opened[-1]:
            opened.pop()
            if not opened:
                return index
    return len(tokens) - 1


def untouchable(tokens):
    """The indices inside of assertions and attributes."""
    inside = set()
    for at, token in enumerate(tokens[:-1]):
        if token.text in ("assert", "static_assert", "__attribute__"):
            inside.update(range(at, closing(tokens, at + 1) + 1))
        if token.text == "[" and tokens[at + 1].text == "[":
            inside.update(range(at, closing(tokens, at) + 1))
    return inside


# Mutations

BINARY = {
    "==": ["!="],
    "!=": ["=="],
    "<": ["<=", ">="],
    ">": [">=", "<="],
    "<=": ["<", ">"],
    ">=": [">", "<"],
    "&&": ["||"],
    "||": ["&&"],
    "+": ["-"],
    "-": ["+"],
    "*": ["/"],
    "/": ["*"],
    "%": ["*"],
    "<<": [">>"],
    ">>": ["<<"],
    "&": ["|"],
    "|": ["&"],
    "^": ["|"],
    "+=": ["-="],
    "-=": ["+="],
    "*=": ["/="],
    "/=": ["*="],
    "|=": ["&="],
    "&=": ["|="],
    "^=": ["|="],
    "<<=": [">>="],
    ">>=": ["<<="],
}

DECLARES = set(
    """alignas auto class const constexpr enum explicit extern friend inline
    mutable namespace operator private protected public static struct template
    thread_local typedef typename union using virtual volatile""".split()
)
LEADS = set("case default do else for goto if return switch try while".split())

Mutant = collections.namedtuple("Mutant", "file line column start end new what")


def number_changes(text):
    """One more and one less; a floating number once."""
    match = re.fullmatch(r"(0[xX][\da-fA-F']+|0[0-7']*|[1-9][\d']*)([uUlL]*)",
                         text)
    if not match:
        match = re.fullmatch(r"(\d+)\.(\d+)", text)
        return [f"{int(match[1]) + 1}.{match[2]}"] if match else []
    digits = match[1].replace("'", "")
    octal = len(digits) > 1 and digits.isdigit() and digits[0] == "0"
    value = int(digits, 8 if octal else 0)
    changed = [value + 1] + ([value - 1] if value > 0 else [])
    form = "0x{:X}" if digits[:2].lower() == "0x" else "{}"
    return [form.format(v) + match[2] for v in changed]


def is_statement(tokens, first, last):
    """Whether tokens[first:last] with the semicolon behind is an expression
    statement or a jump, and not a declaration."""
    head = tokens[first]
    if head.text in ("break", "continue", "delete", "throw"):
        return True
    if head.text in DECLARES or head.text in LEADS:
        return False
    if head.kind != "name" and head.text not in ("*", "++", "--", "(", "::"):
        return False
    if tokens[last - 2].text == "=" and tokens[last - 1].text in (
            "default", "delete"):
        return False
    # "Type name", "Type* name", "Type<...> name": a type and then a name.
    for at in range(first, last - 1):
        one, two = tokens[at], tokens[at + 1]
        if one.text in ("(", "=", ".", "->", "["):
            break
        if two.kind == "name" and (
            one.kind == "name"
            or one.text == ">"
            or (one.text in ("*", "&") and at > first
                and tokens[at - 1].end == one.start)
        ):
            return False
    return any(t.text in ("(", "=", "++", "--") or t.text in BINARY
               for t in tokens[first:last])


def mutants_of(file, source):
    tokens = tokens_of(source)
    shut = untouchable(tokens)
    starts = [0]
    for match in re.finditer("\n", source):
        starts.append(match.end())
    found = []

    def add(start, end, new, what=None):
        line = next(n for n in range(len(starts), 0, -1)
                    if starts[n - 1] <= start)
        old = " ".join(source[start:end].split())
        found.append(Mutant(file, line, start - starts[line - 1] + 1, start,
                            end, new, what or f"{old} -> {new}"))

    in_templates = 0
    for at, token in enumerate(tokens):
        if at in shut:
            continue
        before = tokens[at - 1] if at else None
        after = tokens[at + 1] if at + 1 < len(tokens) else None
        spaced = (
            before is not None and after is not None
            and before.end < token.start and token.end < after.start
        )

        # "template <...>" holds no comparison.
        if token.text == "template" and after and after.text == "<":
            in_templates = 1
            continue
        if in_templates and token.text == ">":
            in_templates = 0
            continue
        if in_templates:
            continue

        if token.text in BINARY and spaced and before.text != "operator":
            for new in BINARY[token.text]:
                add(token.start, token.end, new)
        elif token.text in ("++", "--"):
            add(token.start, token.end, "--" if token.text == "++" else "++")
        elif token.text in ("!", "~") and (not before
                                           or before.text != "operator"):
            if after and (after.kind == "name" or after.text in "(:"):
                # A destructor's "~" follows "::" or begins a declaration.
                if token.text == "!" or before.text not in (
                        "::", ";", "{", "}", ":", "virtual"):
                    add(token.start, token.end, "", f"{token.text} dropped")
        elif token.text == "-" and after and token.end == after.start:
            add(token.start, token.end, "", "- dropped")
        elif token.kind == "number":
            for new in number_changes(token.text):
                add(token.start, token.end, new)
        elif token.kind == "char" and re.fullmatch(r"'[^\\']'", token.text):
            if token.text[1] not in "~&[":
                add(token.start, token.end, f"'{chr(ord(token.text[1]) + 1)}'")
        elif token.text in ("true", "false"):
            add(token.start, token.end,
                "false" if token.text == "true" else "true")
        elif token.text == "?":
            add(token.start, token.start, "== false ", "condition of ? negated")

        # Negated conditions
        if token.text in ("if", "while"):
            opening = at + 1
            if tokens[opening].text == "constexpr":
                opening += 1
            end = closing(tokens, opening)
            first = opening + 1
            for inner in range(opening + 1, end):
                if tokens[inner].text == ";":
                    first = inner + 1
            if not any(t.text == "=" for t in tokens[first:end]):
                start, stop = tokens[first].start, tokens[end].start
                text = source[start:stop]
                add(start, stop, f"!({text})",
                    f"{token.text} condition negated")

        # Return values
        if token.text == "return":
            end = next(i for i in range(at, len(tokens))
                       if tokens[i].text == ";")
            value = tokens[at + 1:end]
            if value and value[0].text == "{" or any(
                    t.text == "{" for t in value):
                continue
            if len(value) > 1 and value[0].text != "*":
                start, stop = value[0].start, value[-1].end
                text = source[start:stop]
                if any(t.text in ("==", "!=", "<", ">", "<=", ">=", "&&", "||")
                       and t.start > start for t in value):
                    add(start, stop, f"!({text})", "return value negated")
                else:
                    add(start, stop, "{}", "return value emptied")
            elif len(value) == 1 and value[0].kind == "name" and \
                    value[0].text not in ("true", "false", "nullptr"):
                add(value[0].start, value[0].end, "{}", "return value emptied")

        # Dropped statements
        if before and before.text in (";", "{", "}", ")", ":", "else", "do"):
            if before.text in (")", ":") and source.count(
                    "\n", before.end, token.start) == 0:
                continue
            last = at
            while last < len(tokens) and tokens[last].text not in (";", "}"):
                if tokens[last].text in ("(", "[", "{"):
                    last = closing(tokens, last)
                last += 1
            if last < len(tokens) and tokens[last].text == ";" and \
                    is_statement(tokens, at, last):
                text = " ".join(source[token.start:tokens[last].end].split())
                add(token.start, tokens[last].start, "", f"dropped: {text}")
    return found


# The tree

def run(*command, **options):
    return subprocess.run(command, check=True, text=True, **options)


def copy_tree():
    """Brings the copy up to date; a file that is as it was keeps its time."""
    listed = run("git", "ls-files", "-z", "--cached", "--others",
                 "--exclude-standard", stdout=subprocess.PIPE).stdout
    wanted = {name for name in listed.split("\0")
              if name and (ROOT / name).is_file()}
    for name in wanted:
        here, there = ROOT / name, TREE / name
        if not there.exists() or there.read_bytes() != here.read_bytes():
            there.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(here, there)
    for there in TREE.rglob("*"):
        if there.is_file() and str(there.relative_to(TREE)) not in wanted:
            there.unlink()


def configure():
    run("cmake", "--preset", "dev", "-B", str(BUILD),
        "-DNOVU_BUILD_BENCHMARKS=OFF", "-DNOVU_BUILD_EXAMPLES=OFF",
        "-DNOVU_WERROR=OFF", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON",
        "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_CXX_FLAGS_DEBUG=-O0",
        cwd=TREE, stdout=subprocess.DEVNULL)


def build(targets):
    """None, or what went wrong."""
    done = subprocess.run(
        ["ninja", "-C", str(BUILD), f"-j{os.cpu_count()}", *targets],
        text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return None if done.returncode == 0 else done.stdout


# What is concerned

def all_programs():
    """Test programs by the service that they are named after."""
    text = (TREE / "tests" / "CMakeLists.txt").read_text()
    return ([f"{name}Test" for name in re.findall(r"novu_test\((\w+)", text)
             if name != "Inventory"]
            + [f"{name}OnMacTest"
               for name in re.findall(r"novu_mac_test\((\w+)", text)])


def services():
    """Each service with those that it builds on."""
    rows = {}
    for line in (TREE / "docs" / "architecture.md").read_text().splitlines():
        cells = [cell.strip() for cell in line.split("|")]
        if len(cells) == 7 and cells[2].endswith(".h"):
            rows[cells[2][:-2]] = re.findall(r"\w+", cells[5])
    return rows


def suffixes():
    """Those of systems, of twins for processors, and of instructions."""
    listed = (TREE / "Bases" / "Impl" / "instruction_sets.txt").read_text()
    return ["_posix", "_linux", "_mac", "_x86", "_portable",
            *re.findall(r"^(_\w+) ", listed, re.M)]


def stem_of(file):
    return re.sub(rf"({'|'.join(suffixes())})?\.(cpp|h)$", "",
                  pathlib.Path(file).name)


def touched_by(file, known):
    """The services whose sources are, or include, `file`, and the private
    headers on the way to them. What a source of no service defines is declared
    in the header of its name, or else in one that it includes."""
    folder = TREE / "Bases" / "Impl"
    texts = {path.name: path.read_text() for path in sorted(folder.iterdir())}

    def includers(header):
        return [name for name, text in texts.items()
                if f'#include "Bases/Impl/{header}"' in text]

    def headers_of(source):
        own = f"{stem_of(source)}.h"
        return [own] if own in texts else re.findall(
            r'#include "Bases/Impl/(\w+\.h)"', texts[source])

    names, services_found = [pathlib.Path(file).name], []
    for name in names:  # Grows, until nothing private is left to follow.
        stem = stem_of(name)
        if stem in known:
            services_found.append(stem)
            continue
        follow = includers(name) if name.endswith(".h") else headers_of(name)
        names += [other for other in follow if other not in names]
    return (list(dict.fromkeys(services_found)),
            [name for name in names if name.endswith(".h")])


def owner_of(program, known):
    """The service that it is named after: ThreadPool of ThreadPoolOnMacTest,
    Sem of SemLinuxTest."""
    return max((s for s in known if program.startswith(s)), key=len,
               default=None)


def includes(program, header):
    name = re.sub(r"(OnMac)?Test$", "Test.cpp", program)
    path = TREE / "tests" / name
    return path.exists() and f'"Bases/{header}"' in path.read_text()


def programs_for(file, known, programs):
    """Those of the service first, then those of what is private to it, then
    others that use it, then those of what builds on it."""
    touched, headers = touched_by(file, known)
    wanted = list(touched)
    for service in wanted:  # Grows, until nothing builds on the last.
        wanted += [s for s, below in sorted(known.items())
                   if service in below and s not in wanted]
    ordered = (
        [p for s in touched for p in programs if owner_of(p, known) == s]
        + [p for h in headers for p in programs if includes(p, f"Impl/{h}")]
        + [p for s in touched for p in programs if includes(p, f"{s}.h")]
        + [p for s in wanted for p in programs if owner_of(p, known) == s])

    def fits(program):
        on_mac = "Mac" in program
        return on_mac if "_mac." in file else \
            not (on_mac and "_linux." in file)

    return [p for p in dict.fromkeys(ordered) if fits(p)]


def linked_into(programs):
    """Those that have the changed source in them, and not in a library that
    they load."""
    text = (TREE / "tests" / "CMakeLists.txt").read_text()
    static = re.findall(r"novu_test\((\w+)[^)]*\bNovuBasesStatic\b", text)
    return [p for p in programs
            if "Mac" in p or p.removesuffix("Test") in static]


def built_here():
    listed = json.loads((BUILD / "compile_commands.json").read_text())
    here = {os.path.relpath(entry["file"], TREE) for entry in listed
            if "NovuPortableTwins" not in entry["command"]}
    files = sorted(str(p.relative_to(TREE))
                   for p in (TREE / "Bases" / "Impl").iterdir()
                   if p.suffix in (".cpp", ".h"))
    return [f for f in files if f.endswith(".h") or f in here]


# Runs

APART = ["unshare", "--pid", "--fork", "--kill-child", "--mount-proc", "--ipc"]
# Named semaphores are files in there.
IN_PLACE = 'mount -t tmpfs tmpfs /dev/shm 2>/dev/null; "$@"; exit $?'
if os.geteuid() != 0:
    APART[1:1] = ["--user", "--map-current-user"]


def limit(cpu):
    def apply():
        resource.setrlimit(resource.RLIMIT_CPU, (cpu, cpu + 5))
        resource.setrlimit(resource.RLIMIT_AS, (16 * GIGABYTE,) * 2)
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        os.setsid()
    return apply


def wait(child, seconds):
    """Its status, or "hangs". Time in which all of this is stopped does not
    count."""
    while seconds > 0:
        try:
            return child.wait(timeout=1)
        except subprocess.TimeoutExpired:
            seconds -= 1
    os.killpg(child.pid, signal.SIGKILL)
    child.wait()
    return "hangs"


def last_begun(text):
    begun = re.findall(r"^\[ RUN      \] (\S+)", text, re.M)
    return begun[-1] if begun else ""


def run_program(program, cpu, wall):
    """How it failed, or "". And its seconds: of the CPU, and of the clock."""
    shutil.rmtree(SCRATCH, ignore_errors=True)
    SCRATCH.mkdir(parents=True)
    SCRATCH.chmod(0o777)
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    begun = time.monotonic()
    output = HOME / "output"
    with open(output, "wb") as out:
        child = subprocess.Popen(
            [*APART, "sh", "-c", IN_PLACE, "sh",
             str(BUILD / "tests" / program), "--gtest_fail_fast"],
            stdout=out, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
            cwd=SCRATCH, env={**os.environ, "TMPDIR": str(SCRATCH)},
            preexec_fn=limit(cpu))
        status = wait(child, wall)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    seconds = (after.ru_utime + after.ru_stime
               - before.ru_utime - before.ru_stime,
               time.monotonic() - begun)
    if status == 0:
        return "", seconds
    with open(output, "rb") as out:
        text = out.read(1 << 20).decode(errors="replace")
    if status == "hangs":
        return f"hangs in {last_begun(text) or program}", seconds
    failed = re.findall(r"^\[  FAILED  \] (\S+\.[^\s,]+)", text, re.M)
    if failed:
        return failed[0], seconds
    return f"status {status} in {last_begun(text) or program}", seconds


class Verdicts:
    """The journal, by what identifies a mutant."""

    def __init__(self):
        self.known = {}
        if JOURNAL.exists():
            for line in JOURNAL.read_text().splitlines():
                try:
                    entry = json.loads(line)
                except ValueError:  # Cut off when a run was stopped.
                    continue
                self.known[entry["key"]] = entry

    def add(self, entry):
        self.known[entry["key"]] = entry
        with open(JOURNAL, "a", encoding="utf-8") as journal:
            journal.write(json.dumps(entry) + "\n")


def keys_of(found, source):
    """Stay as long as the code of the file does, whatever its comments say."""
    code = " ".join(token.text for token in tokens_of(source))
    digest = hashlib.sha256(code.encode()).hexdigest()[:12]
    return {mutant: f"{mutant.file}:{digest}:{number}"
            for number, mutant in enumerate(found)}


def judge(mutant, source, chosen, usual):
    path = TREE / mutant.file
    path.write_text(source[:mutant.start] + mutant.new + source[mutant.end:])
    try:
        if build(["NovuBasesShared", *linked_into(chosen)]) is not None:
            return "not compiled", ""
        for program in chosen:
            cpu, wall = usual[program]
            failure, _ = run_program(program, int(10 + 10 * cpu),
                                     30 + 10 * wall)
            if failure:
                return "caught", f"{program}: {failure}"
        return "survived", ""
    finally:
        path.write_text(source)


def quotas(mutants, sample):
    """How many of each file: by its lines that can change, at least 2."""
    if sample is None:
        return {file: len(found) for file, found in mutants.items()}
    lines = {file: len({m.line for m in found})
             for file, found in mutants.items()}
    quota = {file: min(2, len(mutants[file])) for file in mutants}
    left = max(0, sample - sum(quota.values()))
    total = sum(lines.values())
    shares = {file: left * lines[file] / total for file in mutants}
    for file in mutants:
        quota[file] = min(len(mutants[file]),
                          quota[file] + int(shares[file]))
    by_rest = sorted(mutants, key=lambda f: (int(shares[f]) - shares[f], f))
    while sum(quota.values()) < sample:
        grown = False
        for file in by_rest:
            if sum(quota.values()) < sample and \
                    quota[file] < len(mutants[file]):
                quota[file] += 1
                grown = True
        if not grown:
            break
    return quota


def equivalents():
    """Reasons, by file, change and line of code."""
    reasons = {}
    if EQUIVALENT.exists():
        for paragraph in EQUIVALENT.read_text().split("\n\n"):
            lines = [line.strip() for line in paragraph.splitlines()
                     if not line.startswith("#")]
            if len(lines) > 2:
                file, _, change = lines[0].partition(": ")
                reasons[(file, change, lines[1])] = " ".join(lines[2:])
    return reasons


def report(verdicts, sources):
    counts = collections.defaultdict(collections.Counter)
    for entry in verdicts:
        counts[entry["file"]][entry["result"]] += 1
    columns = ("caught", "survived", "not compiled")
    print(f"\n{'File':<40}" + "".join(f"{c:>14}" for c in columns))
    total = collections.Counter()
    for file in sorted(counts):
        total.update(counts[file])
        print(f"{file:<40}" + "".join(f"{counts[file][c]:>14}"
                                      for c in columns))
    print(f"{'All':<40}" + "".join(f"{total[c]:>14}" for c in columns))

    reasons = equivalents()
    open_ones, judged = [], []
    for entry in verdicts:
        if entry["result"] == "survived":
            line = sources[entry["file"]].splitlines()[entry["line"] - 1]
            entry["code"] = line.strip()
            reason = reasons.get((entry["file"], entry["change"],
                                  entry["code"]))
            (judged if reason else open_ones).append((entry, reason))
    for title, listed in (("Survivors", open_ones),
                          ("Survivors judged equivalent", judged)):
        if listed:
            print(f"\n{title}:")
        for entry, reason in sorted(listed, key=lambda e: (
                e[0]["file"], e[0]["line"])):
            print(f"{entry['file']}:{entry['line']}: {entry['change']}")
            print(f"    {entry['code']}")
            if reason:
                print(f"    {reason}")
    counted = total["caught"] + total["survived"]
    if counted:
        print(f"\n{total['caught']} of {counted} mutants caught: "
              f"{100 * total['caught'] / counted:.1f} %"
              f" ({len(judged)} survivors judged equivalent,"
              f" {len(open_ones)} not)")


def main():
    parser = argparse.ArgumentParser(
        prog="scripts/mutate", description=__doc__,
        formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--sample", type=int, metavar="N")
    parser.add_argument("--seed", type=int, metavar="S", default=1)
    parser.add_argument("--file", action="append", metavar="F",
                        help="one file of Bases/Impl; may be repeated")
    parser.add_argument("--leave", action="append", metavar="F", default=[],
                        help="a file to leave out; may be repeated")
    parser.add_argument("--retry", action="store_true",
                        help="run survivors of the journal again")
    parser.add_argument("--list", action="store_true",
                        help="print the mutants; run none")
    options = parser.parse_args()

    TREE.mkdir(parents=True, exist_ok=True)
    copy_tree()
    configure()
    files = built_here()
    for chosen in (options.file or []) + options.leave:
        if chosen not in files:
            parser.error(f"{chosen} is no file of Bases/Impl that is built"
                         " here")
    files = [f for f in options.file or files if f not in options.leave]
    sources = {f: (TREE / f).read_text() for f in files}
    mutants = {f: mutants_of(f, sources[f]) for f in files}
    mutants = {f: found for f, found in mutants.items() if found}
    if options.list:
        for found in mutants.values():
            for mutant in found:
                print(f"{mutant.file}:{mutant.line}:{mutant.column}:"
                      f" {mutant.what}")
        print(sum(len(found) for found in mutants.values()), "mutants")
        return

    if subprocess.run([*APART, "true"], check=False).returncode != 0:
        sys.exit("mutate: unshare is not allowed here, and a mutant may signal"
                 " any process")

    known, programs = services(), all_programs()
    concerned = {f: programs_for(f, known, programs) for f in mutants}
    for file in mutants:
        if not concerned[file]:
            sys.exit(f"mutate: no test program is for {file}")
    needed = sorted({p for f in mutants for p in concerned[f]})
    print(f"building {len(needed)} test programs in {BUILD}", flush=True)
    trouble = build(["NovuBasesShared", *needed])
    if trouble:
        sys.exit(trouble + "\nmutate: the tree does not build")
    usual = {}
    for program in needed:
        failure, usual[program] = run_program(program, 600, 600)
        if failure:
            sys.exit(f"mutate: {program} fails without a mutation: {failure}")

    verdicts, done, waiting, keys = Verdicts(), [], {}, {}
    for file, found in mutants.items():
        keys[file] = keys_of(found, sources[file])
        order = list(found)
        if options.sample is not None:
            random.Random(f"{options.seed} {file}").shuffle(order)
        waiting[file] = iter(order)

    def judge_next(file, number):
        """How many of the next mutants of a file were judged, at most
        `number`; one that does not compile counts as none."""
        counted = 0
        while counted < number:
            mutant = next(waiting[file], None)
            if mutant is None:
                break
            entry = verdicts.known.get(keys[file][mutant])
            if entry is None or (options.retry
                                 and entry["result"] == "survived"):
                begun = time.monotonic()
                result, by = judge(mutant, sources[file], concerned[file],
                                   usual)
                entry = {"key": keys[file][mutant], "file": file,
                         "change": mutant.what, "result": result, "by": by,
                         "seconds": round(time.monotonic() - begun, 1)}
                verdicts.add(entry)
                print(f"{result:<13}{file}:{mutant.line}: {mutant.what}"
                      f"{'  [' + by + ']' if by else ''}", flush=True)
            done.append({**entry, "line": mutant.line})
            counted += entry["result"] != "not compiled"
        return counted

    missing = 0
    for file, number in sorted(quotas(mutants, options.sample).items()):
        missing += number - judge_next(file, number)
    # What a small file lacks, others give.
    while missing and options.sample is not None:
        before = missing
        for file in sorted(mutants):
            if missing:
                missing -= judge_next(file, 1)
        if missing == before:
            break
    report(done, sources)


if __name__ == "__main__":
    main()
