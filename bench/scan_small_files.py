#!/usr/bin/env python3
"""Times velainspect scan over 10,000 small files, and tells its largest memory.
Usage: scan_small_files.py [--build FOLDER] [--jobs N] [--files N]

The files are copies of tests/data/text.m4a in a scratch folder. The first run warms the cache of the system;
the second one counts. Fails when 10,000 files take 20 s or more, or when the memory passes 64 MB, whatever
the number of files.
"""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
FILES = 10_000
MOST_SECONDS = 20.0  # for so many files, with two processors
MOST_MEGABYTES = 64


def run(command, output):
    """Returns the seconds that a command takes, and the megabytes that it holds at most."""
    start = time.perf_counter()
    with open(output, "wb") as out:
        process = subprocess.Popen(command, stdout=out, stderr=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)  # it has been waited for
    if process.returncode != 0:
        sys.exit(f"scan_small_files.py: the scan ended with {process.returncode}")
    return time.perf_counter() - start, usage.ru_maxrss / 1024


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--files", type=int, default=FILES)
    options = parser.parse_args()
    program = options.build / "inspect/velainspect"
    if not program.exists():
        sys.exit(f"scan_small_files.py: {program} is not built; name the build with --build")
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch) / "files"
        folder.mkdir()
        song = (ROOT / "tests/data/text.m4a").read_bytes()
        for i in range(options.files):
            (folder / f"{i:06}.m4a").write_bytes(song)
        lines = pathlib.Path(scratch) / "lines.jsonl"
        command = [program, "scan", folder, "--sorted", "--jobs", str(options.jobs)]
        run(command, lines)
        seconds, megabytes = run(command, lines)
        opened = lines.read_text().count('"outcome":"plays"')
    if opened != options.files:
        sys.exit(f"scan_small_files.py: {opened} of {options.files} files were opened")
    bound = MOST_SECONDS * options.files / FILES
    print(f"{options.files} files of {len(song)} bytes, {options.jobs} jobs, warm cache: {seconds:.2f} s "
          f"(bound {bound:.0f} s), {megabytes:.0f} MB (bound {MOST_MEGABYTES} MB)")
    return 1 if seconds >= bound or megabytes >= MOST_MEGABYTES else 0


if __name__ == "__main__":
    sys.exit(main())
