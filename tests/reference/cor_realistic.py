#!/usr/bin/env python3
"""Writes tests/data/cor_realistic.ini and prints the expected values that
tests/test_CorFile.cpp checks, worked out here independently of the library.

The file is what a field calibration of an 80 mm field might produce: nine
base points with a mild pincushion, a 5 x 5 and a 9 x 9 grid, 21 test lines,
CR-LF line ends. Every number the importer stores goes through float32, which
is emulated with struct. Run from any directory:
    python3 tests/reference/cor_realistic.py > /dev/null   # rewrite the file
    python3 tests/reference/cor_realistic.py               # print literals
"""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
OUT = os.path.join(HERE, "..", "data", "cor_realistic.ini")
FIELD_SIZE = 110.0  # the test sets FieldSize to this before loading


def f32(x):
    return struct.unpack("<f", struct.pack("<f", x))[0]


def measured(x, y):
    r2 = x * x + y * y
    return x * (1 + 2e-5 * r2) + 0.0125, y * (1 + 2e-5 * r2) - 0.0075


def grid_rows(n, half):
    rows = []
    for r in range(n):
        y = half - 2 * half * r / (n - 1)
        for c in range(n):
            x = -half + 2 * half * c / (n - 1)
            mx, my = measured(x, y)
            rows.append("%g %g %.4f %.4f" % (x, y, mx, my))
    return rows


lines = ["; field calibration, lens F254, 80 mm", "[CalCoefs]", "ValSize=80",
         "Resolution=65535", "LEN_XYFLIP=1", "LEN_XINVERT=0", "LEN_YINVERT=1",
         "order=9.9", "[Cal3]"]
base = grid_rows(3, 40.0)
lines += ["PNT%d=%s" % (i, row) for i, row in enumerate(base)]
lines += ["grid=1", "AxisXL=40.213", "AxisXR=39.874", "AxisYT=40.187", "AxisYB=39.911",
          "TXL=0.0012", "TXR=-0.0009", "TYT=0.0007", "TYB=-0.0011",
          "SXL=1.0021", "SXR=0.9987", "SYT=1.0013", "SYB=0.9991",
          "OX=0.0125", "OY=-0.0075", "PLX=0.00031", "PLY=0.00029", "Y2XAngle=1.5712"]
K = [1.0, 1.0, 1.23e-4, -4.56e-5] + [0.0] * 16
lines += ["k%d=%g" % (i, v) for i, v in enumerate(K)] + ["k20=7"]
S = [0.5 * i for i in range(8)]
lines += ["s%d=%g" % (i, v) for i, v in enumerate(S)] + ["s8=7"]
lines += ["LineCount=21"]
XT = [-50 + 5 * i for i in range(21)]
XA = [t + 0.001 * (i - 10) for i, t in enumerate(XT)]
for i in range(21):
    lines += ["XT%d=%g" % (i, XT[i]), "XA%d=%.3f" % (i, XA[i]), "YA%d=%.3f" % (i, -XA[i])]
lines += ["[Cal5]"] + ["PNT%d=%s" % (j, r) for j, r in enumerate(grid_rows(5, 40.0))]
lines += ["[Cal9]"] + ["PNT%d=%s" % (j, r) for j, r in enumerate(grid_rows(9, 40.0))]
with open(OUT, "w", newline="") as f:
    f.write("\r\n".join(lines) + "\r\n")


def lit(v):
    return float.hex(f32(v))


def row(text):
    return ", ".join(lit(float(p)) for p in text.split(" "))


step = FIELD_SIZE / (21 - 1)
print("Pnt[0]   ", row(base[0]))
print("Pnt[8]   ", row(base[8]))
print("Cal5[24] ", row(grid_rows(5, 40.0)[24]))
print("Cal9[40] ", row(grid_rows(9, 40.0)[40]))
print("Cal9[10] ", row(grid_rows(9, 40.0)[10]))
print("AxisXR   ", lit(39.874))
print("TXL      ", lit(0.0012))
print("Y2XAngle ", lit(1.5712))
print("K[2] K[3]", lit(K[2]), lit(K[3]))
print("XA[7]    ", lit(float("%.3f" % XA[7])))
print("YT[3]    ", lit(3 * step + FIELD_SIZE * -0.5))
print("YT[20]   ", lit(20 * step + FIELD_SIZE * -0.5))
