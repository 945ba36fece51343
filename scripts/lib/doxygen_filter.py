"""What Doxygen reads instead of a header or a page: doxygen_filter.py FILE.

Headers are written for people who read them as they are. For Doxygen,

    the table that a header opens with becomes the description of the file,
    indented lines become code, those of an example code that is coloured,
    declarations that follow each other under one comment all have it,
    a copy that is deleted says so, with the reason beside it.

In pages, headings get the anchors that links of other pages go to. In both,
[service-n] becomes a link to that entry of docs/surprises.md.
"""

import html
import pathlib
import re
import sys

SURPRISE = re.compile(r"\[([a-z][a-z0-9]*-\d+)\]")
PLACE = re.compile(r'docs/(\w+)\.md, "([^"]+)"')
# What is neither a declaration nor a part of one.
NOTHING = re.compile(r" *(//|#(?!define NOVU_API)|[{}]|public|private)")
# What a part of an entry of the register begins with, and a whole one.
LABEL = re.compile(r"^- ([A-Z][a-z]+(?: [a-z]+)*): ")
PART = re.compile(r"^- .*(?:\n  .*)+", re.MULTILINE)
LINK = re.compile(r"(!?)\[([^][]*)\]\((?!https?:)([^)\s]*)\)")
REFERENCED = {("Bases", ".h"), ("examples", ".cpp")}  # Beside the pages.
CODE_SPAN = re.compile(r"(`[^`]*`)")


def slug(title):
    """The anchor of a heading, as GitHub makes it."""
    kept = re.sub(r"[^\w\- ]", "", title.lower())
    return kept.strip().replace(" ", "-")


def linked(text):
    """A line of prose, with its links, and with nothing else in it that means
    something to Doxygen."""
    parts = CODE_SPAN.split(text)
    for n, part in enumerate(parts):
        if n % 2 == 1:
            if re.search(r"[^\w.,:;()/ +-]", part[1:-1]):
                code = re.sub(r"([\\@%#*_]|::)", r"\\\1", html.escape(part[1:-1]))
                parts[n] = f"<tt>{code}</tt>"
            continue
        part = re.sub(r"<(?=[A-Za-z_/])", r"\\<", part)
        parts[n] = SURPRISE.sub(r'@ref \1 "[\1]"', part)
    return "".join(parts)


# Headers


def described(lines):
    """The text of a comment as Doxygen is to read it."""
    out = []
    block = None  # The end of the indented block that is open.
    after_example = False
    for line in [*lines, "."]:
        indented = re.match(r" {2,}\S", line)
        if indented and block is None and (not out or not out[-1]):
            out.append("@code{.cpp}" if after_example else "@code{.unparsed}")
            block = "@endcode"
        elif block and line and not indented:
            while not out[-1]:
                out.pop()
            out += [block, ""]
            block = None
        if block:
            out.append(line)
            continue
        after_example = line.startswith("Example (") or (
            after_example and not line
        )
        out.append(linked(PLACE.sub(placed, line)))
    return out[:-1]


def placed(match):
    page, title = match.groups()
    return f'@ref {page}-{slug(title)} "{page.title()}: {title}"'


def opening(lines):
    """The description of a file: its rows have a word in front."""
    first = lines[0].partition(": ")[2]
    out = []
    for line in [first[0].upper() + first[1:], *lines[1:]]:
        if row := re.match(r"([A-Z][a-z]+) {2,8}(\S.*)", line):
            out += ["", f"@par {row[1]}", row[2]]
        elif out and re.match(r" {9}\S", line):
            out.append(line.strip())
        else:
            out.append(line)
    return ["@file", *described(out)]


def example(stem):
    """The page of an example, which shows its code."""
    path = pathlib.Path("examples", f"{stem}.cpp")
    return [f"/** @example {path.name} */"] if path.exists() else []


def header(lines):
    """A header, with its comments as Doxygen is to read them."""
    first = next(n for n, line in enumerate(lines) if line[:2] != "//")
    table = [re.sub("^// ?", "", line) for line in lines[:first]]
    out = [f"/// {line}".rstrip() for line in opening(table)]

    comment = []  # That of the declaration before, or of the next one.
    pending = False  # The comment is for the next one.
    declaration = ""  # What has been read of one.
    for line in lines[first:]:
        if doc := re.match(r" *///(?!<) ?", line):
            comment = (comment if pending else []) + [line[doc.end() :]]
            pending = True
            continue
        if not line.strip() or re.match(NOTHING, line):
            if not pending:
                comment = []
            out.append(line)
            continue
        if not declaration:
            if comment and (pending or "///<" not in line):
                out += [f"/// {text}".rstrip() for text in described(comment)]
            pending = False
        line = re.sub("= delete;(  // )?", "= delete;  ///< No copies. ", line)
        if trailing := re.search(r"///< ", line):
            end = trailing.end()
            line = line[:end] + linked(line[end:])
        out.append(line.rstrip())
        declaration += re.sub("//.*", "", line)
        if line[0] == "#" or declaration.rstrip()[-1:] in ";{}":
            if declaration.rstrip()[-1:] != ";":
                comment = []
            declaration = ""
    return out


# Pages


def page(name, lines):
    """A page, with anchors and links as Doxygen is to read them."""
    out = []
    fenced = False
    for line in lines:
        if line.startswith("```"):
            fenced = not fenced
        elif not fenced:
            line = prose(name, line)
        out.append(line)
    return out


def prose(name, line):
    if heading := re.match(r"(#+) (.*)", line):
        marks, title = heading.groups()
        if surprise := SURPRISE.match(title):
            anchor = surprise[1]
        else:
            anchor = name if marks == "#" else f"{name}-{slug(title)}"
            if "(`" in title:  # A section is named without its header.
                anchor = f"{name}-{slug(title.partition(' (`')[0])}"
        return f"{marks} {title.replace('`', '')} {{#{anchor}}}"

    def target(link):
        mark, text, where = link.groups()
        path, _, fragment = where.partition("#")
        file = pathlib.Path(path)
        if not path or file.suffix == ".md":
            anchor = f"{file.stem or name}-{fragment}".rstrip("-")
            return f"[{text}](@ref {anchor})"
        if (file.parent.name, file.suffix) in REFERENCED:
            return f"[{text}](@ref {file.name})"
        if mark or path == "LICENSE":
            return f"{mark}[{text}]({path.removeprefix('docs/')})"
        return text  # Something that is not in the reference.

    line = re.sub(LINK, target, line)
    if name == "surprises":
        line = re.sub(LABEL, r"- **\1:** ", line)
    if name == "tasks":
        line = re.sub(r"`Novu::([\w:]+)`", r'@ref Novu::\1 "\1"', line)
    if line.lstrip().startswith("<"):  # A picture, or a comment.
        return line.replace('="docs/', '="')
    return linked(line)


def joined(match):
    return re.sub(r"\n *", " ", match[0])


def main():
    path = pathlib.Path(sys.argv[1])
    text = path.read_text(encoding="utf-8")
    if path.suffix == ".md":  # Links on one line each, and code.
        text = re.sub(r"\[[^][`]*\n[^][`]*\]\(", joined, text)
        if path.stem == "surprises":
            text = re.sub(PART, joined, text)
    lines = text.splitlines()
    if path.suffix == ".h":
        lines = header(lines) + example(path.stem)
    else:
        lines = page(path.stem, lines)
    print("\n".join(lines))


main()
