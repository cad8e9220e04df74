#!/usr/bin/env python3
"""Tells which lines and branches of the plug-in's folders the tests and the fuzz inputs reach.

Usage: coverage.py [--list] [--no-build] [INPUTS ...]

Builds the preset `coverage` (clang), runs the tests of the four folders and replays the fuzz inputs;
each of INPUTS is a folder named after a target (fuzz_file, ...) with further inputs for it. Prints a
table. Lines count as llvm-cov counts them, but for those that hold a closing brace only; a condition
that is constant in every instance of its code is no branch.

What is not reached stands with its reason in scripts/unreached_code.tsv: a file, the text of a line,
why. Places that are missing there are printed, and so are lines of that list that are reached now or
gone. --list prints every place that is not reached. Exits with 1 below 99.5 % of lines or 98 % of
branches, and when the list is not right.
"""
import argparse
import collections
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/coverage"
FOLDERS = ["platform", "hal", "atomkit", "frontend"]
TESTS = ["platform_tests", "hal_base_tests", "hal_container_tests", "hal_text_tests",
         "atomkit_core_tests", "atomkit_timing_tests", "atomkit_meta_tests",
         "frontend_session_tests", "frontend_delivery_tests", "plugin_tests"]
TARGETS = {"fuzz_file": "file", "fuzz_host": "host", "fuzz_tables": "tables",
           "fuzz_metadata": "metadata", "fuzz_movie": "file", "fuzz_lists": "helpers",
           "fuzz_streams": "helpers", "fuzz_text": "helpers"}
WANTED = {"lines": 99.5, "branches": 98.0}
EXPLAINED = ROOT / "scripts/unreached_code.tsv"


def checked(command, on_failure=sys.exit, **more):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", **more)
    if done.returncode:
        on_failure(f"{' '.join(map(str, command))}\n{done.stdout[-3000:]}")


def program(name):
    return next(path for path in BUILD.rglob(name) if path.is_file() and os.access(path, os.X_OK))


def build():
    checked(["cmake", "--preset", "coverage"], cwd=ROOT)
    checked(["cmake", "--build", "--preset", "coverage", "--target", "make_seeds",
             "vela_splitter_mp4", *TESTS, *TARGETS], cwd=ROOT)


def run_all(further):
    profiles = BUILD / "profiles"
    shutil.rmtree(profiles, ignore_errors=True)
    environment = {**os.environ, "LLVM_PROFILE_FILE": str(profiles / "%m-%p.profraw")}
    seeds = BUILD / "seeds"
    checked([program("make_seeds"), seeds], env=environment)
    for test in TESTS:
        # What a failing test reaches counts all the same; that it fails is told. What the counters
        # import is not the plug-in's.
        checked([program(test), "--gtest_brief=1", "--gtest_filter=-Imports.*"], on_failure=print, env=environment)
    for target, kind in TARGETS.items():
        more = [folder for folder in further if folder.name == target]
        checked([program(target), seeds / kind, ROOT / "tests/data", "--as-is",
                 ROOT / "fuzz/corpus" / target, *more], env=environment)
    merged = BUILD / "all.profdata"
    checked(["llvm-profdata-14", "merge", "-o", merged, *profiles.glob("*.profraw")])
    return merged


def llvm_cov(command, merged, *options):
    """What llvm-cov says of all programs together."""
    programs = [program(name) for name in (*TESTS, *TARGETS)] + [program("libvela_splitter_mp4.so")]
    objects = [word for path in programs[1:] for word in ("-object", path)]
    return subprocess.run(["llvm-cov-14", command, f"-instr-profile={merged}", *options, programs[0],
                           *objects],
                          stdout=subprocess.PIPE, text=True, errors="replace", check=True).stdout


def constant_conditions(merged):
    """(line, column) of each file's conditions that some instance of their code knows beforehand."""
    found = collections.defaultdict(set)
    name = None
    for line in llvm_cov("show", merged, "-show-branches=count").split("\n"):
        if line.startswith("/") and line.endswith(":"):
            name = os.path.relpath(line[:-1], ROOT)
        elif match := re.search(r"Branch \((\d+):(\d+)\): \[Folded", line):
            found[name].add((int(match[1]), int(match[2])))
    return found


def lines_of(segments):
    """The lines that hold code, with whether one was reached: the largest count of the regions that
    begin in a line and of the one that it lies in."""
    by_line = collections.defaultdict(list)
    for segment in segments:
        by_line[segment[0]].append(segment)
    lines = {}
    around = None  # the last segment before the line
    for number in range(min(by_line, default=0), max(by_line, default=0) + 1):
        here = by_line.get(number, [])
        starts = [count for _, _, count, counted, entry, gap in here if counted and entry and not gap]
        skipped = here and not here[0][3] and here[0][4]
        in_region = around is not None and around[3]
        if not skipped and (starts or in_region):
            lines[number] = max(starts + ([around[2]] if around else []))
        if here:
            around = here[-1]
    return lines


def missed_branches(branches, constant):
    """Sides that no instance of their code took: (line, column, side)."""
    taken = collections.defaultdict(lambda: [0, 0])
    for line, column, _, _, true_count, false_count, *_ in branches:
        taken[line, column][0] += true_count
        taken[line, column][1] += false_count
    taken = {place: counts for place, counts in taken.items() if any(counts) or place not in constant}
    missed = [(line, column, side) for (line, column), counts in sorted(taken.items())
              for side, count in zip(("true", "false"), counts) if count == 0]
    return missed, 2 * len(taken)


def explained_places():
    """The reasons of scripts/unreached_code.tsv by file and text."""
    rows = [line.split("\t") for line in EXPLAINED.read_text().split("\n")[1:] if line]
    return {(file, text): reason for file, text, reason in rows}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--no-build", action="store_true")
    parser.add_argument("inputs", nargs="*", type=pathlib.Path)
    arguments = parser.parse_args()
    if not arguments.no_build:
        build()
    merged = run_all([folder.resolve() for folder in arguments.inputs])
    files = json.loads(llvm_cov("export", merged))["data"][0]["files"]
    constant = constant_conditions(merged)
    explained = explained_places()

    totals = {folder: [0, 0, 0, 0] for folder in (*FOLDERS, "all")}
    places = []
    for file in files:
        name = os.path.relpath(file["filename"], ROOT)
        folder = name.split("/")[0]
        if folder not in FOLDERS:
            continue
        text = (ROOT / name).read_text().split("\n")
        lines = {number: count for number, count in lines_of(file["segments"]).items()
                 if text[number - 1].strip() != "}"}
        unreached = [number for number, count in lines.items() if count == 0]
        missed, sides = missed_branches(file["branches"], constant[name])
        for key in (folder, "all"):
            for i, value in enumerate((len(lines), len(unreached), sides, len(missed))):
                totals[key][i] += value
        places += [(name, text[line - 1].strip(), f"{name}:{line}:") for line in unreached]
        places += [(name, text[line - 1].strip(), f"{name}:{line}:{column}: never {side}:")
                   for line, column, side in missed]

    print(f"{'folder':10} {'lines':>7} {'reached':>9} {'branches':>9} {'reached':>9}")
    share = {}
    for folder, (lines, unreached, sides, missed) in totals.items():
        share = {"lines": 100 * (1 - unreached / max(1, lines)),
                 "branches": 100 * (1 - missed / max(1, sides))}
        print(f"{folder:10} {lines:7} {share['lines']:8.2f}% {sides:9} {share['branches']:8.2f}%")
    if arguments.list:
        for file, text, place in places:
            print(place, text)
    seen = {(file, text) for file, text, _ in places}
    wrong = [f"without a reason: {place} {text}" for file, text, place in places
             if (file, text) not in explained]
    wrong += [f"reached or gone, but listed: {file}: {text}" for file, text in explained
              if (file, text) not in seen]
    print(f"{len(seen)} different lines hold what is not reached; {len(wrong)} differences from the list")
    print(*wrong, sep="\n")
    return 0 if not wrong and all(share[key] >= WANTED[key] for key in WANTED) else 1


if __name__ == "__main__":
    sys.exit(main())
