#!/usr/bin/env python3
"""Times `velahost info`, ffprobe and mediainfo over the same files and prints their ratios.
Usage: compare_tools.py [--build FOLDER] [--files N] [--rounds N] [FOLDER ...]

Takes the media of tests/data and of the folders (of $VELA_CORPUS without any), in turn until there are N (40).
Each tool is started once for each file. What counts is its processor time, start included, and the best of
the rounds, so that a busy machine changes little. The ratios are those of the sums. Fails when another tool
is faster.
"""
import argparse
import itertools
import os
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent


def media(folders):
    found = [file for folder in folders for file in sorted(pathlib.Path(folder).iterdir())
             if file.suffix in (".mp4", ".m4a", ".m4b", ".m4v", ".3gp")]
    if not found:
        sys.exit(f"compare_tools.py: no media in {', '.join(map(str, folders))}")
    return found


def seconds(command):
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, _, usage = os.wait4(process.pid, 0)
    process.returncode = 0  # it has been waited for
    return usage.ru_utime + usage.ru_stime


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release")
    parser.add_argument("--files", type=int, default=40)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("folders", nargs="*")
    options = parser.parse_args()
    host = options.build / "host/velahost"
    if not host.exists():
        sys.exit(f"compare_tools.py: {host} is not built; name the build with --build")
    corpus = os.environ.get("VELA_CORPUS")
    folders = [ROOT / "tests/data", *(options.folders or ([corpus] if corpus else []))]
    files = list(itertools.islice(itertools.cycle(media(folders)), options.files))
    tools = {"velahost info": [str(host), "info"], "ffprobe": ["ffprobe", "-show_format", "-show_streams",
                                                            "-show_chapters"], "mediainfo": ["mediainfo"]}
    for name in [name for name, command in tools.items() if not shutil.which(command[0])]:
        print(f"{name} is not installed")
        del tools[name]
    sums = dict.fromkeys(tools, 0.0)
    for file in files:
        best = dict.fromkeys(tools, float("inf"))
        for _ in range(options.rounds):
            for name, command in tools.items():
                best[name] = min(best[name], seconds([*command, str(file)]))
        for name in tools:
            sums[name] += best[name]
    own = sums["velahost info"]
    print(f"{len(files)} files, each tool started for each; processor time, best of {options.rounds} rounds")
    for name, total in sums.items():
        print(f"{name:14} {total * 1000 / len(files):8.2f} ms a file {total / own:7.1f} times")
    return 1 if min(sums.values()) < own else 0


if __name__ == "__main__":
    sys.exit(main())
