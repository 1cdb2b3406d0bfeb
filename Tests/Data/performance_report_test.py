#!/usr/bin/python3
"""Proves that the report of the benchmarks judges figures by their goals, says what could not be measured or judged,
and changes nothing but its tables.
"""

import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "Benchmarks"))

import report  # noqa: E402  (the path comes first)

SHOWS = report.Program("shows", "opening")
CATALOGUE = report.Program("catalogue-benchmark", "catalogue")
IDLE_MACHINE, BUSY_MACHINE = 0.02, 0.6


def figure(identifier, value, unit="ms", **more):
    return {"id": identifier, "what": f"what {identifier} is", "value": value, "unit": unit, **more}


def verdict(identifier, value, unit="ms", others=IDLE_MACHINE, **more):
    return report.verdict(figure(identifier, value, unit, **more), others)


class VerdictTest(unittest.TestCase):
    def test_a_goal_is_met_up_to_its_bound(self):
        self.assertEqual(verdict("show.p50", 4.2), "met")
        self.assertEqual(verdict("show.p50", 6), "met")
        self.assertEqual(verdict("idle.wake-ups", 0, ""), "met")

    def test_a_goal_is_missed_beyond_its_bound(self):
        self.assertEqual(verdict("show.p50", 6.01), "missed")
        self.assertEqual(verdict("idle.wake-ups", 1, ""), "missed")

    def test_growth_has_to_be_less_than_its_bound(self):
        self.assertEqual(verdict("memory.growth", 0.99, "MiB"), "met")
        self.assertEqual(verdict("memory.growth", 1.0, "MiB"), "missed")
        self.assertEqual(verdict("memory.growth", -2.0, "MiB"), "met")

    def test_a_figure_without_a_goal_is_not_judged(self):
        self.assertEqual(verdict("show.max", 100), "")
        self.assertEqual(report.goal_text("show.max", "ms"), "")

    def test_a_time_that_misses_its_goal_on_a_busy_machine_is_not_judged(self):
        self.assertEqual(verdict("show.p50", 7, others=BUSY_MACHINE),
                         "not judged: others kept the machine 60% busy")

    def test_a_time_that_reaches_its_goal_on_a_busy_machine_has_reached_it(self):
        self.assertEqual(verdict("show.p50", 5, others=BUSY_MACHINE), "met")

    def test_a_busy_machine_excuses_no_memory(self):
        self.assertEqual(verdict("memory.private-dirty", 17.0, "MiB", others=BUSY_MACHINE), "missed")

    def test_a_doubtful_figure_is_not_judged_even_where_it_reaches_its_goal(self):
        self.assertEqual(verdict("memory.pss-above-empty", 3.0, "MiB", doubt="a neighbour shares it"),
                         "not judged: a neighbour shares it")

    def test_every_goal_says_how_it_is_meant(self):
        self.assertEqual(report.goal_text("show.p50", "ms"), "at most 6 ms")
        self.assertEqual(report.goal_text("memory.growth", "MiB"), "less than 1 MiB")
        self.assertEqual(report.goal_text("idle.wake-ups", ""), "at most 0")


    def test_a_goal_without_a_figure_is_told(self):
        measured = [figure(identifier, 0) for identifier in report.GOALS if identifier != "show.p99"]
        outcome = report.Outcome(SHOWS, measured)
        self.assertEqual(report.without_figure([outcome]), ["show.p99"])


class OutputTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def outcome_of(self, script, program=SHOWS):
        path = self.folder / program.name
        path.write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
        path.chmod(0o755)
        return report.run(program, [path])

    def test_figures_and_notes_are_read(self):
        outcome = self.outcome_of("""echo progress >&2
            echo '{"figures": [{"id": "show.p50", "what": "w", "value": 4.5, "unit": "ms"}], "notes": ["n"]}'""")
        self.assertEqual(outcome.problem, "")
        self.assertEqual([found["value"] for found in outcome.figures], [4.5])
        self.assertEqual(outcome.notes, ["n"])
        self.assertEqual(report.rows(outcome), [("w", "4.50 ms", "at most 6 ms", "met")])

    def test_a_missing_program_is_told(self):
        outcome = report.run(SHOWS, [self.folder / "nowhere"])
        self.assertEqual(report.rows(outcome), [("`shows` is not there", "", "", "not measured")])

    def test_a_program_that_fails_gives_no_figures(self):
        outcome = self.outcome_of("""echo '{"figures": [{"id": "show.p50", "what": "w", "value": 1, "unit": "ms"}]}'
            exit 3""")
        self.assertEqual(report.rows(outcome), [("`shows` ended with status 3", "", "", "not measured")])

    def test_output_that_is_none_gives_no_figures(self):
        for output in ("", "true", "{}", "figures", "[1]"):
            with self.subTest(output):
                outcome = self.outcome_of(f"echo '{output}'")
                self.assertIn("cannot be read", outcome.problem)
                self.assertEqual(outcome.figures, [])

    def test_wanted_figures_are_taken_from_other_benchmarks(self):
        outcome = self.outcome_of("""echo '{"benchmarks": [
            {"name": "decode/iterations:5", "real_time": 9.5, "time_unit": "ms"},
            {"name": "other", "real_time": 1}]}'""", CATALOGUE)
        self.assertEqual([(found["id"], found["value"]) for found in outcome.figures], [("catalogue.decode", 9.5)])

    def test_a_benchmark_that_failed_is_no_figure(self):
        outcome = self.outcome_of("""echo '{"benchmarks": [
            {"name": "decode", "error_occurred": true, "error_message": "no font", "real_time": 0}]}'""", CATALOGUE)
        self.assertIn("no font", outcome.problem)

    def test_benchmarks_without_any_wanted_figure_are_a_problem(self):
        outcome = self.outcome_of("""echo '{"benchmarks": [{"name": "renamed", "real_time": 1}]}'""", CATALOGUE)
        self.assertIn("none of the figures", outcome.problem)


class TableTest(unittest.TestCase):
    def setUp(self):
        self.outcomes = [report.Outcome(SHOWS, [figure("show.p50", 7.25), figure("a|b", 12, "KiB")], ["a note"]),
                         report.Outcome(CATALOGUE, problem="is not there")]

    def test_the_table_for_the_terminal_has_every_row(self):
        lines = report.plain_table(self.outcomes).splitlines()
        self.assertEqual(len(lines), 4)
        self.assertRegex(lines[1], r"^what show\.p50 is +7\.25 ms  at most 6 ms  missed$")
        self.assertRegex(lines[3], r"^`catalogue-benchmark` is not there +not measured$")

    def test_the_written_table_has_rows_and_notes(self):
        self.assertEqual(report.written_table(self.outcomes).splitlines()[2:], [
            "| what show.p50 is | 7.25 ms | at most 6 ms | missed |",
            "| what a\\|b is | 12 KiB |  |  |",
            "| `catalogue-benchmark` is not there |  |  | not measured |",
            "",
            "- a note"])

    def test_only_the_tables_of_the_report_change(self):
        text = ("before\n<!-- table: a -->\n{}<!-- end -->\nbetween \\1\n"
                "<!-- table: b -->\n{}<!-- end -->\nafter\n")
        self.assertEqual(report.with_tables(text.format("old\nold\n", ""), {"a": "new \\1", "b": "other"}),
                         text.format("new \\1\n", "other\n"))

    def test_a_table_without_a_place_and_a_place_without_a_table_are_refused(self):
        text = "<!-- table: a -->\n<!-- end -->\n"
        for tables in ({}, {"b": "x"}, {"a": "x", "b": "y"}):
            with self.subTest(tables), self.assertRaises(ValueError):
                report.with_tables(text, tables)

    def test_the_report_has_a_place_for_every_table(self):
        outcomes = [report.Outcome(program, problem="is not there") for program in report.PROGRAMS]
        tables = report.tables_of(outcomes, [0.5, 1.5], "2024-02-03")
        text = report.with_tables(report.REPORT.read_text(encoding="utf-8"), tables)
        self.assertIn("| load average | 0.5 to 1.5,", text)
        self.assertIn("| `shows` is not there |", text)


class ProgramsTest(unittest.TestCase):
    def test_every_program_of_the_folder_has_its_place(self):
        scripts = {path.name for path in report.FOLDER.iterdir()
                   if path.is_file() and path.suffix == "" and path.stat().st_mode & 0o111}
        listed = {program.name for program in report.PROGRAMS if not program.name.endswith("-benchmark")}
        # How well it picks is what this one counts, for as long as is wanted.
        self.assertEqual(listed, scripts - {"soak"})

    def test_wanted_figures_are_of_listed_programs(self):
        self.assertLessEqual({taken.program for taken in report.TAKEN}, {program.name for program in report.PROGRAMS})

    def test_no_figure_is_wanted_twice(self):
        identifiers = [taken.identifier for taken in report.TAKEN]
        self.assertEqual(len(identifiers), len(set(identifiers)))


if __name__ == "__main__":
    unittest.main()
