"""The scripts of the benchmarks: what they read from callgrind and from Google Benchmark, and when they
complain."""
import math
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
import callgrind  # noqa: E402  (found through the line above)
import figures  # noqa: E402
import short  # noqa: E402

DUMP = """\
# callgrind format
desc: Trigger: Client Request: packets 3
events: Ir

ob=(1) /build/libplug.so
fl=(1) reader.cpp
fn=(1) Reader::read(void*)
10 5
+2 7
cob=(2) /lib/libc.so.6
cfi=(2) ???
cfn=(2) memcpy
calls=4 0
12 4000
* 2

fn=(3) Reader::seek()
20 100

ob=(2)
fl=(2)
fn=(2)
0 4000

ob=(1)
fl=(1)
fn=(1)
-3 1
totals: 4115
""".splitlines(keepends=True)


class Callgrind(unittest.TestCase):
    def setUp(self):
        self.dump = callgrind.parse(DUMP)

    def test_a_dump_is_named_by_the_request_for_it(self):
        self.assertEqual(self.dump.name, "packets 3")

    def test_an_object_counts_without_what_its_functions_call(self):
        self.assertEqual(self.dump.objects, {"libplug.so": 115, "libc.so.6": 4000})
        self.assertEqual(self.dump.total(), 4115)

    def test_a_function_that_comes_twice_is_added_up(self):
        self.assertEqual(self.dump.functions["libplug.so", "Reader::read(void*)"], 15)
        self.assertEqual(self.dump.functions["libplug.so", "Reader::seek()"], 100)

    def test_the_name_of_a_called_function_is_known_where_its_number_follows(self):
        self.assertEqual(self.dump.functions["libc.so.6", "memcpy"], 4000)


class Profile(unittest.TestCase):
    def test_a_function_shows_its_share_and_no_arguments(self):
        lines = []
        costs = [("atomkit::(anonymous namespace)::step(Cursor&, unsigned)", 30.0), ("seek", 10.0)]
        figures.add_profile(figures.Table(lines.append), "f1", {"packet": costs}, lines=1)
        self.assertIn("the 40 instructions of one packet", lines[0])
        self.assertEqual(lines[1].split(), ["atomkit::step", "30", "75.0", "%"])
        self.assertEqual(len(lines), 2)


class ThreePercent(unittest.TestCase):
    def test_a_figure_may_grow_by_three_percent(self):
        self.assertEqual(figures.grown({"a": 1000, "b": 1000}, {"a": 1030, "b": 500}), [])

    def test_a_figure_that_grows_by_more_is_named(self):
        self.assertEqual(figures.grown({"a": 1000, "b": 1000}, {"a": 1031, "b": 1000}), ["a"])

    def test_a_figure_that_only_one_side_has_is_named(self):
        self.assertEqual(figures.grown({"gone": 1, "both": 1}, {"both": 1, "new": 1}),
                         ["gone", "new"])

    def test_the_comparison_marks_what_grew(self):
        lines = []
        self.assertEqual(short.compared({"a": 100, "b": 100}, {"a": 104, "b": 90}, lines.append),
                         ["a"])
        self.assertIn("+4.00 %  GREW", lines[1])
        self.assertTrue(lines[2].endswith("-10.00 %"), lines[2])


def run(name, cpu, unit="us", rate=None):
    found = {"name": name + "/min_time:0.030", "cpu_time": cpu, "time_unit": unit}
    return found | ({"items_per_second": rate} if rate else {})


class Times(unittest.TestCase):
    def test_rounds_are_in_order_whatever_the_order_of_the_runs(self):
        found = figures.times([run("open/f1/ours/1", 3), run("open/f1/ours/0", 2),
                               run("open/f1/floor/0", 500, "ns")])
        self.assertEqual(found, {("open", "f1"): {"ours": [2000, 3000], "floor": [500]}})

    def test_a_packet_takes_what_its_rate_says(self):
        found = figures.times([run("packets/f1/ours/0", 70, "ms", rate=2e6)])
        self.assertEqual(found["packets", "f1"]["ours"], [500])

    def test_a_ratio_is_the_median_of_those_within_rounds(self):
        # A machine that was slow in one round was slow for both sides.
        sides = {"ours": [10, 1000, 12], "floor": [5, 500, 4]}
        self.assertEqual(figures.paired_ratio(sides, "floor"), 2)


class Bounds(unittest.TestCase):
    def setUp(self):
        self.lines = []
        self.table = figures.Table(self.lines.append)

    def test_a_figure_at_its_bound_holds(self):
        self.table.add("seek", 4500, 4500)
        self.assertEqual(self.table.past, [])
        self.assertTrue(self.lines[0].endswith("pass"))

    def test_a_figure_past_its_bound_is_told_with_its_subject(self):
        self.table.heading("f1: instructions")
        self.table.add("seek", 4501, 4500)
        self.assertEqual(self.table.past, ["f1: instructions: seek"])
        self.assertTrue(self.lines[-1].endswith("FAIL"))

    def test_a_figure_without_a_bound_never_fails(self):
        self.table.add("moov", 1e12)
        self.assertEqual(self.table.past, [])

    def test_the_heap_may_exceed_the_movie_box_by_a_twentieth_and_96_kilobytes(self):
        found = {"moov": 1_000_000, "heap": 1_146_000, "heap_after_seeks": 0,
                 "open_allocations": 0, "packet_allocations": 0, "seek_allocations": 0}
        figures.add_memory(self.table, "f1", found)
        self.assertEqual(self.table.past, [])
        for name in ("heap", "heap_after_seeks"):
            self.table.past.clear()
            figures.add_memory(self.table, "f1", found | {name: 1_146_001})
            self.assertEqual(len(self.table.past), 1, name)

    def test_one_allocation_in_a_delivery_fails(self):
        found = {"moov": 10, "heap": 10, "heap_after_seeks": 0, "open_allocations": 3,
                 "packet_allocations": 1, "seek_allocations": 0}
        figures.add_memory(self.table, "f5", found)
        self.assertEqual(self.table.past, ["f5: memory: allocations of all packets"])


class Growth(unittest.TestCase):
    def test_the_slope_is_the_exponent(self):
        for exponent in (0.5, 1, 2):
            points = [(x, 7 * x ** exponent) for x in (10, 100, 1000)]
            self.assertTrue(math.isclose(figures.slope(points), exponent))

    @staticmethod
    def past(time, constant=0.0):
        """What is past its bound when an open takes `constant` + size to the power of `time`."""
        table = figures.Table(lambda _: None)
        sizes = [2 ** n for n in range(10, 27, 2)]
        figures.add_growth(table, [
            figures.GrowthPoint(n, n, n, {"ours": [constant + float(n) ** time], "floor": [n]})
            for n in sizes])
        return table.past

    def test_quadratic_growth_is_past_the_bound_and_linear_growth_is_not(self):
        self.assertEqual(self.past(1), [])
        self.assertEqual(len(self.past(2)), 1)

    def test_the_constant_cost_of_small_files_does_not_hide_growth(self):
        self.assertEqual(len(self.past(1.4, constant=5e6)), 1)


if __name__ == "__main__":
    unittest.main()
