#!/usr/bin/env python3
"""Writes the small binary-calibration fixtures of tests/data/bcd_*.

Run from anywhere: python3 tests/reference/bcd_make_fixtures.py
The files are built from the documented byte layout alone (struct, little
endian), independently of the library, so the loader tests check the library
against the format rather than against itself.
"""
import os
import struct

DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data")


def header(version, field_size, val_size, line_count, resolution, flags):
    """Magic, version byte, two-byte gap, then the header from offset 10 to 62."""
    out = b"ZEMCLDT" + bytes([version]) + b"\0\0"
    out += struct.pack("<dd", field_size, val_size)
    out += bytes(8)                          # reserved, offset 26
    out += struct.pack("<ii", line_count, resolution)
    out += struct.pack("<III", *flags)       # offsets 42, 46, 50
    out += struct.pack("<d", 4.0)            # offset 54
    assert len(out) == 62
    return out


def write(name, data):
    with open(os.path.join(DATA, name), "wb") as f:
        f.write(data)


# A file that ends after the header: everything from the block on is absent.
# FieldSize 120.5 loads, ValSize 0.5 does not (not above 1.0), Resolution 4095
# is raised to 65535, the flag words are 0x0101, 0x0100 and 0x0001.
write("bcd_header_only.bin", header(ord("Q"), 120.5, 0.5, 2, 4095, (0x0101, 0x0100, 0x0001)))

# Version '3' is refused; the header behind it would change FieldSize.
write("bcd_version3.bin", header(ord("3"), 123.0, 90.0, 2, 70000, (0, 0, 0)))

# Shorter than the magic: not a binary file.
write("bcd_short.bin", b"ZEMC")

# A text correction file: wrong magic, so it goes to the text importer. Ideal
# 3x3 grid, nominal +-50 mm, measured at 0.8 of it (+-40 mm), so the fit gives
# AxisXL = 40 and SX = ValSize / (40 + 40) = 1.25.
rows = []
for v in (50, 0, -50):
    for u in (-50, 0, 50):
        rows.append("%g %g %g %g" % (u, v, 0.8 * u, 0.8 * v))
text = "[CalCoefs]\nValSize=100\nResolution=65535\n[Cal3]\n"
text += "".join("PNT%d=%s\n" % (i, r) for i, r in enumerate(rows))
write("bcd_text_grid.cor", text.encode())
