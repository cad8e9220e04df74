#!/usr/bin/env python3
"""Times velainspect scan over 10,000 small files. Usage: scan_small_files.py [--build FOLDER] [--jobs N]

The files are copies of tests/data/text.m4a in a scratch folder. The first run warms the cache of the system;
the second one counts. Fails when it takes 20 s or more.
"""
import argparse
import pathlib
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
FILES = 10_000
BOUND = 20.0  # seconds, with two processors


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release")
    parser.add_argument("--jobs", type=int, default=2)
    options = parser.parse_args()
    program = options.build / "inspect/velainspect"
    if not program.exists():
        sys.exit(f"scan_small_files.py: {program} is not built; name the build with --build")
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        song = (ROOT / "tests/data/text.m4a").read_bytes()
        for i in range(FILES):
            (folder / f"{i:05}.m4a").write_bytes(song)
        command = [program, "scan", folder, "--sorted", "--jobs", str(options.jobs)]
        for _ in range(2):
            start = time.perf_counter()
            done = subprocess.run(command, capture_output=True, text=True, check=True)
            taken = time.perf_counter() - start
    lines = done.stdout.count('"outcome":"plays"')
    if lines != FILES:
        sys.exit(f"scan_small_files.py: {lines} of {FILES} files were opened")
    print(f"{FILES} files of {len(song)} bytes, {options.jobs} jobs, warm cache: {taken:.2f} s (bound {BOUND:.0f} s)")
    return 1 if taken >= BOUND else 0


if __name__ == "__main__":
    sys.exit(main())
