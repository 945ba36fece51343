"""What scripts/bench makes of the results of a run."""

import json
import math
import pathlib
import sys
import unittest
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "scripts" / "lib"))

import bench_chart
import bench_data
import bench_goals
import bench_report
import bench_start


def run(name, time, **more):
    """A line of Google Benchmark's, in nanoseconds of the processor."""
    return {"name": name, "run_name": name, "run_type": "iteration",
            "cpu_time": time, "real_time": 1000 * time, "time_unit": "ns",
            **more}


def read(*runs, service="Service"):
    return bench_data.read(service, json.dumps({"benchmarks": runs}))


def sized(peer, sizes, time, name="Sort"):
    return [run(f"{name}/{peer}/{size}", time(size)) for size in sizes]


class NamesTest(unittest.TestCase):

    def test_a_name_is_case_peer_and_argument(self):
        for name, expected in (
                ("Sort/Novu", ("Sort", "Novu", "", False)),
                ("Sort/Novu/10", ("Sort", "Novu", "10", False)),
                ("Sort/Novu/10/20", ("Sort", "Novu", "10/20", False)),
                ("Sort/a + b/10", ("Sort", "a + b", "10", False)),
                ("Sort", ("Sort", "", "", False))):
            self.assertEqual(expected, bench_data.parse_name(name), name)

    def test_what_google_benchmark_appends_is_no_argument(self):
        for name, expected in (
                ("Sort/Novu/real_time", ("Sort", "Novu", "", True)),
                ("Sort/Novu/7/manual_time", ("Sort", "Novu", "7", True)),
                ("Sort/Novu/7/iterations:3/repeats:2/min_time:0.1",
                 ("Sort", "Novu", "7", False)),
                ("Sort/Novu/7/process_time/real_time",
                 ("Sort", "Novu", "7", True)),
                ("Sort/Novu/process_time", ("Sort", "Novu", "", False)),
                ("Sort/Novu/7/threads:2", ("Sort", "Novu", "7/threads:2",
                                           False))):
            self.assertEqual(expected, bench_data.parse_name(name), name)


class ReadTest(unittest.TestCase):

    def test_median_and_spread_are_of_all_repetitions(self):
        [case] = read(*(run("Sort/Novu", time) for time in (10, 40, 20)))
        self.assertAlmostEqual(20e-9, case.own.median)
        self.assertAlmostEqual(1.5, case.own.spread)

    def test_time_is_the_processors_unless_the_name_says_the_clocks(self):
        [processor] = read(run("Sort/Novu", 10))
        [clock] = read(run("Sort/Novu/real_time", 10))
        self.assertAlmostEqual(10e-9, processor.own.median)
        self.assertAlmostEqual(10e-6, clock.own.median)

    def test_units_of_time(self):
        for unit, expected in (("ns", 1e-9), ("us", 1e-6), ("ms", 1e-3),
                               ("s", 1)):
            [case] = read(run("Sort/Novu", 3, time_unit=unit))
            self.assertAlmostEqual(3 * expected, case.own.median)

    def test_aggregates_are_left_out(self):
        [case] = read(run("Sort/Novu", 10),
                      run("Sort/Novu", 99, run_type="aggregate"))
        self.assertEqual([10e-9], case.own.seconds)

    def test_throughput_is_that_of_the_median(self):
        [case] = read(*(run("Copy/Novu/1024", time,
                            bytes_per_second=1024e9 / time)
                        for time in (2, 4, 8)))
        self.assertAlmostEqual(256, case.own.throughput / 1e9)

    def test_what_has_the_same_case_and_argument_is_one(self):
        cases = read(run("Sort/Novu/1", 1), run("Sort/Other/1", 1),
                     run("Sort/Novu/2", 1), run("Find/Novu/1", 1))
        self.assertEqual([("Sort", "1", ["Novu", "Other"]),
                          ("Sort", "2", ["Novu"]), ("Find", "1", ["Novu"])],
                         [(case.name, case.argument, list(case.peers))
                          for case in cases])

    def test_the_order_is_that_of_the_source_and_of_sizes(self):
        cases = read(run("Find/B/9", 1, family_index=4),
                     run("Sort/B/100", 1, family_index=2),
                     run("Sort/B/20", 1, family_index=2),
                     run("Sort/A/20", 1, family_index=0),
                     run("Find/Novu/9", 1, family_index=3),
                     run("Sort/Novu/20", 1, family_index=1))
        self.assertEqual([("Sort", "20"), ("Sort", "100"), ("Find", "9")],
                         [(case.name, case.argument) for case in cases])
        self.assertEqual(["Novu", "A", "B"], list(cases[0].peers))

    def test_a_failed_peer_is_not_compared(self):
        [case] = read(run("Sort/Novu", 10), run("Sort/Slow", 30),
                      run("Sort/Wrong", 1),
                      run("Sort/Wrong", 1, error_occurred=True,
                          error_message="the result is another"))
        self.assertAlmostEqual(3, case.ratio())
        self.assertEqual(["Service: Sort/Wrong/: the result is another"],
                         bench_report.failures([case]))


class RatioTest(unittest.TestCase):

    def setUp(self):
        [self.case] = read(run("Sort/Novu", 10), run("Sort/Fast", 5),
                           run("Sort/Slow", 20))

    def test_it_is_to_the_fastest_peer(self):
        self.assertAlmostEqual(0.5, self.case.ratio())

    def test_it_is_to_the_fastest_of_those_wanted(self):
        self.assertAlmostEqual(2, self.case.ratio(("Slow",)))
        self.assertAlmostEqual(0.5, self.case.ratio(("Slow", "Fast")))

    def test_there_is_none_without_both(self):
        self.assertIsNone(self.case.ratio(("Absent",)))
        [alone] = read(run("Sort/Novu", 10))
        self.assertIsNone(alone.ratio())
        [other] = read(run("Sort/Other", 10))
        self.assertIsNone(other.ratio())


class GrowthTest(unittest.TestCase):

    def test_the_exponent_of_powers(self):
        sizes = (10, 100, 1000)
        for power in (0, 0.5, 1, 2):
            self.assertAlmostEqual(power, bench_data.exponent(
                sizes, [7 * size ** power for size in sizes]))

    def test_the_exponent_is_a_fit_by_least_squares(self):
        # The middle one weighs nothing where the sizes are evenly spaced.
        self.assertAlmostEqual(math.log10(4) / 2, bench_data.exponent(
            (1, 10, 100), (1, 50, 4)))

    def test_it_is_taken_over_the_three_largest_sizes(self):
        [growth] = bench_data.growths(read(
            *sized("Novu", (1, 10, 100, 1000),
                   lambda size: 1e9 if size == 1 else size ** 2),
            *sized("Other", (10, 100, 1000), lambda size: size)))
        self.assertEqual(("10", "100", "1000"), growth.sizes)
        self.assertAlmostEqual(2, growth.own)
        self.assertAlmostEqual(1, growth.best)

    def test_there_is_none_for_too_few_or_too_near_sizes(self):
        for sizes in ((10, 1000), (1990, 2100, 9999), (0, 10, 1000)):
            self.assertEqual([], bench_data.growths(read(
                *sized("Novu", sizes, lambda size: size + 1))))

    def test_what_is_not_linear_is_marked(self):
        def remark(service, name, own, best=None):
            return bench_report.growth_remark(
                bench_data.Growth(service, name, (), own, best))
        self.assertEqual("", remark("Service", "Sort", 1.1))
        self.assertEqual("", remark("Service", "Sort", 1.104))
        self.assertEqual("ABOVE", remark("Service", "Sort", 1.11))
        self.assertEqual("ABOVE", remark("Service", "Sort", 1.11, 1.1))
        self.assertEqual("ABOVE, and so is the peer's",
                         remark("Service", "Sort", 1.11, 1.12))
        self.assertEqual("fixed by the interface, [buffer-3]",
                         remark("Buffer", "AppendGrowing", 2))


class GoalsTest(unittest.TestCase):

    def judge(self, *runs, features=(), **goal):
        goal = {"service": "Service", "cases": "Sort",
                "ratios": bench_goals.plain(2), **goal}
        return bench_goals.judge(bench_goals.Goal(**goal), read(*runs),
                                 set(features))

    def test_met_from_the_ratio_on(self):
        for other, met in ((21, True), (20, True), (19, False)):
            verdict = self.judge(run("Sort/Novu", 10),
                                 run("Sort/Other", other))
            self.assertIs(met, verdict.met, other)

    def test_the_slowest_of_all_cases_decides(self):
        verdict = self.judge(
            run("Sort/Novu/1", 10), run("Sort/Other/1", 90),
            run("Find/Novu/2", 10), run("Find/Other/2", 15),
            run("Sort/Novu/3", 10), run("Sort/Other/3", 50),
            cases="Sort Find")
        self.assertEqual(("Find 2", "1.5", False),
                         (verdict.case, verdict.found, verdict.met))

    def test_other_services_are_left_out(self):
        self.assertIsNone(self.judge(run("Sort/Novu", 10),
                                     run("Sort/Other", 30),
                                     service="Another").met)

    def test_names_are_patterns(self):
        verdict = self.judge(
            run("SortAll/Novu", 10), run("SortAll/Other", 30),
            run("Resort/Novu", 10), run("Resort/Other", 1), cases="Sort*")
        self.assertEqual(("SortAll", True), (verdict.case, verdict.met))

    def test_arguments_outside_are_left_out(self):
        verdict = self.judge(
            run("Sort/Novu/1", 10), run("Sort/Other/1", 1),
            run("Sort/Novu/5", 10), run("Sort/Other/5", 30),
            run("Sort/Novu/9", 10), run("Sort/Other/9", 1), least=5, most=8)
        self.assertEqual(("Sort 5", True), (verdict.case, verdict.met))

    def test_the_first_line_whose_features_there_are_holds(self):
        levels = ((8, "fast new"), (4, "fast"), (2, ""))
        runs = run("Sort/Novu", 10), run("Sort/Other", 30)
        for features, wanted, met in ((("fast", "new"), "8", False),
                                      (("fast",), "4", False),
                                      (("new",), "2", True), ((), "2", True)):
            verdict = self.judge(*runs, features=features, ratios=levels)
            self.assertEqual((wanted, met), (verdict.wanted, verdict.met))

    def test_only_the_peers_named_count(self):
        verdict = self.judge(run("Sort/Novu", 10), run("Sort/Other", 30),
                             run("Sort/Faster", 1), peers=("Other",))
        self.assertIs(True, verdict.met)

    def test_a_peer_of_another_case(self):
        verdict = self.judge(
            run("Sort/Novu/7", 10), run("Find/Novu/7", 10),
            run("Find/Other/7", 25), run("Find/Other/6", 1), beside="Find")
        self.assertEqual(("2.5", True), (verdict.found, verdict.met))

    def test_a_limit_of_time(self):
        for limit, met in ((10, True), (9, False)):
            verdict = self.judge(run("Sort/Novu/1", 10), run("Sort/Novu/2", 8),
                                 nanoseconds=limit)
            self.assertEqual(("Sort 1", "10 ns", met),
                             (verdict.case, verdict.found, verdict.met))

    def test_what_did_not_run_is_neither_met_nor_missed(self):
        for verdict in (self.judge(), self.judge(run("Sort/Novu", 10)),
                        self.judge(nanoseconds=3),
                        self.judge(run("Find/Novu", 10),
                                   run("Find/Other", 90))):
            self.assertIsNone(verdict.met)
            self.assertIn("not measured", bench_report.goals_table([verdict]))

    def test_every_goal_has_a_line_for_every_processor(self):
        for goal in bench_goals.GOALS:
            self.assertTrue(goal.nanoseconds
                            or bench_goals.ratio_for(goal, set()), goal)


class TextTest(unittest.TestCase):

    def test_arguments_are_read_easily(self):
        for argument, rate, expected in (
                ("1000000", 0, "1,000,000"), ("10000", 0, "10,000"),
                ("9999", 0, "9999"),
                ("0", 1, "0 B"), ("43", 1, "43 B"), ("1023", 1, "1,023 B"),
                ("1024", 1, "1 KiB"), ("1536", 1, "1,536 B"),
                ("65536", 1, "64 KiB"), ("16777216", 1, "16 MiB"),
                ("", 0, ""), ("7/threads:2", 0, "7/threads:2")):
            [case] = read(run(f"Sort/Novu/{argument}", 1,
                              bytes_per_second=rate))
            self.assertEqual(expected, case.argument_text)

    def test_figures_have_three_digits(self):
        for seconds, expected in (
                (1.234e-9, "1.23 ns"), (12.34e-9, "12.3 ns"),
                (123.4e-9, "123 ns"), (1234e-9, "1.23 us"),
                (0.25, "250 ms"), (2.5, "2.50 s"), (1e-10, "0.10 ns")):
            self.assertEqual(expected, bench_report.time_text(seconds))
        [case] = read(run("Copy/Novu/8", 4, bytes_per_second=2.26e9))
        self.assertEqual("2.26 GB/s", bench_report.figure(case.own))

    def test_ratios_have_three_digits(self):
        for ratio, expected in ((None, "-"), (1, "1.00"), (0.5, "0.500"),
                                (25.04, "25.0"), (123.4, "123")):
            self.assertEqual(expected, bench_report.times(ratio))

    def test_a_service_shows_each_peer_and_the_best(self):
        text = bench_report.service_tables(read(
            run("Sort/Novu/8", 10), run("Sort/Other/8", 20),
            run("Sort/Other/8", 15), run("Sort/Other/8", 25)))
        self.assertEqual("\n".join((
            "| Case   |          Novu |          Other | x best |",
            "|--------|--------------:|---------------:|-------:|",
            "| Sort 8 | 10.0 ns (0 %) | 20.0 ns (50 %) |   2.00 |")), text)

    def test_a_table_without_rows_is_none(self):
        self.assertEqual("", bench_report.table(("Case", "Novu"), []))

    def test_other_peers_begin_another_table(self):
        text = bench_report.service_tables(read(
            run("Sort/Novu", 1), run("Sort/A", 1),
            run("Find/Novu", 1), run("Find/B", 1)))
        self.assertEqual(2, text.count("| Case"))
        self.assertIn("\n\n", text)

    def test_every_place_of_the_page_is_filled(self):
        self.assertEqual("a 1 @ b 2", bench_report.fill(
            "a @ONE@ @ b @TWO@", {"ONE": "1", "TWO": "2"}))
        with self.assertRaises(ValueError):
            bench_report.fill("@ONE@", {})
        with self.assertRaises(ValueError):
            bench_report.fill("", {"ONE": "1"})

    def test_the_page_has_a_place_for_every_part(self):
        bench_report.fill(bench_report.TEMPLATE.read_text(), dict.fromkeys((
            "CHARTS", "GOALS", "GROWTH", "GROWTH_LIMIT", "LIBRARY", "MACHINE",
            "START", "TABLES"), ""))


class StartTest(unittest.TestCase):

    def test_memory_is_read_from_the_kernels_table(self):
        self.assertEqual((3868, 2508), bench_start.memory_of(
            "00400000-7fff ---p 00000000 00:00 0  [rollup]\n"
            "Rss:                3868 kB\n"
            "Pss:                2508 kB\n"
            "Pss_Anon:            120 kB\n"))

    def test_the_table_is_beside_no_library(self):
        text = bench_report.start_table([
            bench_start.Start("Empty", 0.001, 100, 50),
            bench_start.Start("Novu", 0.003, 1200, 1000),
            bench_start.Start("GLib", 0.0005)])
        rows = [[cell.strip() for cell in line.split("|")[1:-1]]
                for line in text.splitlines()[2:]]
        self.assertEqual([
            ["no library", "1.00 ms", "-", "100 KiB", "50 KiB"],
            ["libNovu-Bases", "3.00 ms", "2.00 ms", "1,200 KiB", "1,000 KiB"],
            ["GLib", "500 us", "none", "-", "-"]], rows)

    def test_the_library_is_to_be_smaller_than_its_limit(self):
        limit = bench_goals.LIBRARY_BYTES
        self.assertIn("met", bench_report.library_size(limit - 1))
        self.assertIn("MISSED", bench_report.library_size(limit))
        self.assertIn("200 KiB,", bench_report.library_size(200 * 1024))


class ChartTest(unittest.TestCase):

    SVG = "{http://www.w3.org/2000/svg}"

    def bars(self, svg):
        return [bar for bar in
                xml.etree.ElementTree.fromstring(svg).iter(self.SVG + "rect")
                if bar.get("class") in ("own", "peer")]

    def widths(self, svg):
        return [float(bar.get("width")) for bar in self.bars(svg)]

    def test_bars_are_as_long_as_they_say(self):
        widths = self.widths(bench_chart.draw("<title>", "<axis>", [
            bench_chart.Group("a & b", [bench_chart.Bar("own", 4, "<4>"),
                                        bench_chart.Bar("peer", 1, "16")]),
            bench_chart.Group("c", [bench_chart.Bar("own", 2, "8")])]))
        self.assertAlmostEqual(4, widths[0] / widths[1], places=2)
        self.assertAlmostEqual(2, widths[0] / widths[2], places=2)
        self.assertEqual(
            bench_chart.WIDTH - bench_chart.LEFT - bench_chart.RIGHT,
            widths[0])

    def test_no_bar_overlaps_another(self):
        tops = [float(bar.get("y")) for bar in self.bars(bench_chart.draw(
            "title", "axis",
            [bench_chart.Group("a", 2 * [bench_chart.Bar("own", 1, "")])
             for _ in range(3)]))]
        self.assertEqual(6, len(tops))
        for above, below in zip(tops, tops[1:]):
            self.assertGreater(below - above, bench_chart.BAR)

    def test_an_axis_has_four_to_ten_parts(self):
        for largest in (0.3, 1, 1.7, 2.5, 9.99, 10, 26, 120, 5900):
            parts = largest / bench_chart.tick_distance(largest)
            self.assertTrue(3.9 < parts <= 10.01, (largest, parts))

    def test_a_chart_takes_its_cases_in_its_order(self):
        cases = read(*(run(f"{name}/{peer}/{size}", 1)
                       for name in ("Sort", "Find") for size in (1, 2)
                       for peer in ("Novu", "Other")),
                     run("Alone/Novu", 1))
        self.assertEqual(["Find 2", "Sort 1", "Sort 2"],
                         [case.label for case in bench_report.chosen_for((
                             "Service Find 2", "Service Sort",
                             "Service Alone", "Service Absent"), cases)])

    def test_lengths_are_speeds_beside_the_fastest_peer(self):
        cases = read(run("Sort/Novu", 5), run("Sort/Fast", 10),
                     run("Sort/Slow", 40))
        svg = bench_report.draw(bench_goals.Chart("name", "title", ()), cases)
        widths = self.widths(svg)
        self.assertAlmostEqual(2, widths[0] / widths[1], places=1)
        self.assertAlmostEqual(4, widths[1] / widths[2], places=1)
        self.assertEqual(["own", "peer", "peer"],
                         [bar.get("class") for bar in self.bars(svg)])
        self.assertIn(">Slow: 40.0 ns<", svg)

    def test_services_are_named_where_there_are_several(self):
        one = read(run("Sort/Novu", 5), run("Sort/Other", 5))
        two = read(run("Find/Novu", 5), run("Find/Other", 5), service="Second")
        chart = bench_goals.Chart("name", "title", ())
        self.assertIn(">Sort<", bench_report.draw(chart, one))
        both = bench_report.draw(chart, one + two)
        self.assertIn(">Service: Sort<", both)
        self.assertIn(">Second: Find<", both)

    def test_ratios_lead_away_from_one(self):
        svg = bench_chart.draw_ratios("title", "axis", [
            ("a & b", 4, ""), ("c", 0.25, ""), ("d", 16, ""), ("e", 1, "")])
        four, quarter, sixteen, one = self.bars(svg)
        start = float(four.get("x"))
        for bar in sixteen, one:
            self.assertEqual(start, float(bar.get("x")))
        self.assertAlmostEqual(
            start, float(quarter.get("x")) + float(quarter.get("width")), 0)
        width = float(four.get("width"))
        self.assertAlmostEqual(width, float(quarter.get("width")), 0)
        self.assertAlmostEqual(2 * width, float(sixteen.get("width")), 0)
        self.assertEqual(["own", "peer", "own", "own"],
                         [bar.get("class")
                          for bar in (four, quarter, sixteen, one)])
        self.assertIn(">a &amp; b<", svg)

    def test_ticks_of_ratios_enclose_them_and_one(self):
        for ratios, expected in (
                ((1,), [0.5, 1, 2]), ((1.9,), [0.5, 1, 2]),
                ((3, 0.4), [0.2, 0.5, 1, 2, 5]),
                ((30,), [0.5, 1, 2, 5, 10, 20, 50]),
                ((0.02,), [0.02, 0.05, 0.1, 0.2, 0.5, 1, 2])):
            self.assertEqual(expected, bench_chart.ratio_ticks(ratios))

    def test_the_overview_has_the_fastest_peer(self):
        cases = read(run("Digest/Novu/1048576", 5),
                     run("Digest/Slow/1048576", 50),
                     run("Digest/Fast/1048576", 10),
                     service="CryptoHashMd5")
        svg = bench_report.draw_overview(cases)
        self.assertEqual(1, len(self.bars(svg)))
        self.assertIn(">MD5, 1 MiB<", svg)
        self.assertIn(">2.00 x Fast<", svg)

    def test_every_row_of_the_overview_is_a_benchmark(self):
        for label, name in bench_goals.OVERVIEW:
            service, case, *_ = name.split(" ")
            source = bench_report.ROOT / f"benchmarks/{service}Bench.cpp"
            self.assertIn(f'"{case}/Novu', source.read_text(), label)


if __name__ == "__main__":
    unittest.main()
