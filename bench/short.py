#!/usr/bin/env python3
"""The short form: instructions inside the plug-in for two small files, beside those of figures.json.

    short.py --build FOLDER [--update]

FOLDER is a build of the preset `bench`. Fails when a figure grew by more than 3 %; --update writes
what was measured into figures.json instead. The figures belong to one compiler: with another one, a
figure that grew is told and nothing fails.
"""
import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import callgrind
import figures

HERE = pathlib.Path(__file__).resolve().parent
COMMITTED = HERE / "figures.json"
FILES = ("short-f1", "short-f4")
# Work of the C library differs between machines and is left out.
KEPT = {"open inside": "open", "packet": "packet", "first seek most": "first seek",
        "seek mean": "seek", "seek and next mean": "seek and nextStream",
        "equal seek most": "second of two equal seeks"}


def compiler_of(build):
    """The compiler that the build was configured with, for example "gcc 12.2.0"."""
    cache = (build / "CMakeCache.txt").read_text()
    path = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.+)$", cache, re.MULTILINE)[1]
    described = subprocess.run([path, "--version"], check=True, capture_output=True,
                               text=True).stdout.splitlines()[0]
    version = subprocess.run([path, "-dumpfullversion"], check=True, capture_output=True,
                             text=True).stdout.strip()
    return f"{'clang' if 'clang' in described else 'gcc'} {version}"


def measure(build):
    plugin = build / "frontend/libvela_splitter_mp4.so"
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([HERE / "make_media.sh", "--short", folder], check=True,
                       env={**os.environ, "VELA_WRITE_MEDIA": str(build / "bench/write_media")})
        found = {}
        for file in FILES:
            all_of_it = callgrind.instructions(build / "bench/vela_callgrind", plugin,
                                               f"{folder}/{file}.mp4")
            for measured, shown in KEPT.items():
                found[f"{file}: {shown}"] = round(all_of_it[measured])
        return found


def compared(committed, found, write=print):
    """Prints both columns. @return the names of what grew too far"""
    write(f"{'instructions inside the plug-in':<44} {'committed':>12} {'now':>12}")
    worse = figures.grown(committed, found)
    for name in sorted(set(committed) | set(found)):
        before, now = committed.get(name), found.get(name)
        change = f"{100 * (now - before) / before:+7.2f} %" if before and now else ""
        write(f"{name:<44} {before or '-':>12} {now or '-':>12} {change:>10}"
              f"{'  GREW' if name in worse else ''}")
    return worse


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--update", action="store_true")
    chosen = parser.parse_args()
    build = chosen.build.resolve()
    compiler = compiler_of(build)
    found = measure(build)
    if chosen.update:
        unfinished = COMMITTED.with_suffix(".part")
        unfinished.write_text(json.dumps({"compiler": compiler, "figures": found}, indent=2) + "\n")
        unfinished.replace(COMMITTED)
        print(f"{COMMITTED} rewritten")
        return 0
    committed = json.loads(COMMITTED.read_text())
    worse = compared(committed["figures"], found)
    if not worse:
        return 0
    print(f"{len(worse)} grew by more than 3 %. If that is meant: bench/short.py --build "
          f"{chosen.build} --update")
    if compiler != committed["compiler"]:
        print(f"WARNING: nothing fails, as this is {compiler} and the figures are of "
              f"{committed['compiler']}")
        return 0
    return 1


if __name__ == "__main__":
    sys.exit(main())
