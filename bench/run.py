#!/usr/bin/env python3
"""Measures the plug-in over the media of make_media.sh and prints every figure beside its bound.

    run.py --tools FOLDER --plugin FILE --media FOLDER [--files f1,f4] [--only instructions,times,...]

Fails when a figure is past its bound. run.sh builds and makes what is needed first.
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

PARTS = ("instructions", "times", "memory", "growth", "size", "profile")


def media_files(folder):
    """{name: path} of f1 to f5, in order."""
    return {path.stem: str(path) for path in sorted(folder.glob("f[1-5].m*"))}


def table_files(folder):
    paths = sorted(folder.glob("tables-*.mp4"), key=lambda path: int(path.stem.split("-")[1]))
    return {path.stem: str(path) for path in paths}


def measured_times(tools, plugin, files, rounds):
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "times.json"
        # Google Benchmark tells about the machine on the error channel, too.
        done = subprocess.run(
            [tools / "vela_times", plugin, str(rounds),
             *(f"{name}={path}" for name, path in files.items()),
             f"--benchmark_out={out}", "--benchmark_out_format=json"],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, check=False)
        if done.returncode != 0:
            raise SystemExit(f"vela_times:\n{done.stderr}")
        return figures.times(json.loads(out.read_text())["benchmarks"])


def measured_memory(tools, plugin, path, *options):
    done = subprocess.run([tools / "vela_memory", *options, plugin, path], check=True,
                          stdout=subprocess.PIPE)
    return json.loads(done.stdout)


def section_bytes(program, library):
    """Text and data of a library, as `size` counts them."""
    out = subprocess.run([program, library], check=True, capture_output=True, text=True).stdout
    text, data = map(int, re.match(r"\s*(\d+)\s+(\d+)", out.splitlines()[1]).groups())
    return text, data


def add_sizes(table, plugin, armv4):
    table.heading("library")
    text, data = section_bytes("size", plugin)
    table.add("text and data, bytes", text + data, 100 * 1024)
    with tempfile.TemporaryDirectory() as folder:
        stripped = pathlib.Path(folder) / "stripped"
        subprocess.run(["strip", "-o", stripped, plugin], check=True)
        table.add("stripped file, bytes", stripped.stat().st_size, 108 * 1024)
    if armv4.exists():
        table.add("text of the ARMv4 build, bytes", section_bytes("arm-none-eabi-size", armv4)[0],
                  77_000)
    else:
        table.write(f"  the ARMv4 build is left out: there is no {armv4}")


def arguments():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tools", type=pathlib.Path, required=True)
    parser.add_argument("--plugin", type=pathlib.Path, required=True)
    parser.add_argument("--media", type=pathlib.Path, required=True)
    parser.add_argument("--armv4", type=pathlib.Path, required=True,
                        help="the device's image before it is converted; left out where it is not built")
    parser.add_argument("--files", type=lambda text: text.split(","), default=None,
                        help="only these of f1 to f5")
    parser.add_argument("--only", type=lambda text: text.split(","), default=PARTS,
                        help="some of " + ",".join(PARTS))
    parser.add_argument("--rounds", type=int, default=9, help="of each time")
    chosen = parser.parse_args()
    if wrong := set(chosen.only) - set(PARTS):
        parser.error(f"no part {', '.join(sorted(wrong))}")
    return chosen


def main():
    chosen = arguments()
    table = figures.Table()
    plugin = str(chosen.plugin)
    files = media_files(chosen.media)
    if chosen.files:
        files = {name: path for name, path in files.items() if name in chosen.files}
    if not files:
        raise SystemExit(f"run.py: no media in {chosen.media}")
    print(f"{plugin}, load {os.getloadavg()[0]:.2f}")
    if "instructions" in chosen.only:
        for name, path in files.items():
            found = callgrind.instructions(chosen.tools / "vela_callgrind", plugin, path)
            figures.add_instructions(table, name, found)
    if "profile" in chosen.only:
        for name, path in files.items():
            figures.add_profile(table, name,
                                callgrind.profile(chosen.tools / "vela_callgrind", plugin, path))
    if "memory" in chosen.only:
        for name, path in files.items():
            figures.add_memory(table, name, measured_memory(chosen.tools, plugin, path))
    if "times" in chosen.only:
        found = measured_times(chosen.tools, plugin, files, chosen.rounds)
        for (subject, name), sides in sorted(found.items()):
            figures.add_times(table, subject, name, sides)
    if "growth" in chosen.only:
        tables = table_files(chosen.media)
        found = measured_times(chosen.tools, plugin, tables, min(chosen.rounds, 5))
        points = []
        for name, path in tables.items():
            memory = measured_memory(chosen.tools, plugin, path, "--open-only")
            opened = callgrind.run(chosen.tools / "vela_callgrind", plugin, path, "open")[0]
            points.append(figures.GrowthPoint(memory["moov"], memory["heap"], opened.total(),
                                              found["open", name]))
        figures.add_growth(table, points)
    if "size" in chosen.only:
        add_sizes(table, plugin, chosen.armv4)
    print(f"\n{len(table.past)} past their bound" + "".join(f"\n  {name}" for name in table.past))
    return 1 if table.past else 0


if __name__ == "__main__":
    sys.exit(main())
