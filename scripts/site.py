#!/usr/bin/env python3
"""Builds the pages of the project into one site, without a network. Needs python3-markdown, doxygen.

Usage: site.py FOLDER

The Markdown pages keep their places in the tree, and so do the other files that they link to. The
pages of the public header are made by Doxygen. A link that leads nowhere, or to a heading that is
not there, a page that no other page links to, and a warning of Doxygen are errors.
"""
import html
import html.parser
import pathlib
import posixpath
import shutil
import subprocess
import sys
import urllib.parse

import markdown

ROOT = pathlib.Path(__file__).resolve().parent.parent
API = "api/namespacevela.html"
START = "README.md"

STYLE = """
body { margin: 0; font: 16px/1.5 sans-serif; color: #222; background: #fff; display: flex; flex-wrap: wrap; }
nav { flex: 0 0 14em; padding: 1.5em; background: #f4f4f2; box-sizing: border-box; }
nav a { display: block; padding: .15em 0; }
main { flex: 1 1 40em; max-width: 60em; padding: 1.5em 2.5em; box-sizing: border-box; min-width: 0; }
a { color: #0645ad; text-decoration: none; } a:hover { text-decoration: underline; }
code, pre { font: 14px/1.4 monospace; background: #f4f4f2; } code { padding: .1em .25em; }
pre { padding: .8em 1em; overflow-x: auto; } pre code { padding: 0; }
table { border-collapse: collapse; display: block; overflow-x: auto; }
th, td { border: 1px solid #ccc; padding: .3em .6em; text-align: left; vertical-align: top; }
@media (prefers-color-scheme: dark) {
  body { color: #ddd; background: #1c1c1c; } nav, code, pre { background: #282828; }
  a { color: #8ab4f8; } th, td { border-color: #555; }
}
"""


class Page(html.parser.HTMLParser):
    """The links and the anchors of a page."""

    def __init__(self, text):
        super().__init__()
        self.links, self.anchors, self.title = [], set(), ""
        self.in_title = False
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        named = dict(attributes)
        if "id" in named:
            self.anchors.add(named["id"])
        if tag == "a" and "href" in named:
            self.links.append(named["href"])
        if tag == "img" and "src" in named:
            self.links.append(named["src"])
        self.in_title = tag == "h1" and not self.title

    def handle_data(self, data):
        if self.in_title:
            self.title += data

    def handle_endtag(self, tag):
        if tag == "h1":
            self.in_title = False


def place_of(source):
    """Where a page of the tree comes in the site."""
    if source == START:
        return "index.html"
    return source[:-len(".md")] + ".html" if source.endswith(".md") else source


def is_outside(link):
    return bool(urllib.parse.urlsplit(link).scheme)


class Site:
    def __init__(self, folder):
        self.folder = folder
        self.wrong = []
        self.pages = {}  # source: (body, Page)
        self.files = set()
        self.linked = {START}
        waiting = [START, *sorted(str(p.relative_to(ROOT)) for p in
                                  [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")] if p.name != START)]
        for source in waiting:
            self.read(source, waiting)

    def read(self, source, waiting):
        if source in self.pages:
            return
        body = markdown.markdown((ROOT / source).read_text(), output_format="html",
                                 extensions=["tables", "fenced_code", "toc", "sane_lists"])
        page = Page(body)
        self.pages[source] = (body, page)
        for link in page.links:
            target = self.target_of(source, link)
            if target is None:
                continue
            if not (ROOT / target).exists():
                self.wrong.append(f"{source} links to {link}, which is not there")
            elif target.endswith(".md"):
                self.linked.add(target)
                waiting.append(target)
            elif (ROOT / target).is_file():
                self.files.add(target)

    def target_of(self, source, link):
        """The file of the tree that a link leads to; None for places elsewhere and in the page."""
        path = urllib.parse.unquote(urllib.parse.urlsplit(link).path)
        if is_outside(link) or not path:
            return None
        target = posixpath.normpath(posixpath.join(posixpath.dirname(source), path))
        # A folder is explained by its own page.
        if (ROOT / target).is_dir() and (ROOT / target / START).exists():
            return posixpath.join(target, START)
        return target

    def check_anchors(self):
        for source, (_, page) in self.pages.items():
            for link in page.links:
                anchor = urllib.parse.unquote(urllib.parse.urlsplit(link).fragment)
                if is_outside(link) or not anchor:
                    continue
                target = self.target_of(source, link) or source
                if target in self.pages and anchor not in self.pages[target][1].anchors:
                    self.wrong.append(f"{source} links to {link}, which has no such heading")
        for source in self.pages:
            if source not in self.linked:
                self.wrong.append(f"no page links to {source}")

    def written(self, source):
        body, page = self.pages[source]
        here = posixpath.dirname(place_of(source)) or "."
        for link in set(page.links):
            target = self.target_of(source, link)
            if target is None:
                continue
            parts = urllib.parse.urlsplit(link)
            there = posixpath.relpath(place_of(target), here)
            new = urllib.parse.quote(there) + (f"#{parts.fragment}" if parts.fragment else "")
            body = body.replace(f'href="{html.escape(link)}"', f'href="{new}"')
        entries = [(place_of(s), self.pages[s][1].title) for s in self.pages
                   if "/" not in s or s.startswith("docs/")]
        entries.append((API, "The public header"))
        links = "".join(f'<a href="{posixpath.relpath(place, here)}">{html.escape(title)}</a>'
                        for place, title in entries)
        return (f'<!DOCTYPE html><html lang="en"><head><meta charset="utf-8">'
                f'<meta name="viewport" content="width=device-width">'
                f"<title>{html.escape(page.title)}</title><style>{STYLE}</style></head>"
                f"<body><nav>{links}</nav><main>{body}</main></body></html>\n")

    def write(self):
        self.check_anchors()
        if self.wrong:
            return
        shutil.rmtree(self.folder, ignore_errors=True)
        for source in self.pages:
            place = self.folder / place_of(source)
            place.parent.mkdir(parents=True, exist_ok=True)
            place.write_text(self.written(source))
        for source in self.files:
            (self.folder / source).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / source, self.folder / source)
        self.write_api()
        self.check_written()

    def write_api(self):
        settings = (ROOT / "docs/Doxyfile").read_text() + f'OUTPUT_DIRECTORY = "{self.folder}"\n'
        done = subprocess.run(["doxygen", "-"], input=settings, cwd=ROOT, capture_output=True, text=True,
                              check=False)
        if done.returncode != 0 or done.stderr:
            self.wrong.append("doxygen: " + done.stderr)

    def check_written(self):
        """Every link of every page, as a browser follows it."""
        for place in self.folder.rglob("*.html"):
            page = Page(place.read_text())
            for link in page.links:
                path = urllib.parse.unquote(urllib.parse.urlsplit(link).path)
                if is_outside(link) or not path:
                    continue
                if not (place.parent / path).exists():
                    self.wrong.append(f"{place.relative_to(self.folder)} links to {link}, which is not there")


def main(folder):
    site = Site(pathlib.Path(folder).resolve())
    site.write()
    for line in site.wrong:
        print(line, file=sys.stderr)
    if not site.wrong:
        print(f"{len(site.pages)} pages and {len(site.files)} files in {folder}")
    return 1 if site.wrong else 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1]))
