"""record_inventory.py FOLDER OUT: for scripts/record-inventory.

Runs the program `inventory` of FOLDER in a pseudo-terminal, on a folder of
samples that is made for it, and writes OUT/session.svg and OUT/chart.svg.
"""

import fcntl
import os
import pty
import select
import shutil
import struct
import sys
import tempfile
import termios
import time
from xml.sax.saxutils import escape

COLUMNS = 78
ROWS = 24
DEADLINE = 60  # Seconds for a command.

# What is typed; and how long one looks at what it printed, in seconds.
SESSION = [
    ("inventory create home home.xml --digest", 2.0),
    ("echo more >> home/notes.txt; rm home/mail/0007.eml", 0.6),
    ("inventory verify home home.xml", 2.5),
    ("inventory show home.xml --chart chart.svg | sed -n 10,17p", 3.0),
    ("inventory create home sealed.xml --seal key | head -n 1", 0.8),
    ("head -n 4 sealed.xml", 4.0),
]

DAY = 86400
SAMPLES = [
    # Files, size, days since the last change: sizes differ by their number.
    ("video/holiday-{}.mp4", 3, 250_000_000, 40),
    ("pictures/{:04}.jpg", 180, 1_400_000, 200),
    ("pictures/old/{:04}.jpg", 90, 900_000, 900),
    ("music/{:02}.flac", 14, 9_000_000, 500),
    ("mail/{:04}.eml", 240, 24_000, 12),
    ("papers/{}.pdf", 12, 700_000, 80),
    ("code/{}.cpp", 60, 9_000, 2),
    ("code/{}.h", 60, 3_000, 0.2),
    ("notes.txt", 1, 4_000, 0.1),
]


def make_samples(root):
    """Holes: no space is taken on the disk."""
    now = time.time()
    for pattern, count, size, age in SAMPLES:
        for number in range(count):
            path = os.path.join(root, pattern.format(number + 1))
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.truncate(size + number * (size // 97 + 1))
            then = now - age * DAY
            os.utime(path, (then, then))


class Screen:
    """What a terminal shows: rows of (character, colour)."""

    def __init__(self):
        self.rows = [[]]
        self.column = 0
        self.color = ""
        self.pending = ""

    def feed(self, text):
        text = self.pending + text
        self.pending = ""
        at = 0
        while at < len(text):
            c = text[at]
            at += 1
            if c == "\r":
                self.column = 0
            elif c == "\n":
                self.rows.append([])
                self.column = 0
            elif c == "\x1b":
                end = text.find("m", at)
                if end < 0:
                    self.pending = text[at - 1 :]
                    return
                self.color = {"31": "r", "32": "g", "36": "c"}.get(
                    text[at + 1 : end], ""
                )
                at = end + 1
            else:
                if self.column == COLUMNS:
                    self.rows.append([])
                    self.column = 0
                row = self.rows[-1]
                row.extend([(" ", "")] * (self.column + 1 - len(row)))
                row[self.column] = (c, self.color)
                self.column += 1

    def picture(self):
        """The rows that are seen, without the blanks at their ends."""
        seen = []
        for row in self.rows[-ROWS:]:
            row = list(row)
            while row and row[-1][0] == " ":
                row.pop()
            seen.append(tuple(row))
        return tuple(seen)


def run(command, folder, program_folder):
    """Yields (seconds since the last one, text) of what the command prints."""
    pid, master = pty.fork()
    if pid == 0:
        os.chdir(folder)
        environment = {
            "PATH": program_folder + ":/usr/bin:/bin",
            "LC_ALL": "C.UTF-8",
            "TERM": "xterm",
        }
        # Before anything is drawn.
        size = struct.pack("HHHH", ROWS, COLUMNS, 0, 0)
        fcntl.ioctl(2, termios.TIOCSWINSZ, size)
        os.execve("/bin/sh", ["sh", "-c", command], environment)
    end = time.monotonic() + DEADLINE
    last = time.monotonic()
    try:
        while True:
            if not select.select([master], [], [], end - time.monotonic())[0]:
                sys.exit(f"record_inventory.py: too slow: {command}")
            try:
                block = os.read(master, 65536)
            except OSError:  # EIO: the other end is closed.
                block = b""
            if not block:
                return
            now = time.monotonic()
            yield now - last, block.decode("utf-8", "replace")
            last = now
    finally:
        os.close(master)
        os.waitpid(pid, 0)


def record(folder, program_folder):
    """Frames: (seconds that it is seen, picture)."""
    screen = Screen()
    frames = []

    def show(seconds):
        frames.append([seconds, screen.picture()])

    for command, pause in SESSION:
        screen.color = "c"
        screen.feed("$ ")
        screen.color = ""
        show(0.6)
        for at in range(0, len(command), 3):
            screen.feed(command[at : at + 3])
            show(0.09)
        frames[-1][0] = 0.5
        screen.feed("\r\n")
        for seconds, text in run(command, folder, program_folder):
            frames[-1][0] += min(seconds, 0.3)
            screen.feed(text)
            show(0)
        show(pause)

    merged = []
    for seconds, picture in frames:
        if merged and (merged[-1][1] == picture or merged[-1][0] < 0.02):
            merged[-1] = [merged[-1][0] + seconds, picture]
        else:
            merged.append([seconds, picture])
    return merged


def spans(row):
    """The row as SVG text."""
    text = ""
    at = 0
    while at < len(row):
        color = row[at][1]
        end = at
        while end < len(row) and row[end][1] == color:
            end += 1
        piece = escape("".join(c for c, _ in row[at:end]))
        text += f'<tspan class="{color}">{piece}</tspan>' if color else piece
        at = end
    return text


def svg(frames):
    """Each row that is ever seen stands in it once, and is seen in its time."""
    cell, line, margin, head = 8.0, 18, 16, 34
    width = int(COLUMNS * cell) + 2 * margin
    height = head + ROWS * line + margin
    whole = sum(seconds for seconds, _ in frames)
    times = {}  # Of (row, content): spans of time.
    now = 0.0
    for seconds, picture in frames:
        for number, row in enumerate(picture):
            if row:
                seen = times.setdefault((number, row), [])
                if seen and abs(seen[-1][1] - now) < 1e-9:
                    seen[-1][1] = now + seconds
                else:
                    seen.append([now, now + seconds])
        now += seconds

    style, body = [], []
    for index, ((number, row), seen) in enumerate(
        sorted(times.items(), key=lambda item: (item[1][0][0], item[0][0]))
    ):
        steps = {}
        for start, end in seen:
            steps[round(100 * start / whole, 3)] = "visible"
            if end < whole - 1e-6:
                steps[round(100 * end / whole, 3)] = "hidden"
        if 0.0 not in steps:
            steps[0.0] = "hidden"
        if steps != {0.0: "visible"}:
            keys = "".join(
                f"{at:g}%{{visibility:{what}}}"
                for at, what in sorted(steps.items())
            )
            style.append(f"@keyframes k{index}{{{keys}}}")
            style.append(f".k{index}{{animation-name:k{index}}}")
        # Where nothing moves, the end is seen.
        last = seen[-1][1] > whole - 1e-6
        y = head + (number + 1) * line - 4
        body.append(
            f'<text class="line k{index}" x="{margin}" y="{y}"'
            f'{"" if last else " visibility=" + chr(34) + "hidden" + chr(34)}>'
            f"{spans(row)}</text>"
        )

    dots = "".join(
        f'<circle cx="{margin + 6 + 18 * i}" cy="18" r="5" fill="{color}"/>'
        for i, color in enumerate(("#f0716a", "#e5b54a", "#5cbf62"))
    )
    title = "The inventory program at work"
    description = (
        "A terminal: an inventory of a folder is made with digests, with a bar "
        "that fills up; after a change the folder is compared with it; its "
        "totals are shown; and a sealed one is made."
    )
    newline = "\n"
    return f"""<svg xmlns="http://www.w3.org/2000/svg" width="{width}" \
height="{height}" viewBox="0 0 {width} {height}" role="img" \
aria-labelledby="title desc">
<title id="title">{title}</title>
<desc id="desc">{description}</desc>
<style>
.page {{ fill: #1c2128; stroke: #444c56; }}
.line {{ font: 13px ui-monospace, Menlo, Consolas, "DejaVu Sans Mono", monospace;
        fill: #d5dbe1; white-space: pre; animation-duration: {whole:.2f}s;
        animation-iteration-count: infinite;
        animation-timing-function: step-end; }}
.r {{ fill: #ff8078; }} .g {{ fill: #6fd07c; }} .c {{ fill: #6cc5e8; }}
@media (prefers-reduced-motion: reduce) {{ .line {{ animation: none; }} }}
{newline.join(style)}
</style>
<rect class="page" x="0.5" y="0.5" width="{width - 1}" height="{height - 1}" \
rx="8"/>
{dots}
<g xml:space="preserve">
{newline.join(body)}
</g>
</svg>
"""


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: record_inventory.py FOLDER OUT")
    program_folder = os.path.abspath(sys.argv[1])
    out = os.path.abspath(sys.argv[2])
    with tempfile.TemporaryDirectory() as folder:
        make_samples(os.path.join(folder, "home"))
        with open(os.path.join(folder, "key"), "w", encoding="ascii") as key:
            key.write("0f1e2d3c4b5a69788796a5b4c3d2e1f0\n")
        text = svg(record(folder, program_folder))
        if folder in text or program_folder in text:
            sys.exit("record_inventory.py: a path of this machine is in it")
        with open(
            os.path.join(out, "session.svg"), "w", encoding="utf-8"
        ) as file:
            file.write(text)
        shutil.copyfile(
            os.path.join(folder, "chart.svg"), os.path.join(out, "chart.svg")
        )


main()
