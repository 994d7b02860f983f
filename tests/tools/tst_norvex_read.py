#!/usr/bin/env python3
"""Lets norvex-cli record from the simulated sensor and reads the files with tools/norvex_read.py, which knows of them
only what docs/formats.md says. usage: tst_norvex_read.py TOOLS_FOLDER PROGRAMS_FOLDER"""

import contextlib
import csv
import decimal
import json
import math
import os
import struct
import subprocess
import sys
import time
import unittest

from programs import norvex_read, program, run_cli, SessionCase


@contextlib.contextmanager
def simulated_sensor(*options):
    sensor = subprocess.Popen([program("norvex-sensor-sim"), *options], stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL)
    try:
        yield sensor.stdout.readline().decode().split()[-1]
    finally:
        sensor.kill()
        sensor.communicate()


def record_until_killed(folder, address):
    """A recorder that is killed when its journal has taken something."""
    recorder = subprocess.Popen([program("norvex-cli"), "record", "--session", folder, "--sensor", address],
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    journal = os.path.join(folder, "journal", "00000001.norvexjournal")
    for _ in range(400):
        time.sleep(0.05)
        if os.path.exists(journal) and os.path.getsize(journal) > 1000000:
            break
    recorder.kill()
    recorder.wait()


def six_digits(value):
    """As the export writes a number: %g, ties away from zero."""
    context = decimal.Context(prec=6, rounding=decimal.ROUND_HALF_UP)
    return f"{float(context.create_decimal(value)):g}"


def single(value):
    return struct.unpack("f", struct.pack("f", value))[0]


def data_rows(path, first_cell):
    """The rows below the one whose first cell is given."""
    with open(path, encoding="utf-8", newline="") as file:
        rows = list(csv.reader(file, delimiter=";"))
    return rows[next(i for i, row in enumerate(rows) if row and row[0] == first_cell) + 1:]


class Reading(SessionCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        with simulated_sensor("--rate", "500", "--run-length", "2", "--pause-length", "9", "--speed", "6",
                              "--preload", "5000,2") as address:
            record_until_killed(cls.folder, address + ",Etch 1")
            cls.killed = norvex_read.read_session(cls.folder)
            cls.killed_info = json.loads(run_cli("info", cls.folder, "--json").stdout)
            run_cli("record", "--session", cls.folder, "--for", "2", "--sensor", address)
        cls.info = json.loads(run_cli("info", cls.folder, "--json").stdout)
        cls.session = norvex_read.read_session(cls.folder)
        cls.sensor = cls.session.sensors[0]

    def test_the_journal_of_a_killed_recorder_holds_what_the_program_finds_in_it(self):
        found, = (sensor.summary() for sensor in self.killed.sensors)
        expected, = self.killed_info["sensors"]
        for key in ("blocks", "runs", "damaged"):  # what a save makes of the journal
            del found[key], expected[key]
        self.assertEqual(found, expected)
        self.assertGreater(found["samples"], 1000)

    def test_the_saved_session_holds_what_info_says(self):
        self.assertEqual([sensor.summary() for sensor in self.session.sensors], self.info["sensors"])
        self.assertEqual(self.session.problems + self.sensor.problems, [])
        for what in ("samples", "events", "runs"):
            self.assertGreater(self.sensor.summary()[what], 0, what)

    def test_index_and_files_agree(self):
        with open(os.path.join(self.folder, self.sensor.folder, "index.dat"), "rb") as file:
            index = norvex_read.Index(file.read().decode("utf-8"))
        self.assertTrue(index.complete)
        self.assertEqual(sorted((time, kind) for _, time, kind in index.events),
                         sorted((e.time, e.type) for e in self.sensor.events + self.sensor.runs))
        for name, first, last in index.blocks:
            with open(os.path.join(self.folder, self.sensor.folder, name), "rb") as file:
                samples, problem = norvex_read.read_block(file.read())
            self.assertIsNone(problem)
            self.assertEqual((samples[0].time, samples[-1].time), (first, last))

    def test_values_are_those_of_the_export(self):
        out = os.path.join(self.home, "all.vi.csv")
        run_cli("export", self.folder, "--out", out)
        rows = data_rows(out, "Date Time")
        self.assertEqual(len(rows), len(self.sensor.samples))
        for row, sample in zip(rows, self.sensor.samples):
            current = math.hypot(single(sample.current_real), single(sample.current_imaginary))
            self.assertEqual(row[1], six_digits(sample.voltage))
            self.assertTrue(math.isclose(float(row[2]), current, rel_tol=1e-5, abs_tol=1e-9), (row, sample))
        cells = [row[i:i + 6] for row in data_rows(out.replace(".vi.", ".events."), "Type")
                 for i in range(0, len(row) - 5, 6)]
        found = sorted((int(c[3]), c[4]) for c in cells if c[3])
        expected = sorted((point.time - event.time, six_digits(point.voltage))
                          for event in self.sensor.events for point in event.waveform)
        different = [pair for pair in zip(found, expected) if pair[0] != pair[1]]
        self.assertEqual((len(found), different[:5]), (len(expected), []))
        runs = data_rows(out.replace(".vi.", ".rfon."), "Start time")
        self.assertEqual([int(row[2]) for row in runs],
                         [run.last.time - run.first.time for run in self.sensor.runs])

    def test_damage_is_told_and_the_rest_is_read(self):
        folder = os.path.join(self.folder, self.sensor.folder)
        name = next(name for name in sorted(os.listdir(folder)) if name.endswith(".norvexdata"))
        with open(os.path.join(folder, name), "rb") as file:
            data = file.read()
        whole, _ = norvex_read.read_block(data)
        for cut, left in ((len(data) - 1, len(whole) - 1), (12 + 196 * 3, 3), (12, 0), (11, 0)):
            samples, problem = norvex_read.read_block(data[:cut])
            self.assertEqual(len(samples), left)
            self.assertTrue(problem)
        name = next(name for name in os.listdir(folder) if name.endswith(".norvexevent"))
        with open(os.path.join(folder, name), "rb") as file:
            data = file.read()
        for bad in (data[:-1], data + b"x", b"\0\0\0\5" + data[4:]):
            self.assertRaises(norvex_read.FormatError, norvex_read.read_event, bad)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
