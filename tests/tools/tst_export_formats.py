#!/usr/bin/env python3
"""Exports a session with norvex-cli in every format for other programs, reads the files with what Python brings along,
and compares each value with what tools/norvex_read.py finds in the session itself, bit for bit.
usage: tst_export_formats.py TOOLS_FOLDER PROGRAMS_FOLDER EXAMPLE_SESSION"""

import contextlib
import csv
import json
import math
import os
import re
import shutil
import sqlite3
import struct
import sys
import unittest

from programs import norvex_read, run_cli, SessionCase

example = sys.argv[3]

FIELDS = {"voltage_V": "voltage", "current_real_A": "current_real", "current_imaginary_A": "current_imaginary",
          "frequency_Hz": "frequency", "pulses": "pulses", "pulse_period_us": "pulse_period"}
for n in "12":
    FIELDS[f"slot{n}_on_time_us"] = f"on_time_{n}"
    for what, unit in (("voltage", "V"), ("current", "A")):
        FIELDS[f"slot{n}_{what}_{unit}"] = f"{what}_avg_{n}"
        for edge in ("max", "min"):
            FIELDS[f"slot{n}_{what}_{edge}_{unit}"] = f"{what}_{edge}_{n}"
for counter in norvex_read.COUNTERS:
    FIELDS[f"events_{counter}"] = counter

ODD_SERIAL = 'NX,0 ="2"'
ODD = (1 / 3, 5e-324, -1.7976931348623157e308, 1e-300, -0.0, math.nan, math.inf, 123456789.125)


def cli(*arguments, code=0):
    result = run_cli(*arguments, code=code)
    return result.stdout.decode() + result.stderr.decode()


def bits(value):
    """What tells apart even zeros, None for what is no number."""
    if isinstance(value, int):
        return value
    return struct.pack(">d", value) if value is not None and math.isfinite(value) else None


def read_lines(path):
    """Line protocol as (measurement, tags, fields, time in ns)."""
    points = []
    with open(path, encoding="utf-8", newline="\n") as file:
        for line in file:
            head, fields, time = re.fullmatch(r"((?:[^ \\]|\\.)+) ([^ ]+) (-?\d+)\n", line).groups()
            measurement, *tags = re.split(r"(?<!\\),", head)
            tags = {name: re.sub(r"\\([,= ])", r"\1", value)
                    for name, value in (re.split(r"(?<!\\)=", tag, maxsplit=1) for tag in tags)}
            values = {}
            for field in fields.split(","):
                name, value = field.split("=")
                values[name] = int(value[:-1]) if value.endswith("i") else float(value)
            points.append((measurement, tags, values, int(time)))
    return points


class Formats(SessionCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        shutil.copytree(example, cls.folder)
        folder, = (name for name in os.listdir(cls.folder) if os.path.isdir(os.path.join(cls.folder, name)))
        block = os.path.join(cls.folder, folder, "block_1.norvexdata")
        with open(block, "r+b") as file:  # odd voltages into the first records
            for i, value in enumerate(ODD):
                file.seek(12 + 196 * i + 16)
                file.write(struct.pack(">d", value))
        # A second sensor with a name that separates cells everywhere.
        shutil.copytree(os.path.join(cls.folder, folder), os.path.join(cls.folder, "second"))
        session = os.path.join(cls.folder, "index.norvex_session")
        with open(session, encoding="utf-8", newline="") as file:
            text = file.read()
        line, = re.findall(r"^sensor;.*\n", text, re.M)
        second = f"sensor;second;{ODD_SERIAL};" + line.split(";", 3)[3]
        with open(session, "w", encoding="utf-8", newline="") as file:
            file.write(text.replace("Sensor Data;1", "Sensor Data;2").replace(line, line + second))
        cls.session = norvex_read.read_session(cls.folder)
        cls.sensor, cls.second = cls.session.sensors
        cls.serial = cls.sensor.serial

    def export(self, name, *arguments):
        out = os.path.join(self.home, name)
        cli("export", self.folder, "--out", out, *arguments)
        return out

    def rows(self, path):
        with open(path, encoding="utf-8", newline="") as file:
            return list(csv.DictReader(file))

    def database(self, path):
        connection = sqlite3.connect(f"file:{path}?mode=ro", uri=True)
        connection.row_factory = sqlite3.Row
        return contextlib.closing(connection)

    def test_samples_are_the_same_in_every_format(self):
        tidy = self.rows(self.export("all.csv", "--format", "tidy", "--sensor", self.serial))
        with self.database(self.export("all.sqlite", "--format", "sqlite")) as database:
            stored = database.execute("SELECT * FROM samples WHERE sensor = 1 ORDER BY time_us").fetchall()
        points = [point for point in read_lines(self.export("all.lp", "--format", "line"))
                  if point[0] == "norvex_samples" and point[1]["sensor"] == self.serial]
        expected = self.sensor.samples
        self.assertEqual([len(expected)] * 3, [len(tidy), len(stored), len(points)])
        for sample, row, record, (_, _, fields, time) in zip(expected, tidy, stored, points):
            self.assertEqual((int(row["time_us"]), record["time_us"], time),
                             (sample.time, sample.time, sample.time * 1000))
            for column, name in FIELDS.items():
                value = getattr(sample, name)
                kind = type(value)
                self.assertEqual(bits(kind(row[column]) if row[column] else None), bits(value), column)
                self.assertEqual(bits(fields.get(column)), bits(value), column)
                found = record[column]
                if value == 0 or value == math.inf:  # the database knows one zero, and infinity is none of our numbers
                    self.assertIn(found, (0, None), column)
                else:
                    self.assertEqual(bits(found), bits(value), column)
            self.assertEqual(set(FIELDS) | {"current_A", "time_utc", "time_us"}, set(row))

    def test_events_waveforms_runs_and_steps(self):
        out = self.export("rest.csv", "--format", "tidy", "--sensor", self.serial)
        with self.database(self.export("rest.sqlite", "--format", "sqlite")) as database:
            self.assertEqual([tuple(row) for row in database.execute("SELECT id, serial, chamber FROM sensors")],
                             [(1, self.serial, self.sensor.chamber), (2, ODD_SERIAL, self.second.chamber)])
            events = database.execute("SELECT time_us, type, first_voltage_V, peak_voltage_V, last_voltage_V FROM events "
                                      "WHERE sensor = 2 ORDER BY time_us").fetchall()
            points = database.execute("SELECT e.time_us, w.time_us, w.voltage_V, w.current_real_A FROM waveforms w "
                                      "JOIN events e USING (event) WHERE sensor = 1").fetchall()
            runs = database.execute("SELECT start_us, end_us FROM runs WHERE sensor = 1 ORDER BY 1").fetchall()
            steps = database.execute("SELECT s.* FROM steps s JOIN runs USING (run) WHERE sensor = 1").fetchall()
            self.assertEqual(database.execute("PRAGMA foreign_key_check").fetchall(), [])
            self.assertEqual(database.execute("PRAGMA integrity_check").fetchone()[0], "ok")
            plan = " ".join(row["detail"] for row in database.execute(
                "EXPLAIN QUERY PLAN SELECT * FROM waveforms JOIN events USING (event) "
                "WHERE sensor = 1 AND events.time_us > 5"))
            self.assertNotIn("SCAN", plan)
        expected = [(e.time, p.time, p.voltage, p.current_real) for e in self.sensor.events for p in e.waveform]
        self.assertGreater(len(expected), 10)
        self.assertEqual(sorted(map(tuple, points)), sorted(expected))
        self.assertEqual([tuple(row) for row in events],
                         [(e.time, e.type, e.first.voltage, e.peak.voltage, e.last.voltage)
                          for e in self.second.events])
        self.assertEqual(sorted((int(row["event_time_us"]), int(row["time_us"]), float(row["voltage_V"]),
                                 float(row["current_real_A"])) for row in self.rows(out[:-4] + ".waveforms.csv")),
                         sorted(expected))
        expected = [(run.first.time, run.last.time) for run in self.sensor.runs]
        self.assertEqual([tuple(row) for row in runs], expected)
        table = self.rows(out[:-4] + ".runs.csv")
        self.assertEqual([(int(row["start_us"]), int(row["end_us"])) for row in table], expected)
        means = {(point.time, point.voltage) for run in self.sensor.runs for point in run.waveform}
        self.assertTrue({(step["time_us"], step["voltage_V"]) for step in steps} <= means)
        self.assertEqual([(int(row["run"]), int(row["step"]), float(row["voltage_V"]))
                          for row in self.rows(out[:-4] + ".steps.csv")],
                         [(step["run"], step["step"], step["voltage_V"]) for step in steps])

    def test_names_do_not_break_a_file(self):
        out = self.export("odd.csv", "--format", "tidy", "--sensor", ODD_SERIAL)
        with open(out[:-4] + ".meta.json", encoding="utf-8") as file:
            self.assertEqual(json.load(file)["sensor"], ODD_SERIAL)
        tags = [point[1] for point in read_lines(self.export("odd.lp", "--format", "line"))]
        self.assertEqual({tag["sensor"] for tag in tags}, {self.serial, ODD_SERIAL})

    def test_bins_and_chosen_quantities(self):
        out = self.export("bins.csv", "--format", "tidy", "--sensor", self.serial, "--bin", "1s",
                          "--quantities", "voltage_V,pulses,events_E11", "--no-events", "--no-rfon")
        self.assertFalse(os.path.exists(out[:-4] + ".events.csv"))
        bins = {}
        for sample in self.sensor.samples:
            bins.setdefault(sample.time // 1000000 * 1000000, []).append(sample)
        rows = self.rows(out)
        self.assertEqual([int(row["time_us"]) for row in rows], sorted(bins))
        for row in rows:
            samples = bins[int(row["time_us"])]
            volts = [sample.voltage for sample in samples if math.isfinite(sample.voltage)]
            self.assertEqual(int(row["samples"]), len(samples))
            self.assertEqual((float(row["voltage_V_min"]), float(row["voltage_V_max"])), (min(volts), max(volts)))
            self.assertTrue(math.isclose(float(row["voltage_V_mean"]), math.fsum(volts) / len(volts), rel_tol=1e-9))
            self.assertEqual(int(row["pulses_max"]), max(sample.pulses for sample in samples))
            self.assertEqual(int(row["events_E11"]), sum(sample.E11 for sample in samples))
            self.assertEqual(len(row), 3 + 3 + 3 + 1)

    def test_one_run(self):
        out = self.export("run.csv", "--format", "tidy", "--sensor", self.serial, "--run", "2")
        run = self.sensor.runs[1]
        self.assertEqual([int(row["time_us"]) for row in self.rows(out)],
                         [s.time for s in self.sensor.samples if run.first.time <= s.time <= run.last.time])
        self.assertEqual(len(self.rows(out[:-4] + ".runs.csv")), 1)
        said = cli("export", self.folder, "--sensor", self.serial, "--run", "3", "--format", "tidy", "--out", out,
                   "--force", code=1)
        self.assertIn("no run 3, only 2", said)

    def test_a_file_is_replaced_as_a_whole_or_not_at_all(self):
        out = self.export("twice.sqlite", "--format", "sqlite")
        cli("export", self.folder, "--out", out, "--format", "sqlite", code=14)
        cli("export", self.folder, "--out", out, "--format", "sqlite", "--force")
        missing = os.path.join(self.home, "nowhere", "a.sqlite")
        self.assertIn("Unable to create file", cli("export", self.folder, "--out", missing, "--format", "sqlite",
                                                   code=14))
        left = [name for name in os.listdir(self.home) if "tmp" in name or "journal" in name]
        self.assertEqual(left, [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
