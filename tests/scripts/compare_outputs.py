#!/usr/bin/env python3
"""Runs the reference host over two builds of the plug-in and compares what it prints, byte by byte.

Usage: compare_outputs.py --reference "COMMAND" --other "COMMAND" [--jobs N] FILE...

A command is a program with its first arguments, for example "velahost --plugin libother.so". Every
file is named relatively, from its own folder, since the host prints the name that it was given.
Exit code 1 when an output or an exit code differs.
"""
import argparse
import concurrent.futures
import pathlib
import shlex
import subprocess
import sys
import time

COMMANDS = [["info", "--json"], ["packets", "--json"], ["seek", "--json", "--to", "0.7"],
            ["seek", "--json", "--to", "61.5"]]


def run(command, arguments, file):
    done = subprocess.run(shlex.split(command) + arguments + [file.name], cwd=file.parent,
                          capture_output=True, timeout=300, check=False)
    return done.returncode, done.stdout, done.stderr


def compare(reference, other, arguments, file):
    """None when both print the same; else what differs."""
    expected, actual = run(reference, arguments, file), run(other, arguments, file)
    if expected[0] != actual[0]:
        return (f"exit code {actual[0]} instead of {expected[0]}: "
                f"{actual[2].decode(errors='replace').strip()}")
    if expected[1] != actual[1]:
        return f"{len(actual[1])} bytes printed, {len(expected[1])} expected, and not the same"
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--reference", required=True)
    parser.add_argument("--other", required=True)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("files", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    files = [f.resolve() for f in options.files]
    start = time.monotonic()
    work = [(arguments, file) for file in files for arguments in COMMANDS]
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        results = list(pool.map(
            lambda w: compare(options.reference, options.other, w[0], w[1]), work))
    differing = 0
    for (arguments, file), difference in zip(work, results):
        if difference:
            differing += 1
            print(f"{' '.join(arguments)} {file.name}: {difference}")
    print(f"{len(work)} outputs of {len(files)} files compared, {differing} differ "
          f"({time.monotonic() - start:.0f} s)")
    return 1 if differing else 0


if __name__ == "__main__":
    sys.exit(main())
