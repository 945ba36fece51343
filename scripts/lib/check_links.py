"""check_links.py FOLDER: links between the HTML files of a folder lead there."""

import html.parser
import pathlib
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    """What a file can be linked by, and what it links."""

    def __init__(self, path):
        super().__init__()
        self.anchors = {""}
        self.links = set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if name == "id" or (name == "name" and tag == "a"):
                self.anchors.add(value)
            elif name in ("href", "src") and value:
                self.links.add(value)


def main():
    folder = pathlib.Path(sys.argv[1])
    pages = {path.name: Page(path) for path in folder.glob("*.html")}
    count = 0
    broken = 0
    for name, page in sorted(pages.items()):
        for link in sorted(page.links):
            parts = urllib.parse.urlsplit(link)
            if parts.scheme or link.startswith("javascript"):
                continue
            count += 1
            target = urllib.parse.unquote(parts.path) or name
            anchor = urllib.parse.unquote(parts.fragment)
            if target in pages:
                good = anchor in pages[target].anchors
            else:
                good = (folder / target).exists()
            if not good:
                print(f"{name} links to {link}, which does not exist")
                broken += 1
    print(f"{len(pages)} files, {count} links between them")
    sys.exit(broken != 0 or not pages)


main()
