#!/usr/bin/env python3
"""Writes the seed corpus of the fuzz targets: fuzz/corpus/<target>/seed-*.

Run from anywhere: python3 fuzz/make_corpus.py
Seeds are small valid files and near-misses built from the documented
formats alone (struct, little endian), so that the fuzzers start next to every
branch of the loaders. Inputs the fuzzers once found (regress-*) are kept in
the same folders by hand and are not touched here.
"""
import math
import os
import struct

ROOT = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.path.join(ROOT, "corpus")
TEST_DATA = os.path.join(ROOT, "..", "tests", "data")


def write(target, name, data):
    folder = os.path.join(CORPUS, target)
    os.makedirs(folder, exist_ok=True)
    if isinstance(data, str):
        data = data.encode("latin-1")
    with open(os.path.join(folder, "seed-" + name), "wb") as f:
        f.write(data)


def copy_test_data(target, name):
    with open(os.path.join(TEST_DATA, name), "rb") as f:
        write(target, name, f.read())


# ---- the binary calibration file -----------------------------------------

def header(version, field_size=100.0, val_size=80.0, line_count=3, resolution=65535,
           flags=(0, 0, 0)):
    """Magic, version, gap, then the header fields from offset 10 to 62."""
    out = b"ZEMCLDT" + bytes([version]) + b"\0\0"
    out += struct.pack("<dd", field_size, val_size) + bytes(8)
    out += struct.pack("<ii", line_count, resolution)
    out += struct.pack("<III", *flags) + struct.pack("<d", 4.0)
    return out


def grid_points(n, half=40.0, gain=1.01):
    """n x n point pairs from the top-left corner: nominal, then measured."""
    pts = []
    for r in range(n):
        for c in range(n):
            u = -half + 2 * half * c / (n - 1) if n > 1 else 0.0
            v = half - 2 * half * r / (n - 1) if n > 1 else 0.0
            pts.append((u, v, u * gain + 0.001 * v, v * gain))
    return pts


def block(pnts=None, y2x=math.pi / 2):
    """The 600-byte parameter block Pnt..S with plain defaults."""
    out = b"".join(struct.pack("<4f", *p) for p in (pnts or grid_points(3)))
    out += struct.pack("<2d3d2d3d", 1.0, 0.0, 1.0, 0.0, 0.0, 1.0, 0.0, 1.0, 0.0, 0.0)
    out += struct.pack("<4d", 40.0, 40.0, 40.0, 40.0)        # AxisXL..AxisYB
    out += struct.pack("<2d", 0.0, 0.0)                      # OX, OY
    out += struct.pack("<3d3d", 1.0, 1.0, 1.0, 1.0, 1.0, 1.0)  # SXL SXR SX SYT SYB SY
    out += struct.pack("<4d2d", 0.0, 0.0, 0.0, 0.0, 0.0, 0.0)  # TXL..TYB, PLX, PLY
    out += struct.pack("<d", y2x)
    out += struct.pack("<20d", *([0.0, 0.0, 1e-5, -2e-5] + [0.0] * 16))
    out += struct.pack("<8d", *([0.0] * 8))
    assert len(out) == 600
    return out


def lines(count):
    return b"".join(struct.pack("<4d", -40.0 + 40.0 * i, -40.0 + 40.0 * i,
                                -40.1 + 40.0 * i, -39.9 + 40.0 * i) for i in range(count))


def binary(version=0x60, head=None, blk=None, grid=1, line_data=None, tables=None,
           size_list=None):
    """A whole file; `tables` is a list of (n, flag, points) written at 64000."""
    out = bytearray(head if head is not None else header(version))
    out += bytes(256 - len(out))
    out += blk if blk is not None else block()
    out += bytes(4096 - len(out))
    out += struct.pack("<i", grid) + (line_data if line_data is not None else lines(3))
    if tables is not None:
        out += bytes(60000 - len(out))
        sizes = size_list if size_list is not None else [t[0] for t in tables]
        out += struct.pack("<i", len(tables)) + b"".join(struct.pack("<i", n) for n in sizes)
        # Past 999 tables the size list runs into the tables, which win.
        out = out[:64000] + bytes(max(0, 64000 - len(out)))
        for n, flag, pts in tables:
            out += struct.pack("<ii", n, flag) + b"".join(struct.pack("<4f", *p) for p in pts)
    return bytes(out)


def bcd_seeds():
    t = "bcd_load"
    full = binary(tables=[(3, 1, grid_points(3)), (5, 1, grid_points(5))])
    write(t, "valid-two-tables.bin", full)
    write(t, "valid-no-tables.bin", binary())
    write(t, "valid-classic.bin", binary(version=ord("P"), tables=[(3, 0, grid_points(3))]))
    write(t, "cut-in-points.bin", full[:64000 + 8 + 16 * 9 + 8 + 40])
    write(t, "cut-in-size-list.bin", full[:60006])
    write(t, "cut-in-block.bin", full[:500])
    write(t, "header-only.bin", header(0x60, 120.5, 0.5, 2, 4095, (0x0101, 0x0100, 0x0001)))
    write(t, "magic-only.bin", b"ZEMCLDT")
    write(t, "version3.bin", header(ord("3")))
    write(t, "short.bin", b"ZEMC")
    write(t, "empty.bin", b"")
    write(t, "wrong-magic.bin", b"ZEMCLDX" + full[7:4200])
    # Hostile counts: more tables than allowed, negative and huge sizes, a
    # size list that disagrees with the table headers, more than 999 tables
    # (the size list then runs into the tables).
    write(t, "count-huge.bin", binary(tables=[(3, 1, grid_points(3))], size_list=[3])[:60000]
          + struct.pack("<i", 0x7FFFFFFF) + bytes(8))
    write(t, "count-negative.bin", binary(tables=[])[:60000] + struct.pack("<i", -5))
    write(t, "size-negative.bin", binary(tables=[(-3, 1, []), (3, 1, grid_points(3))]))
    write(t, "size-huge.bin", binary(tables=[(46341, 1, grid_points(2))]))
    write(t, "size-list-disagrees.bin", binary(tables=[(3, 1, grid_points(3))], size_list=[9]))
    write(t, "many-tables.bin", binary(tables=[(0, 0, [])] * 1200))
    # Hostile header values and a block full of non-finite numbers.
    write(t, "lines-150.bin", binary(head=header(0x60, line_count=150), line_data=lines(150)))
    write(t, "lines-negative.bin", binary(head=header(0x60, line_count=-7)))
    write(t, "resolution-max.bin", binary(head=header(0x60, resolution=0x7FFFFFFF,
                                                          flags=(0xFFFFFFFF, 0x0100, 0x00FF))))
    write(t, "sizes-nan.bin", binary(head=header(0x60, field_size=float("nan"),
                                                    val_size=float("inf"))))
    nasty = [(float("nan"), 0.0, float("inf"), -0.0)] + grid_points(3)[1:]
    write(t, "block-nonfinite.bin", binary(blk=block(nasty, y2x=0.0),
                                           tables=[(3, 1, nasty)]))
    write(t, "degenerate-grid.bin", binary(blk=block([(0.0, 0.0, 0.0, 0.0)] * 9),
                                           tables=[(3, 1, [(1.0, 1.0, 1.0, 1.0)] * 9)]))
    # The text route behind a missing magic.
    copy_test_data(t, "bcd_text_grid.cor")
    copy_test_data(t, "facade_head.cor")


# ---- the text correction file ----------------------------------------------

def base_rows(fmt="%g %g %g %g", gain=1.01):
    """The nine base rows; `fmt` takes the first fmt.count('%') numbers."""
    rows = []
    for i, p in enumerate(grid_points(3, 50.0, gain)):
        rows.append("PNT%d=" % i + fmt % p[:fmt.count("%")])
    return rows


def cor(coefs, cal3, extra="", eol="\n"):
    text = "[CalCoefs]" + eol + eol.join(coefs) + eol + "[Cal3]" + eol + eol.join(cal3) + eol + extra
    return text


def grid_section(n, rows=None):
    pts = grid_points(n, 50.0)
    count = n * n if rows is None else rows
    return "[Cal%d]\n" % n + "".join("PNT%d=%g %g %g %g\n" % ((j,) + pts[j]) for j in range(count))


def cor_seeds():
    t = "cor_load"
    coefs = ["ValSize=100", "Resolution=65535", "LEN_XYFLIP=0", "LEN_XINVERT=1", "LEN_YINVERT=0",
             "order=9"]
    scalars = ["grid=1", "AxisXL=50", "TXL=0.001", "SXR=1.002", "OX=0.1", "PLX=0.0005",
               "Y2XAngle=1.5708", "k2=1e-5", "k3=-2e-5", "s7=3.5", "LineCount=3",
               "XT0=-40", "XA0=-40.1", "XR0=1.0001", "YT2=40", "YA2=39.9"]
    write(t, "minimal.ini", cor([], base_rows()))
    write(t, "full.ini", cor(coefs, base_rows() + scalars, grid_section(5) + grid_section(9, 40)))
    write(t, "crlf.ini", cor(coefs, base_rows() + scalars, eol="\r\n"))
    write(t, "row-double-space.ini", cor(coefs, base_rows("%g  %g %g %g")))
    write(t, "row-three-parts.ini", cor(coefs, base_rows("%g %g %g")))
    write(t, "row-missing.ini", cor(coefs, base_rows()[:4] + base_rows()[5:]))
    write(t, "row-words.ini", cor(coefs, base_rows("%gx 0x%d nan -inf")[:1] + base_rows()[1:]))
    write(t, "key-not-number.ini", cor(["ValSize=abc"], base_rows()))
    write(t, "key-out-of-range.ini", cor(["Resolution=99999999999"], base_rows() + ["k0=1e39"]))
    write(t, "keys-odd-numbers.ini", cor(["ValSize= +0x1p4", "Resolution=-2", "order=1e30"],
                                         base_rows() + ["Y2XAngle=nan", "AxisXR=-inf",
                                                        "SXL=0", "LineCount=250"]))
    write(t, "order-nan.ini", cor(["order=nan", "Resolution=2147483647"], base_rows(),
                                  grid_section(5)))
    write(t, "degenerate.ini", cor(["ValSize=0"], ["PNT%d=0 0 0 0" % i for i in range(9)]
                                   + ["AxisXL=0", "AxisXR=0", "LineCount=2"]))
    write(t, "grids-short.ini", cor(coefs, base_rows(), grid_section(25, 600) + grid_section(17)))
    write(t, "empty.ini", "")
    copy_test_data(t, "facade_head.cor")
    copy_test_data(t, "cor_realistic.ini")


# ---- the INI store ---------------------------------------------------------

def cfg_seeds():
    t = "cfg_file"
    write(t, "plain.ini", "[S]\nk=v\nn=5\nf=0.5\n[T]\nx=1e3\n")
    write(t, "messy.ini", "stray=1\r\n; comment\r\n[Zeta]\r\nb=2\r\na = 1\r\n\r\nb=3\r\nflag\r\n"
          " ;not a comment\r\n#hash=x\r\n\n[Beta]\r\nold=1\r\n[Alpha\r\nk=v=w\r\n"
          "[Beta]\r\nnew=2\r\n[Alpha]\nx=1")
    write(t, "headers.ini", "[\n[]\n[ABC\n[a]b]\n[x\r\r\n=\n==\n")
    write(t, "numbers.ini", "[N]\nhex=0x1A\nhexf=0x1.8p3\nplus=+7\nspace= \t42\nneg=-0\n"
          "big=2147483648\nsmall=-2147483649\ntiny=1e-50\nhuge=1e39\ninf=-inf\nnan=nan(123)\n"
          "comma=0,5\nword=abc\nempty=\ndot=.\nexp=1e\n")
    write(t, "binary.ini", b"[S\x00]\nk\x00=\xff\xfe\n\xc3\xa4=1\n")
    write(t, "numbers-first.ini", b"\x00\x00\x80\x3f\x00\x00\xc0\x7f\x00\x00\x00\x00\x00\x00\xf0\x7f\n[S]\nk=1\n")
    copy_test_data(t, "cor_minimal.ini")


if __name__ == "__main__":
    bcd_seeds()
    cor_seeds()
    cfg_seeds()
