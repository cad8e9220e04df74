#!/usr/bin/env python3
"""Tells which lines and branches of the plug-in's folders the tests and the fuzz inputs reach.

Usage: coverage.py [--list] [--no-build] [INPUTS ...]

Builds the preset `coverage` (clang), runs the tests of the four folders and replays the fuzz inputs;
each of INPUTS is a folder named after a target (fuzz_file, ...) with further inputs for it. Prints a
table. --list also prints every place that is not reached: FILE:LINE and the text, or FILE:LINE:COLUMN
and the side of a branch. Exits with 1 below 99.5 % of lines or 98 % of branches.
"""
import argparse
import collections
import json
import os
import pathlib
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
        # What a failing test reaches counts all the same; that it fails is told.
        checked([program(test), "--gtest_brief=1"], on_failure=print, env=environment)
    for target, kind in TARGETS.items():
        more = [folder for folder in further if folder.name == target]
        checked([program(target), seeds / kind, ROOT / "tests/data", "--as-is",
                 ROOT / "fuzz/corpus" / target, *more], env=environment)
    merged = BUILD / "all.profdata"
    checked(["llvm-profdata-14", "merge", "-o", merged, *profiles.glob("*.profraw")])
    return merged


def measured(merged):
    """The report of all programs together, file by file."""
    programs = [program(name) for name in (*TESTS, *TARGETS)] + [program("libvela_splitter_mp4.so")]
    objects = [word for path in programs[1:] for word in ("-object", path)]
    report = subprocess.run(["llvm-cov-14", "export", f"-instr-profile={merged}", programs[0],
                             *objects], stdout=subprocess.PIPE, check=True).stdout
    return json.loads(report)["data"][0]["files"]


def lines_of(segments):
    """The lines that hold code, with whether one was reached."""
    lines = collections.OrderedDict()
    for (line, _, count, counted, entry, _), following in zip(segments, segments[1:]):
        if not counted:
            continue
        for number in range(line, following[0] + (following[1] > 1)):
            if number == line or number < following[0]:
                lines[number] = max(lines.get(number, 0), count)
    return lines


def missed_branches(branches):
    """Sides that no instance of their code took: (line, column, side)."""
    taken = collections.defaultdict(lambda: [0, 0])
    for line, column, _, _, true_count, false_count, *_ in branches:
        taken[line, column][0] += true_count
        taken[line, column][1] += false_count
    missed = [(line, column, side) for (line, column), counts in sorted(taken.items())
              for side, count in zip(("true", "false"), counts) if count == 0]
    return missed, 2 * len(taken)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--no-build", action="store_true")
    parser.add_argument("inputs", nargs="*", type=pathlib.Path)
    arguments = parser.parse_args()
    if not arguments.no_build:
        build()
    files = measured(run_all([folder.resolve() for folder in arguments.inputs]))

    totals = {folder: [0, 0, 0, 0] for folder in (*FOLDERS, "all")}
    places = []
    for file in files:
        name = os.path.relpath(file["filename"], ROOT)
        folder = name.split("/")[0]
        if folder not in FOLDERS:
            continue
        text = (ROOT / name).read_text().split("\n")
        lines = lines_of(file["segments"])
        unreached = [number for number, count in lines.items() if count == 0]
        missed, sides = missed_branches(file["branches"])
        for key in (folder, "all"):
            for i, value in enumerate((len(lines), len(unreached), sides, len(missed))):
                totals[key][i] += value
        places += [f"{name}:{line}: {text[line - 1].strip()}" for line in unreached]
        places += [f"{name}:{line}:{column}: never {side}: {text[line - 1].strip()}"
                   for line, column, side in missed]

    print(f"{'folder':10} {'lines':>7} {'reached':>9} {'branches':>9} {'reached':>9}")
    share = {}
    for folder, (lines, unreached, sides, missed) in totals.items():
        share = {"lines": 100 * (1 - unreached / max(1, lines)),
                 "branches": 100 * (1 - missed / max(1, sides))}
        print(f"{folder:10} {lines:7} {share['lines']:8.2f}% {sides:9} {share['branches']:8.2f}%")
    if arguments.list:
        print(*places, sep="\n")
    return 0 if all(share[key] >= WANTED[key] for key in WANTED) else 1


if __name__ == "__main__":
    sys.exit(main())
