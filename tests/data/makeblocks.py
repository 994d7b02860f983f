#!/usr/bin/env python3
"""Writes the golden block files in blocks/, one for each version of the format.

Independent of the program on purpose: it packs the fields by hand. Run it only when a file is missing; a golden file
that changes is an old recording that can no longer be read.
"""

import pathlib
import struct

FOLDER = pathlib.Path(__file__).parent / "blocks"


def slot(base):
    """Voltage average, maximum, minimum and current average, maximum, minimum."""
    return struct.pack(">6d", *(base + 0.5 * i for i in range(6)))


def record(version, number):
    out = struct.pack(">q4d", 1600000000000000 + number * 2000, 13560000.0 + number, 100.25 * number, -1.5, 2.75)
    pulses, period, on1, on2 = 10 + number, 10000.125, 5000 + number, 250
    if version == 2:
        out += struct.pack(">iid", pulses, on1, period) + slot(10 + number)
    if version >= 3:
        out += struct.pack(">idi", pulses, period, on1) + slot(10 + number)
        out += struct.pack(">i", on2) + slot(20 + number)
    if version >= 4:
        out += struct.pack(">10i", *(100 * number + i for i in range(10)))
    return out


def main():
    FOLDER.mkdir(exist_ok=True)
    for version in (1, 2, 3, 4):
        records = b"".join(record(version, number) for number in (1, 2, 3))
        path = FOLDER / f"version{version}.norvexdata"
        path.write_bytes(struct.pack(">iii", version, 0, 3) + records)


if __name__ == "__main__":
    main()
