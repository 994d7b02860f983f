#!/usr/bin/env python3
# Copyright 2026 Kelvaris. Part of Norvex, under its licence.
"""Reads what Norvex recorded, with nothing but Python's standard library. See docs/formats.md.

As a program:

    norvex_read.py SESSION [--json]                what the session holds, also what only its journal has yet
    norvex_read.py SESSION --csv SENSOR > file     the samples of one sensor, numbers in full

As a module:

    session = norvex_read.read_session("my-session")
    for sensor in session.sensors:
        print(sensor.serial, len(sensor.samples), [event.type for event in sensor.events])

Files are only read, never locked or changed. What is damaged is told in `problems`, and what is sound of it is used.
"""

import argparse
import csv
import json
import os
import re
import struct
import sys
from collections import namedtuple

EVENT_TYPES = ("E11", "E12", "E13", "E21", "E22", "E23", "E31", "E32", "E33", "NOTANEVENT", "E_PE", "SNAP", "E_ON")
RF_ON = EVENT_TYPES.index("E_ON")
SLOT = ("voltage_avg", "voltage_max", "voltage_min", "current_avg", "current_max", "current_min")
COUNTERS = ("E11", "E12", "E13", "E21", "E22", "E23", "E31", "E32", "E33", "EPE")

Sample = namedtuple("Sample", ["time", "frequency", "voltage", "current_real", "current_imaginary", "pulses",
                               "pulse_period", "on_time_1", *(f"{name}_1" for name in SLOT),
                               "on_time_2", *(f"{name}_2" for name in SLOT), *COUNTERS])
NO_PULSES = (0, 0.0, 0) + (0.0,) * 6
NO_SLOT_2 = (0,) + (0.0,) * 6
NO_COUNTERS = (0,) * len(COUNTERS)
RECORDS = {1: struct.Struct(">q4d"), 2: struct.Struct(">q4diid6d"), 3: struct.Struct(">q4didi6di6d"),
           4: struct.Struct(">q4didi6di6d10i")}
MAXIMUM_SAMPLES = 2_000_000


class FormatError(Exception):
    """The bytes are not what they should be; the text says what is wrong."""


def samples_of(version, data):
    """Sample records of a version, as a list of Sample."""
    if version == 4:
        return [Sample._make(values) for values in RECORDS[4].iter_unpack(data)]
    if version == 3:
        return [Sample(*values, *NO_COUNTERS) for values in RECORDS[3].iter_unpack(data)]
    if version == 2:  # the on time stands before the pulse period
        return [Sample(*v[:6], v[7], v[6], *v[8:], *NO_SLOT_2, *NO_COUNTERS) for v in RECORDS[2].iter_unpack(data)]
    if version == 1:
        return [Sample(*v, *NO_PULSES, *NO_SLOT_2, *NO_COUNTERS) for v in RECORDS[1].iter_unpack(data)]
    raise FormatError(f"version {version} is not known")


def read_block(data):
    """The samples of a block file in order of time, and a problem or None."""
    if len(data) < 12:
        return [], "it is shorter than its head"
    version, _, count = struct.unpack_from(">iii", data)
    if version not in RECORDS:
        return [], f"version {version} is not known"
    size = RECORDS[version].size
    held = (len(data) - 12) // size
    used = max(0, min(count, held, MAXIMUM_SAMPLES))
    samples = samples_of(version, data[12:12 + used * size])
    samples.sort(key=lambda sample: sample.time)
    return samples, None if 0 <= count <= held else f"it announces {count} samples and holds {held}"


class Event(namedtuple("Event", "time code overridden override_code name peak first last waveform recipe")):
    """One event. `code` is what the sensor said, `type` what is in effect."""

    @property
    def type(self):
        if self.name:
            return self.name
        code = self.override_code if self.overridden else self.code
        return EVENT_TYPES[code] if 0 <= code < len(EVENT_TYPES) else "unknown"

    @property
    def is_run(self):
        return self.code == RF_ON


def read_event(data):
    """The event of an event file."""
    at = 0

    def take(count):
        nonlocal at
        if count < 0 or at + count > len(data):
            raise FormatError("it ends early")
        at += count
        return data[at - count:at]

    def number():
        return struct.unpack(">i", take(4))[0]

    if number() != 4:
        raise FormatError("its version is not known")
    number()
    time, code, flags, override_code = struct.unpack(">qiii", take(20))
    if flags & ~7:
        raise FormatError(f"its flags are {flags}")
    name = take(number()).decode("utf-8")
    size = RECORDS[4].size
    peak, first, last = samples_of(4, take(3 * size))
    count = number()
    waveform = samples_of(4, take(count * size))
    recipe = json.loads(take(number())) if flags & 4 else None
    if at != len(data):
        raise FormatError("it goes on behind its end")
    return Event(time, code, bool(flags & 1), override_code, name if flags & 2 else "", peak, first, last, waveform,
                 recipe)


class Index:
    """What an index.dat says: serial, chamber, recipe, blocks as (file, first, last), events as (file, time, type)."""

    def __init__(self, text):
        self.serial = self.chamber = ""
        self.recipe = None
        self.blocks = []
        self.events = []
        self.problems = []
        self.announced = {}
        self.complete = False
        lines = text.splitlines()
        if not lines or not lines[0].startswith("Arc detect data file"):
            raise FormatError("its first line is not that of an index")
        for number, line in enumerate(lines[1:], 2):
            try:
                self._read(line)
            except (ValueError, IndexError) as error:
                self.problems.append(f"line {number}: {error}")
        for what, found in (("Block", self.blocks), ("Event", self.events)):
            if len(found) < self.announced.get(what, 0):
                self.problems.append(f"it announces {self.announced[what]} {what} lines and has {len(found)}")

    def _read(self, line):
        key, _, value = line.partition(";")
        fields = line.split(";")
        if key == "Sensor Serial ":
            self.serial = value
        elif key == "Chamber Serial":
            self.chamber = value
        elif key == "Recipe Last Data":
            self.recipe = json.loads(value)
        elif key in ("Block Data", "Event Data"):
            self.announced[key[:5]] = int(value)
        elif key == "block":
            times = (int(fields[3]), int(fields[4])) if len(fields) > 4 else (None, None)
            self.blocks.append((file_name(fields[2]), *times))
        elif key == "Event":
            self.events.append((file_name(fields[2]), int(fields[3]), fields[4]))
        elif key == "End Events":
            self.complete = True


def file_name(text):
    if not text or text in (".", "..") or re.search(r"[/\\:\0]", text):
        raise ValueError(f"{text!r} is no name of a file in the folder")
    return text


def crc32c_table():
    table = []
    for value in range(256):
        for _ in range(8):
            value = value >> 1 ^ (0x82F63B78 if value & 1 else 0)
        table.append(value)
    return table


CRC_TABLE = crc32c_table()


def crc32c(data):
    crc = 0xFFFFFFFF
    for byte in data:
        crc = crc >> 8 ^ CRC_TABLE[crc & 0xFF ^ byte]
    return crc ^ 0xFFFFFFFF


JournalRecord = namedtuple("JournalRecord", "folder type payload")
SAMPLES, EVENT, CONFIGURATION, RECIPE, TIME_LINE, SENSOR = range(1, 7)


def read_journal(data):
    """The records of a journal file up to the first that is not whole, and a problem or None."""
    if len(data) < 40 or data[:8] != b"NVXJRNL\0":
        raise FormatError("it does not begin as a journal")
    version, = struct.unpack_from(">i", data, 8)
    checksum, = struct.unpack_from(">I", data, 36)
    if version != 1 or checksum != crc32c(data[:36]):
        raise FormatError("its head is damaged")
    records = []
    at = 40
    while at < len(data):
        if at + 10 > len(data):
            return records, f"it is cut off at {at}"
        length, checksum, kind, name = struct.unpack_from(">IIBB", data, at)
        end = at + 10 + name + length
        if end > len(data):
            return records, f"it is cut off at {at}"
        if checksum != crc32c(data[12:36] + struct.pack(">QI", at, length) + data[at + 8:end]):
            return records, f"the record at {at} is damaged"
        folder = data[at + 10:at + 10 + name].decode("utf-8")
        records.append(JournalRecord(folder, kind, data[at + 10 + name:end]))
        at = end
    return records, None


class Sensor:
    """One sensor of a session: samples by time, events and runs in order of time, and what was wrong with files."""

    def __init__(self, folder, serial="", chamber=""):
        self.folder, self.serial, self.chamber = folder, serial, chamber
        self.address, self.port, self.time_base, self.uptime = "", 0, 0, 0
        self.recipe = self.configuration = None
        self.blocks = 0
        self.problems = []
        self._samples = {}
        self._events = {}

    @property
    def samples(self):
        return [self._samples[time] for time in sorted(self._samples)]

    @property
    def events(self):
        return [event for _, event in sorted(self._events.items()) if not event.is_run]

    @property
    def runs(self):
        return [event for _, event in sorted(self._events.items()) if event.is_run]

    def add_samples(self, samples):
        for sample in samples:
            self._samples.setdefault(sample.time, sample)

    def add_event(self, event):
        self._events.setdefault((event.time, event.code), event)

    def read_folder(self, path):
        """Everything that saves have written. Files that the index does not know are read, too."""
        try:
            names = sorted(os.listdir(path), key=lambda name: [int(part) if part.isdigit() else part
                                                               for part in re.split(r"(\d+)", name)])
        except OSError:
            return  # a sensor that has not been saved yet
        for name in names:
            if name == "index.dat":
                self._attempt(path, name, self._read_index)
            elif name == "config_last.norvexconfig":
                self._attempt(path, name, self._read_configuration)
            elif name.endswith(".norvexdata"):
                self._attempt(path, name, self._read_block)
            elif name.endswith(".norvexevent"):
                self._attempt(path, name, lambda data: self.add_event(read_event(data)))

    def _attempt(self, path, name, reader):
        try:
            problem = reader(read_bytes(os.path.join(path, name)))
        except (OSError, ValueError, FormatError) as error:
            problem = error
        if problem:
            self.problems.append(f"{name}: {problem}")

    def _read_index(self, data):
        index = Index(data.decode("utf-8", "replace"))
        self.serial, self.chamber, self.recipe = index.serial, index.chamber, index.recipe
        return "; ".join(index.problems)

    def _read_configuration(self, data):
        if data.lstrip().startswith(b"{"):
            self.configuration = json.loads(data)

    def _read_block(self, data):
        samples, problem = read_block(data)
        self.blocks += 1
        self.add_samples(samples)
        return problem

    def add_record(self, record):
        payload = record.payload
        if record.type == SAMPLES:
            self.add_samples(samples_of(4, payload))
        elif record.type == EVENT:
            self.add_event(read_event(payload))
        elif record.type == CONFIGURATION:
            self.configuration = json.loads(payload)
        elif record.type == RECIPE:
            self.recipe = json.loads(payload)
        elif record.type == TIME_LINE:
            self.time_base, self.uptime = struct.unpack(">qq", payload)
        elif record.type == SENSOR:
            length, = struct.unpack_from(">H", payload)
            self.serial = payload[2:2 + length].decode("utf-8")
            self.chamber = payload[4 + length:].decode("utf-8")

    def summary(self):
        by_type = {}
        for event in self.events:
            by_type[event.type] = by_type.get(event.type, 0) + 1
        times = sorted(self._samples)
        return {"serial": self.serial, "chamber": self.chamber, "folder": self.folder,
                "firstTime": times[0] if times else 0, "lastTime": times[-1] if times else 0,
                "samples": len(times), "blocks": self.blocks, "events": len(self.events), "runs": len(self.runs),
                "eventsByType": by_type, "recipe": (self.recipe or {}).get("recipe_name", ""),
                "damaged": bool(self.problems)}


class Session:
    def __init__(self, path):
        self.path = path
        self.sensors = []
        self.problems = []

    def sensor(self, name):
        """By serial or folder; None when there is none."""
        return next((sensor for sensor in self.sensors if name in (sensor.serial, sensor.folder)), None)


def read_session_file(text):
    """The sensors that an index.norvex_session lists."""
    lines = text.splitlines()
    if not lines or not lines[0].startswith("Norvex session file"):
        raise FormatError("its first line is not that of a session")
    sensors = []
    for line in lines[1:]:
        fields = line.split(";")
        if fields[0] != "sensor" or len(fields) < 4:
            continue
        fields += [""] * (9 - len(fields))
        sensor = Sensor(file_name(fields[1]), fields[2], fields[3])
        sensor.address = fields[4]
        sensor.port, sensor.time_base, sensor.uptime = (int(field or 0) for field in (fields[5], *fields[7:9]))
        sensors.append(sensor)
    return sensors


def read_session(path):
    """A whole session: what was saved, and then what only the journal holds."""
    session = Session(path)
    folder = os.path.join(path, "journal")
    names = sorted(os.listdir(folder)) if os.path.isdir(folder) else []
    session_file = os.path.join(path, "index.norvex_session")
    if os.path.exists(session_file) or not names:  # before the first save there is only a journal
        session.sensors = read_session_file(read_bytes(session_file).decode("utf-8", "replace"))
    for sensor in session.sensors:
        sensor.read_folder(os.path.join(path, sensor.folder))
    for name in names:
        if not name.endswith(".norvexjournal"):
            continue
        try:
            records, problem = read_journal(read_bytes(os.path.join(folder, name)))
        except FormatError as error:
            records, problem = [], error
        if problem:
            session.problems.append(f"journal/{name}: {problem}")
        for record in records:
            sensor = session.sensor(record.folder)
            if sensor is None:
                sensor = Sensor(record.folder)
                session.sensors.append(sensor)
            sensor.add_record(record)
    return session


def read_bytes(path):
    with open(path, "rb") as file:
        return file.read()


def main():
    parser = argparse.ArgumentParser(description="Shows what a Norvex session holds.")
    parser.add_argument("session", help="session folder")
    parser.add_argument("--json", action="store_true", help="print one JSON object")
    parser.add_argument("--csv", metavar="SENSOR", help="print the samples of this sensor (serial or folder)")
    arguments = parser.parse_args()
    try:
        session = read_session(arguments.session)
    except (OSError, ValueError, FormatError) as error:
        sys.exit(f"norvex_read: {arguments.session}: {error}")
    problems = session.problems + [f"{s.folder}/{problem}" for s in session.sensors for problem in s.problems]
    for problem in problems:
        print(f"norvex_read: {problem}", file=sys.stderr)
    if arguments.csv:
        sensor = session.sensor(arguments.csv)
        if sensor is None:
            sys.exit(f"norvex_read: the session has no sensor {arguments.csv}")
        writer = csv.writer(sys.stdout)
        writer.writerow(Sample._fields)
        writer.writerows(sensor.samples)
        return
    summaries = [sensor.summary() for sensor in session.sensors]
    if arguments.json:
        print(json.dumps({"session": os.path.abspath(arguments.session), "sensors": summaries}, indent=4))
        return
    for summary in summaries:
        print(f"{summary['serial']} in chamber {summary['chamber']}: {summary['samples']} samples, "
              f"{summary['events']} events, {summary['runs']} runs")


if __name__ == "__main__":
    main()
