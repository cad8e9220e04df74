"""The figures of the benchmarks, their bounds, and the table that shows both.

f5 fits into the blocks of the read cache, so that its floor for a seek is one small copy; its seeks are
told without a bound but the one over libavformat."""
import dataclasses
import math
import re
import statistics

# Of a packet: instructions, and time over the floor.
PACKET_INSTRUCTIONS = {"f1": 620, "f2": 620, "f4": 550, "f3": 510}
PACKET_TIME = {"f1": 2.0, "f4": 2.0, "f2": 1.6, "f5": 2.6, "f3": 3.6}
LONG_FILES = ("f1", "f2", "f3", "f4")
HEAP_OVER_MOVIE_BOX = 1.05
HEAP_BESIDES = 96_000
# From here on the constant cost of an open no longer counts in the growth.
GROWTH_FROM = 256 * 1024


class Table:
    """Lines of a name, a value and a bound. A figure without a bound is only told."""

    def __init__(self, write=print):
        self.write = write
        self.past = []
        self.subject = ""

    def heading(self, text):
        self.subject = text
        self.write(f"\n{text}")

    def add(self, name, value, bound=None, digits=0):
        shown = f"{value:,.{digits}f}"
        if bound is None:
            self.write(f"  {name:<58} {shown:>14}")
            return
        holds = value <= bound
        if not holds:
            self.past.append(f"{self.subject}: {name}")
        self.write(f"  {name:<58} {shown:>14}  at most {bound:>10,.{digits}f}  "
                   f"{'pass' if holds else 'FAIL'}")


def add_instructions(table, file, found):
    table.heading(f"{file}: instructions")
    table.add("open", found["open"], 40_000 if file == "f5" else None)
    table.add("open, inside the plug-in", found["open inside"])
    table.add("open, floor", found["open floor"])
    table.add("open over floor", found["open"] / found["open floor"],
              1.4 if file in LONG_FILES else None, 2)
    table.add("packet", found["packet"], PACKET_INSTRUCTIONS.get(file))
    bounded = file in LONG_FILES
    table.add("first seek after an open, most", found["first seek most"], 6_000 if bounded else None)
    table.add("seek with its first packet, mean", found["seek mean"])
    table.add("seek with its first packet, most", found["seek most"], 4_500 if bounded else None)
    table.add("the same and nextStream, mean", found["seek and next mean"])
    table.add("the same and nextStream, most", found["seek and next most"],
              5_200 if bounded else None)
    table.add("second of two equal seeks, most", found["equal seek most"],
              150 if bounded else None)


def add_profile(table, file, found, lines=12):
    for work, functions in found.items():
        total = sum(cost for _, cost in functions)
        table.heading(f"{file}: where the {total:,.0f} instructions of one {work} go")
        for function, cost in functions[:lines]:
            # The arguments tell less than their length takes.
            name = function.replace("(anonymous namespace)::", "")
            name = re.sub(r"\(.*", "", name) or function
            table.write(f"  {name[:78]:<78} {cost:>14,.0f} {100 * cost / total:>5.1f} %")


def add_memory(table, file, found):
    table.heading(f"{file}: memory")
    movie_box, heap = found["moov"], found["heap"]
    table.add("movie box, bytes", movie_box)
    most = HEAP_OVER_MOVIE_BOX * movie_box + HEAP_BESIDES
    table.add("heap after an open, bytes", heap, most)
    table.add("heap over movie box", heap / movie_box, None, 3)
    table.add("heap less movie box, bytes", heap - movie_box)
    # What the first use of a table adds counts too.
    table.add("heap after playing and seeking, bytes", found["heap_after_seeks"], most)
    table.add("allocations of an open", found["open_allocations"])
    table.add("allocations of all packets", found["packet_allocations"], 0)
    table.add("allocations of 2,000 seeks", found["seek_allocations"])


def times(benchmarks):
    """{(subject, file): {side: [nanoseconds of each round]}} from Google Benchmark's JSON. Processor
    time, as other work on the machine must not count; of packets the time of one."""
    found = {}
    for run in benchmarks:
        subject, file, side, round_number = run["name"].split("/")[:4]
        scale = {"ns": 1, "us": 1e3, "ms": 1e6}[run["time_unit"]]
        time = run["cpu_time"] * scale
        if "items_per_second" in run:
            time = 1e9 / run["items_per_second"]
        rounds = found.setdefault((subject, file), {}).setdefault(side, {})
        rounds[int(round_number)] = time
    return {key: {side: [rounds[n] for n in sorted(rounds)] for side, rounds in sides.items()}
            for key, sides in found.items()}


def paired_ratio(sides, over):
    """The median of the ratios of rounds, each of which measured both sides one after the other."""
    return statistics.median(a / b for a, b in zip(sides["ours"], sides[over], strict=True))


def add_times(table, subject, file, sides):
    table.heading(f"{file}: time of {subject}, ns (medians of {len(sides['ours'])} rounds)")
    for side, values in sides.items():
        table.add(side, statistics.median(values))
    bound = {"packets": PACKET_TIME.get(file),
             "seek": 1.5 if file in LONG_FILES else None}.get(subject)
    table.add("ours over floor", paired_ratio(sides, "floor"), bound, 2)
    if "libavformat" in sides:
        table.add("ours over libavformat", paired_ratio(sides, "libavformat"),
                  0.5 if subject == "seek" else None, 3)


def slope(points):
    """The exponent b of y = a x^b, fitted to the logarithms of the points."""
    logs = [(math.log(x), math.log(y)) for x, y in points]
    mean_x = statistics.fmean(x for x, _ in logs)
    mean_y = statistics.fmean(y for _, y in logs)
    return (sum((x - mean_x) * (y - mean_y) for x, y in logs)
            / sum((x - mean_x) ** 2 for x, _ in logs))


@dataclasses.dataclass
class GrowthPoint:
    """One size of sample tables: the bytes of the movie box and of the heap after an open, the
    instructions of the open, and the nanoseconds of its sides."""

    movie_box: int
    heap: int
    instructions: int
    times: dict


def add_growth(table, points):
    table.heading("growth over the sample tables, per byte of the movie box")
    table.write(f"  {'movie box, bytes':>16} {'heap':>10} {'instructions':>14} {'ns':>8} "
                f"{'ns of the floor':>17}")
    medians = {side: [statistics.median(point.times[side]) for point in points]
               for side in ("ours", "floor")}
    for i, point in enumerate(points):
        size = point.movie_box
        table.write(f"  {size:>16,} {point.heap / size:>10.3f} {point.instructions / size:>14.3f} "
                    f"{medians['ours'][i] / size:>8.3f} {medians['floor'][i] / size:>17.3f}")

    def exponent(values):
        return slope([(point.movie_box, value) for point, value in zip(points, values)
                      if point.movie_box >= GROWTH_FROM])

    table.add("exponent of the heap", exponent([p.heap for p in points]), 1.02, 3)
    table.add("exponent of the instructions", exponent([p.instructions for p in points]), 1.02, 3)
    # Memory is slower than the processor's caches, for the floor as well: bare copies of growing size
    # are past 1 by what that costs on this machine.
    floor = exponent(medians["floor"])
    table.add("exponent of the time, floor", floor, None, 3)
    table.add("exponent of the time", exponent(medians["ours"]), max(floor, 1) + 0.05, 3)


def grown(committed, measured, allowed=0.03):
    """The names whose figure grew by more than the allowed part, or that only one side has."""
    names = sorted(set(committed) | set(measured))
    return [name for name in names
            if name not in committed or name not in measured
            or measured[name] > committed[name] * (1 + allowed)]
