"""Runs vela_callgrind and reads what callgrind writes."""
import collections
import pathlib
import re
import subprocess
import tempfile

# A dump that the program asked for names itself in this line.
_NAME = "desc: Trigger: Client Request: "
_OBJECT = re.compile(r"(c?)ob=\((\d+)\)(?: (.*))?$")
_FUNCTION = re.compile(r"(c?)fn=\((\d+)\)(?: (.*))?$")
# A place (a line number, or a distance from the last one) and its cost.
_COST = re.compile(r"[-+*\d]\S* (\d+)$")


class Dump:
    """One dump: `name`, and the instructions of each object and of each function, by itself, without
    those that it calls. Keys of `functions` are (object, function); objects go by their file name."""

    def __init__(self, name, objects, functions):
        self.name = name
        self.objects = objects
        self.functions = functions

    def total(self):
        return sum(self.objects.values())


def parse(lines):
    name = ""
    names = {"ob": {}, "fn": {}}  # a name is written out once, later its number stands for it
    place = {"ob": "", "fn": ""}
    objects, functions = collections.Counter(), collections.Counter()
    costs_of_a_call = False
    for line in lines:
        line = line.rstrip("\n")
        if line.startswith(_NAME):
            name = line[len(_NAME):]
        elif line.startswith("calls="):
            costs_of_a_call = True  # the next line has what the called function cost
        elif match := _OBJECT.match(line) or _FUNCTION.match(line):
            kind = "ob" if "ob=" in line[:4] else "fn"
            called, number, written = match.groups()
            if written is not None:
                names[kind][number] = written
            if not called:
                place[kind] = names[kind].get(number, "?")
        elif match := _COST.match(line):
            if not costs_of_a_call:
                object_name = pathlib.PurePosixPath(place["ob"]).name
                objects[object_name] += int(match[1])
                functions[object_name, place["fn"]] += int(match[1])
            costs_of_a_call = False
    return Dump(name, objects, functions)


def run(driver, plugin, media, phase):
    """The dumps of one phase, in their order."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "out"
        done = subprocess.run(
            ["valgrind", "--tool=callgrind", "--collect-atstart=no",
             f"--callgrind-out-file={out}", driver, plugin, media, phase],
            capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise SystemExit(f"{driver} {media} {phase}:\n{done.stderr}")
        parts = sorted(pathlib.Path(folder).glob("out.*"), key=lambda p: int(p.suffix[1:]))
        dumps = []
        for part in parts:
            with part.open() as lines:
                dumps.append(parse(lines))
        return [dump for dump in dumps if dump.name]


def instructions(driver, plugin, media):
    """What one file costs in instructions. All but the opens count the plug-in's own object alone, so
    memcpy and the host's work are left out; an open counts everything that the process does."""
    own = pathlib.Path(plugin).resolve().name

    def inside(dump):
        return dump.objects[own]

    opened = run(driver, plugin, media, "open")[0]
    floor = run(driver, plugin, media, "open-floor")[0]
    packets = run(driver, plugin, media, "packets")[0]
    count = int(packets.name.split()[1])
    seeks = run(driver, plugin, media, "seeks")
    first = [inside(dump) for dump in seeks if dump.name == "first"]
    plain = [inside(dump) for dump in seeks if dump.name == "seek"]
    following = [inside(dump) for dump in seeks if dump.name == "next"]
    again = [inside(dump) for dump in seeks if dump.name == "again"]
    both = [seek + after for seek, after in zip(plain, following)]
    return {
        "open": opened.total(),
        "open inside": inside(opened),
        "open floor": floor.total(),
        "packet": inside(packets) / count,
        "first seek most": max(first),
        "seek mean": sum(plain) / len(plain),
        "seek most": max(plain),
        "seek and next mean": sum(both) / len(both),
        "seek and next most": max(both),
        "equal seek most": max(again),
    }


def profile(driver, plugin, media):
    """{work: [(function, instructions of one piece of that work)]}, the dearest first: an open, a
    packet, a seek with the nextStream after it. What the functions call does not count; "(outside the
    plug-in)" is the C library and the host."""
    own = pathlib.Path(plugin).resolve().name

    def ranked(dumps, pieces):
        costs = collections.Counter()
        for dump in dumps:
            for (object_name, function), cost in dump.functions.items():
                costs[function if object_name == own else "(outside the plug-in)"] += cost
        return [(function, cost / pieces) for function, cost in costs.most_common()]

    packets = run(driver, plugin, media, "packets")
    seeks = [dump for dump in run(driver, plugin, media, "seeks") if dump.name in ("seek", "next")]
    return {"open": ranked(run(driver, plugin, media, "open"), 1),
            "packet": ranked(packets, int(packets[0].name.split()[1])),
            "seek and nextStream": ranked(seeks, len(seeks) / 2)}
