#!/usr/bin/env python3
"""Checks that no #include points back up the list of rooms. Usage: check_includes.py [FOLDER]

A room is a folder of one subject. It includes its own headers, those of the rooms that its row
names, and the standard library. A new folder needs a row.
"""
import pathlib
import re
import sys

CORE = "atomkit/core/"
META = "atomkit/meta/"
READERS = [CORE + "tables", CORE + "streams", CORE + "containers"]
TIMING = [META + "timing", META + "codec", *READERS]
HAL = ["hal/text", "hal/streams", "hal/containers", "hal/memory"]
# What the plug-in tells is asked as the reference host asks it.
ASKING = ["host/failure.h", "host/item_report.h", "host/text.h"]
INSPECTED = ["cli", "frontend/vela_splitter.h", *ASKING, CORE + "movie", META + "tags", *TIMING]
ROOMS = {
    "platform/wince": [],
    "platform": ["platform/wince"],
    "hal/memory": ["platform"],
    "hal/containers": ["hal/memory", "platform"],
    "hal/streams": ["hal/containers", "hal/memory", "platform"],
    "hal/text": [*HAL[1:], "platform"],
    "hal": [*HAL, "platform"],
    CORE + "containers": [],
    CORE + "streams": [CORE + "containers"],
    CORE + "tables": [CORE + "streams", CORE + "containers"],
    META + "codec": [*READERS, "hal", *HAL],
    META + "timing": [META + "codec", *READERS],
    META + "tags": [*READERS, "hal", *HAL],
    CORE + "movie": [META + "tags", *TIMING],
    "frontend": [CORE + "movie", META + "tags", *TIMING, "hal", *HAL, "platform"],
    # The command line calls the commands, and these the rest of the host.
    "cli": [],
    "inspect": ["inspect/commands", *INSPECTED],
    "inspect/commands": ["inspect", *INSPECTED],
    "host": ["host/commands", "cli", "frontend/vela_splitter.h"],
    "host/commands": ["host", "cli", "frontend/vela_splitter.h"],
    "gst": ["frontend/vela_splitter.h"],
}
# The public header stands alone, so that a host needs no other file.
ALONE = ["frontend/vela_splitter.h"]

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def room_of(path):
    return str(pathlib.PurePosixPath(path).parent)


def allowed(includer, included):
    room = room_of(includer)
    if includer in ALONE:
        return False
    return room_of(included) in [room, *ROOMS[room]] or included in ROOMS[room]


def problems(root):
    """One sentence for every include that points the wrong way, and every folder without a row."""
    for top in sorted({room.split("/")[0] for room in ROOMS}):
        for file in sorted((root / top).rglob("*")):
            if file.suffix not in {".h", ".cpp"}:
                continue
            name = file.relative_to(root).as_posix()
            if room_of(name) not in ROOMS:
                yield f"{name}: {room_of(name)} has no row in the list of rooms"
                continue
            for included in INCLUDE.findall(file.read_text(encoding="utf-8")):
                if not (root / included).is_file():
                    yield f'{name}: "{included}" is not a path from the root of the repository'
                elif not allowed(name, included):
                    yield f'{name}: {room_of(name)} must not include "{included}"'


def main():
    here = pathlib.Path(__file__).resolve().parent.parent
    found = list(problems(pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else here))
    for problem in found:
        print(problem)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
