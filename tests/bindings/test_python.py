"""The Python module against the zemcal tool: the same device points bit for
bit, the same basic fields, and the tool's sentences in its exceptions."""
import json
import os
import subprocess

import numpy as np
import pytest

import zemcal

TOOL = os.environ["ZEMCAL_TOOL"]
EXAMPLES = os.environ["ZEMCAL_EXAMPLES_DIR"]
DATA = os.path.join(os.path.dirname(EXAMPLES), "tests", "data")
SAMPLE = os.path.join(EXAMPLES, "sample-head.zcal")
SAMPLE_TEXT = os.path.join(EXAMPLES, "sample-head.cor")

# Over and 20 % beyond the 110 mm span, on an irregular step.
GRID = np.array([(x, y) for y in np.arange(-66.0, 66.1, 5.5) for x in np.arange(-66.0, 66.1, 4.125)],
                dtype=np.float32)


def tool(*args, stdin=None):
    return subprocess.run([TOOL, *args], input=stdin, capture_output=True, text=True)


def tool_points(path, points, field_size=100.0):
    """`zemcal correct` on points, as float32 (its %.9g tells every float apart)."""
    lines = "".join("%.9g %.9g\n" % (x, y) for x, y in points.astype(np.float64))
    run = tool("correct", "-q", "--field-size", str(field_size), path, stdin=lines)
    assert run.returncode == 0, run.stderr
    return np.array([line.split() for line in run.stdout.splitlines()], dtype=np.float64).astype(np.float32)


def bits(a):
    return np.ascontiguousarray(a, dtype=np.float32).view(np.uint32)


@pytest.mark.parametrize("path, field_size", [(SAMPLE, None), (SAMPLE_TEXT, 110.0), (SAMPLE_TEXT, None)])
def test_points_are_the_tools_bit_for_bit(path, field_size):
    cal = zemcal.Calibration.load(path, field_size=field_size)
    got = cal.correct(GRID)
    assert got.dtype == np.float32 and got.shape == GRID.shape
    want = tool_points(path, GRID, field_size or 100.0)
    assert np.array_equal(bits(got), bits(want))


@pytest.mark.parametrize("make", [
    lambda p: p.astype(np.float64),                    # float64, narrowed as the library narrows
    lambda p: np.asfortranarray(p),                    # float32 in column order
    lambda p: np.repeat(p, 2, axis=0)[::2],            # a strided view
    lambda p: np.round(p).astype(np.int32),            # whole millimetres
    lambda p: p[:0],                                   # no points
], ids=["float64", "fortran", "strided", "int32", "empty"])
def test_every_real_layout_gives_the_float32_result(make):
    cal = zemcal.Calibration.load(SAMPLE)
    points = make(GRID)
    want = cal.correct(np.ascontiguousarray(points, dtype=np.float32))
    assert np.array_equal(bits(cal.correct(points)), bits(want))


def test_info_is_what_the_tool_shows():
    info = zemcal.Calibration.load(SAMPLE).info()
    shown = json.loads(tool("info", "--json", SAMPLE).stdout)
    flags = shown["axis_flags"]
    assert info == {
        "field_size": shown["field_size_mm"], "working_size": shown["val_size_mm"],
        "resolution": shown["resolution"], "center": shown["center"],
        "xy_flip": flags["xy_flip"], "x_invert": flags["x_invert"], "y_invert": flags["y_invert"],
        "xy_flip_lsm": flags["xy_flip_saved"], "x_invert_lsm": flags["x_invert_saved"],
        "y_invert_lsm": flags["y_invert_saved"], "version": shown["version"]["byte"],
        "binary": shown["format"] == "binary", "tables": [t["size"] for t in shown["tables"]],
    }


def test_save_loads_back_the_same_correction(tmp_path):
    cal = zemcal.Calibration.load(SAMPLE_TEXT, field_size=110.0)
    cal.save(tmp_path / "head.zcal", version="`")
    back = zemcal.Calibration.load(str(tmp_path / "head.zcal"))
    assert back.info()["version"] == 0x60 and back.info()["binary"]
    assert np.array_equal(bits(back.correct(GRID)), bits(cal.correct(GRID)))


@pytest.mark.parametrize("path", [os.path.join(DATA, "missing.zcal"), DATA,
                                  os.path.join(DATA, "bcd_version3.bin"),
                                  os.path.join(DATA, "cor_row_missing.ini"),
                                  os.path.join(DATA, "cor_row_three_parts.ini")])
def test_load_errors_carry_the_tools_sentence(path):
    run = tool("info", path)
    assert run.returncode == 1
    expected = run.stderr.strip().removeprefix("zemcal: ")
    kind = OSError if expected.startswith("cannot open") else ValueError
    with pytest.raises(kind) as err:
        zemcal.Calibration.load(path)
    assert str(err.value) == expected


@pytest.mark.parametrize("call, kind, message", [
    (lambda c: c.correct(np.zeros((3, 3))), ValueError, "(N, 2)"),
    (lambda c: c.correct(np.zeros(2)), ValueError, "(N, 2)"),
    (lambda c: c.correct(np.array([["a", "b"]])), TypeError, "real numbers"),
    (lambda c: c.save("/nonexistent/dir/x.zcal"), OSError, "cannot write /nonexistent/dir/x.zcal"),
    (lambda c: c.save("/tmp/never.zcal", version="3"), ValueError, "version '3'"),
    (lambda c: c.save("/tmp/never.zcal", version=300), ValueError, "0..255"),
    (lambda c: zemcal.Calibration.load(SAMPLE, field_size=-1.0), ValueError, "positive"),
], ids=["3 columns", "one dimension", "strings", "missing folder", "version 3", "version 300",
        "negative field size"])
def test_bad_arguments_raise(call, kind, message):
    cal = zemcal.Calibration.load(SAMPLE)
    with pytest.raises(kind, match=message.replace("(", r"\(").replace(")", r"\)")):
        call(cal)
    assert not os.path.exists("/tmp/never.zcal")
