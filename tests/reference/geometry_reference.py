#!/usr/bin/env python3
"""Expected values for test_Geometry.cpp and test_GridCell.cpp.

Written from the description of the calibration model, not from the C++
code: every single-precision step is emulated by rounding the exact double
result to float32 (for +, -, *, / of two float32 values that gives the
correctly rounded float32 result), double steps use Python floats, and
math.sin/cos/acos/atan are the same libm the library calls.

Run:  python3 tests/reference/geometry_reference.py
It rewrites tests/data/geometry_griddr_cases.inc and prints the primitive
values that test_Geometry.cpp quotes.
"""
import math
import os
import struct


def f32(v):
    return struct.unpack('<f', struct.pack('<f', v))[0]


def add(a, b): return f32(a + b)
def sub(a, b): return f32(a - b)
def mul(a, b): return f32(a * b)
def div(a, b): return f32(a / b)


def lit(v):
    """A C++ float literal that reads back to exactly v."""
    if v == 0.0:
        return '-0.0f' if math.copysign(1.0, v) < 0 else '0.0f'
    text = '%.9g' % v
    assert f32(float(text)) == v
    if 'e' not in text and '.' not in text:
        text += '.0'
    return text + 'f'


# ---- primitives -------------------------------------------------------------

def multiply(p1, p2, p0):
    ax, ay = sub(p1[0], p0[0]), sub(p1[1], p0[1])
    bx, by = sub(p2[0], p0[0]), sub(p2[1], p0[1])
    return sub(mul(ax, by), mul(ay, bx))


def get_line(p1, p2):
    a = sub(p1[1], p2[1])
    b = sub(p2[0], p1[0])
    c = sub(mul(p1[0], p2[1]), mul(p2[0], p1[1]))
    return (a, b, c)


def cross_point(l1, l2):
    d = l1[0] * l2[1] - l2[0] * l1[1]
    x = (l1[1] * l2[2] - l2[1] * l1[2]) / d
    y = (l1[2] * l2[0] - l1[0] * l2[2]) / d
    return (f32(x), f32(y))


def rotate(p, c, angle):
    px, py, cx, cy = p[0], p[1], c[0], c[1]
    co, si = math.cos(angle), math.sin(angle)
    return (f32((px - cx) * co - (py - cy) * si + cx),
            f32((px - cx) * si + (py - cy) * co + cy))


def sqdist(a, b):
    dx, dy = sub(a[0], b[0]), sub(a[1], b[1])
    return add(mul(dx, dx), mul(dy, dy))


def get_angle(p0, p1, p2):
    a2, b2, c2 = sqdist(p0, p1), sqdist(p2, p1), sqdist(p0, p2)
    return math.acos((b2 + a2 - c2) / (2.0 * math.sqrt(a2) * math.sqrt(b2)))


def slope(p1, p2):
    return div(sub(p2[1], p1[1]), sub(p2[0], p1[0]))


def dip(p1, p2):
    return math.atan(slope(p1, p2)) / 3.141592653589793 * 180.0


def pt(x, y):
    return (f32(x), f32(y))


def print_primitives():
    print('// Multiply((0.1,0.2),(0.3,0.7),(0.05,-0.01)) =', repr(multiply(pt(0.1, 0.2), pt(0.3, 0.7), pt(0.05, -0.01))))
    print('// getSlop((0.1,0.2),(0.7,0.3)) =', repr(slope(pt(0.1, 0.2), pt(0.7, 0.3))))
    print('// getDip((0.1,0.2),(0.7,0.3)) =', repr(dip(pt(0.1, 0.2), pt(0.7, 0.3))))
    print('// getAngle((3.1,0.2),(0.3,0.1),(1.7,2.9)) =', repr(get_angle(pt(3.1, 0.2), pt(0.3, 0.1), pt(1.7, 2.9))))
    r = rotate(pt(12.5, -3.25), pt(1.5, 2.0), 0.3)
    print('// RotatePoint((12.5,-3.25) about (1.5,2.0), 0.3) =', lit(r[0]), lit(r[1]))
    r = rotate(pt(1.0, 0.0), pt(0.0, 0.0), math.pi / 2)
    print('// RotatePoint((1,0) about (0,0), pi/2) =', lit(r[0]), lit(r[1]))
    l1 = get_line(pt(0.1, 0.2), pt(3.3, 1.7))
    l2 = get_line(pt(-1.1, 2.5), pt(2.9, -0.4))
    print('// GetLine((0.1,0.2),(3.3,1.7)) =', ' '.join(repr(v) for v in l1))
    c = cross_point(l1, l2)
    print('// GetCrossPoint(that, line (-1.1,2.5)-(2.9,-0.4)) =', lit(c[0]), lit(c[1]))


# ---- grid cell location -----------------------------------------------------

def edge_at(base, end, dist, pitch):
    diff = sub(end, base)
    if diff == 0.0:
        return base
    return add(base, div(mul(diff, dist), pitch))


def residual(nodes, n, i, j, x, y, pitch):
    """Scale and offset from cell (i, j) (its bottom-right corner index)."""
    p00, p01 = nodes[(i - 1) * n + j - 1], nodes[(i - 1) * n + j]
    p10, p11 = nodes[i * n + j - 1], nodes[i * n + j]
    # node = (nx, ny, mx, my)
    dt = f32(abs(sub(x, p00[0])))
    db = f32(abs(sub(x, p10[0])))
    dl = f32(abs(sub(y, p00[1])))
    dr = f32(abs(sub(y, p01[1])))
    t = (edge_at(p00[2], p01[2], dt, pitch), edge_at(p00[3], p01[3], dt, pitch))
    b = (edge_at(p10[2], p11[2], db, pitch), edge_at(p10[3], p11[3], db, pitch))
    l = (edge_at(p00[2], p10[2], dl, pitch), edge_at(p00[3], p10[3], dl, pitch))
    r = (edge_at(p01[2], p11[2], dr, pitch), edge_at(p01[3], p11[3], dr, pitch))
    c = cross_point(get_line(t, b), get_line(l, r))
    sx = div(x, c[0]) if x != 0.0 and c[0] != 0.0 else 1.0
    sy = div(y, c[1]) if y != 0.0 and c[1] != 0.0 else 1.0
    if b[0] != t[0]:
        ox = add(sub(t[0], x),
                 div(mul(sub(c[0], t[0]), sub(sub(b[0], x), sub(t[0], x))), sub(b[0], t[0])))
    else:
        ox = sub(t[0], x)
    if b[1] != t[1]:
        oy = add(sub(t[1], p00[1]),
                 div(mul(sub(c[1], t[1]), sub(sub(b[1], p10[1]), sub(t[1], p00[1]))),
                     sub(b[1], t[1])))
    else:
        oy = sub(l[1], y)
    return (sx, sy, ox, oy)


def grid_dr(val_size, n, nodes, px, py):
    """Returns (scale.x, scale.y, offset.x, offset.y, all holding cells)."""
    x, y = f32(px), f32(py)
    h = val_size / 2
    if y < -h:
        y = f32(-h)
    elif y > h:
        y = f32(h)
    if x < -h:
        x = f32(-h)
    elif x > h:
        x = f32(h)
    if n < 2:
        return (1.0, 1.0, 0.0, 0.0, [])
    pitch = f32(val_size / (n - 1))
    cells = []
    for i in range(1, n):
        for j in range(1, n):
            p00, p11 = nodes[(i - 1) * n + j - 1], nodes[i * n + j]
            if p00[0] <= x <= p11[0] and p11[1] <= y <= p00[1]:
                cells.append(residual(nodes, n, i, j, x, y, pitch))
    if not cells:
        return (1.0, 1.0, 0.0, 0.0, [])
    return cells[0] + (cells,)


# A 4 x 4 grid over an 80 mm field whose nominal columns and rows are not
# evenly spaced (so the nominal pitch of 80/3 differs from every cell width)
# and whose measured nodes carry a smooth distortion plus fixed jitter.
VAL_SIZE = 80.0
N = 4
COLS = [-40.0, -13.5, 12.25, 40.0]
ROWS = [40.0, 14.5, -13.0, -40.0]
JITTER = [0.013, -0.021, 0.008, 0.017, -0.011, 0.019, -0.004, 0.006,
          0.023, -0.015, 0.002, -0.009, 0.012, -0.018, 0.007, 0.014]


def distorted_nodes():
    nodes = []
    for r, ny in enumerate(ROWS):
        for c, nx in enumerate(COLS):
            k = r * N + c
            mx = f32(nx * 1.0031 + 0.0021 * ny + 0.00043 * nx * ny + JITTER[k])
            my = f32(ny * 0.9987 - 0.0034 * nx + 0.00021 * nx * nx + JITTER[15 - k])
            nodes.append((f32(nx), f32(ny), mx, my))
    return nodes


POINTS = [
    # (name, x, y, expected number of holding cells)
    ('InteriorCentreCell', 5.3, 7.7, 1),
    ('InteriorTopLeft', -30.1, 33.3, 1),
    ('InteriorBottomRight', 27.7, -25.9, 1),
    ('InteriorBottomLeft', -20.0, -20.0, 1),
    ('Origin', 0.0, 0.0, 1),
    ('OnYAxis', 0.0, 22.0, 1),
    ('OnXAxis', 35.5, 0.0, 1),
    ('TopLeftCorner', -40.0, 40.0, 1),
    ('InnerNode', -13.5, 14.5, 4),
    ('SharedVerticalEdge', -13.5, 3.0, 2),
    ('SharedHorizontalEdge', 20.0, -13.0, 2),
    ('ClampedRight', 55.0, 10.0, 1),
    ('ClampedBelow', -3.0, -1000.0, 1),
    ('ClampedCorner', 1e9, 1e9, 1),
]


def write_griddr_cases(path):
    nodes = distorted_nodes()
    out = ['// Generated by tests/reference/geometry_reference.py; do not edit.',
           '// The distorted 4 x 4 grid (ValSize 80), row 0 at the top:',
           '// {nominal x, nominal y, measured x, measured y}.',
           'static const float kDistortedNodes[16][4] = {']
    for node in nodes:
        out.append('    {%s},' % ', '.join(lit(v) for v in node))
    out.append('};')
    out.append('// {name, x, y, scale.x, scale.y, offset.x, offset.y}')
    out.append('static const GridDrCase kDistortedCases[] = {')
    for name, x, y, holders in POINTS:
        sx, sy, ox, oy, cells = grid_dr(VAL_SIZE, N, nodes, x, y)
        assert len(cells) == holders, name
        # On a shared edge the cells must disagree, or the case would not
        # show which one was used.
        for other in cells[1:]:
            assert other[2:] != cells[0][2:], name
        out.append('    {"%s", %s, %s, %s, %s, %s, %s},' % (
            name, lit(f32(x)), lit(f32(y)), lit(sx), lit(sy), lit(ox), lit(oy)))
    out.append('};')
    with open(path, 'w') as fh:
        fh.write('\n'.join(out) + '\n')


if __name__ == '__main__':
    here = os.path.dirname(os.path.abspath(__file__))
    write_griddr_cases(os.path.join(here, '..', 'data', 'geometry_griddr_cases.inc'))
    print_primitives()
