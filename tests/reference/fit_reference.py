#!/usr/bin/env python3
"""Reference values for the second-order fits of the nine-point grid.

An independent re-computation of the classic fit (version 'P') and the
revised fit (every other version), written from the description of the
calibration model, not from the C++ sources. Single precision is emulated by
rounding through struct.pack('f'); math.sin/cos/tan/atan are the C library's.
The one-term least-squares solve repeats the operation order of CMvLsmFit:
  Normal = sum of r*r (ascending from 0.0), Det = 0.0 + 1.0*Normal,
  f = 1.0/Det, Inverse = 1.0*f, Product[s] = 0.0 + Inverse*r[s],
  Coef = sum of Product[s]*d[s] (ascending from 0.0).

Writes tests/data/fit_reference.txt (run from anywhere):
  python3 tests/reference/fit_reference.py
"""
import math
import os
import struct

PI = 3.141592653589793
HALF_PI = 1.5707963267948966


def f32(x):
    """Round a double to the nearest single-precision value."""
    try:
        return struct.unpack('f', struct.pack('f', x))[0]
    except OverflowError:
        return math.copysign(math.inf, x)


def div(a, b):
    """IEEE division (Python raises on a zero divisor)."""
    if b == 0.0:
        if a == 0.0 or math.isnan(a):
            return math.nan
        return math.copysign(math.inf, a) * math.copysign(1.0, b)
    return a / b


def fmul(a, b): return f32(a * b)
def fadd(a, b): return f32(a + b)
def fsub(a, b): return f32(a - b)
def fdiv(a, b): return f32(div(a, b))


# ---- the two geometric tests, on measured pairs (x, y) ----

def collinear(p1, p2, p3):
    (x1, y1), (x2, y2), (x3, y3) = p1, p2, p3
    s = fadd(fmul(x3, y1), fadd(fmul(x1, y2), fmul(x2, y3)))
    s = fsub(s, fmul(x1, y3))
    s = fsub(s, fmul(x2, y1))
    s = fsub(s, fmul(x3, y2))
    return fmul(0.5, abs(s))


def two_line_angle(a0, a1, b0, b1):
    dxa, dya = a1[0] - a0[0], a1[1] - a0[1]
    dxb, dyb = b1[0] - b0[0], b1[1] - b0[1]
    if dxa != 0.0 and dxb != 0.0:
        ka, kb = dya / dxa, dyb / dxb
        return math.atan(div(kb - ka, ka * kb + 1.0))
    if dxb != 0.0:
        return math.atan(dyb / dxb)
    return HALF_PI - math.atan(div(dya, dxa))


def ols1(r, d):
    normal = 0.0
    for x in r:
        normal = normal + x * x
    det = 0.0 + 1.0 * normal
    f = div(1.0, det)
    inverse = 1.0 * f
    coef = 0.0
    for rs, ds in zip(r, d):
        coef = coef + (0.0 + inverse * rs) * ds
    return coef


# ---- the fits; a grid is a list of nine [u, v, x, y] rows ----

def meas(p):
    return (p[2], p[3])


def rotate(pts, log):
    a0 = collinear(meas(pts[1]), meas(pts[4]), meas(pts[7]))
    a1 = collinear(meas(pts[3]), meas(pts[4]), meas(pts[5]))
    if not (a0 > 0.0001 or a1 > 0.0001):
        log.append('rotation: both middle lines straight')
        return
    if a1 > a0:
        line = 'column'
        t = two_line_angle(meas(pts[1]), meas(pts[7]), (pts[1][0], pts[1][1]), meas(pts[4]))
    else:
        line = 'row'
        t = two_line_angle(meas(pts[3]), meas(pts[5]), (pts[3][0], pts[3][1]), meas(pts[4]))
    wrapped = t > HALF_PI
    if wrapped:
        t = t - PI
    log.append('rotation: %s (areas %r, %r), t=%r%s' %
               (line, a0, a1, t, ', wrapped' if wrapped else ''))
    if abs(t) < 1e-6:
        log.append('rotation: skipped, angle below 1e-6')
        return
    c, s = math.cos(t), math.sin(t)
    cx, cy = pts[4][2], pts[4][3]
    for p in pts:
        dx, dy = p[2] - cx, p[3] - cy
        p[2], p[3] = f32(dx * c - s * dy + cx), f32(dx * s + dy * c + cy)


def shape(par, pts):
    """Half-axes, shear, scales, edge slopes; shears the corners of pts."""
    par['AxisXL'] = abs(pts[3][2])
    par['AxisXR'] = abs(pts[5][2])
    par['AxisYT'] = abs(pts[1][3])
    par['AxisYB'] = abs(pts[7][3])
    par['OX'] = (par['AxisXR'] - par['AxisXL']) * 0.5
    par['OY'] = (par['AxisYT'] - par['AxisYB']) * 0.5
    ang = two_line_angle(meas(pts[1]), meas(pts[7]), meas(pts[3]), meas(pts[5]))
    par['Y2XAngle'] = ang
    pl = 0.0 if abs(ang) < 1e-6 else math.tan(ang - HALF_PI)
    par['PLX'] = par['PLY'] = pl
    vs = par['ValSize']
    par['SXL'] = div(vs, 2.0 * par['AxisXL'])
    par['SXR'] = div(vs, 2.0 * par['AxisXR'])
    par['SX'] = div(vs, par['AxisXL'] + par['AxisXR'])
    par['SYT'] = div(vs, 2.0 * par['AxisYT'])
    par['SYB'] = div(vs, 2.0 * par['AxisYB'])
    par['SY'] = div(vs, par['AxisYT'] + par['AxisYB'])
    for i in (6, 0, 8, 2):
        pts[i][2] = f32(pts[i][2] - pts[i][3] * pl)
    x = [p[2] for p in pts]
    y = [p[3] for p in pts]

    def slope(rise, run):
        return fdiv(rise, run) if abs(run) >= 1e-6 else 0.0
    par['TXL'] = slope(fsub(x[6], x[0]), fsub(y[6], y[0]))
    par['TXR'] = slope(fsub(x[8], x[2]), fsub(y[8], y[2]))
    par['TYT'] = slope(fsub(y[0], y[2]), fsub(x[0], x[2]))
    par['TYB'] = slope(fsub(y[6], y[8]), fsub(x[6], x[8]))
    return pl


def cross_terms(par, pts, F, first_pl):
    xr, xd, yr, yd = [], [], [], []
    for i, (u, v, x, y) in enumerate(pts):
        pl = first_pl if i == 0 else par['PLX']
        x1 = f32(x - pl * y)
        if x1 < 0:
            x2 = f32(x1 + div(par['TXL'] * y * x1, par['AxisXL']))
        elif x1 > 0:
            x2 = f32(x1 - div(par['TXR'] * y * x1, par['AxisXR']))
        else:
            x2 = x1
        if y < 0:
            y2 = f32(div(x1 * par['TYB'] * y, par['AxisYB']) + y)
        elif y > 0:
            y2 = f32(y - div(x1 * par['TYT'] * y, par['AxisYT']))
        else:
            y2 = y
        xs, ys = f32(x2 * par['SX']), f32(y2 * par['SY'])
        xr.append(xs * ys * ys)
        xd.append(u * F - xs * F)
        yr.append(xs * ys * xs)
        yd.append(v * F - ys * F)
    par['K0'] = 1.0
    par['K2'] = ols1(xr, xd)
    par['K1'] = 1.0
    par['K3'] = ols1(yr, yd)


def classic(par, grid, log):
    F = float(par['Resolution']) / par['FieldSize']
    pts = [list(p) for p in grid]
    rotate(pts, log)
    pl = shape(par, pts)
    cross_terms(par, pts, F, pl)


def revised(par, grid, log):
    F = float(par['Resolution']) / par['FieldSize']
    pts = [list(p) for p in grid]
    as_given = [list(p) for p in grid]
    cx = ols1([fmul(pts[i][2], pts[i][2]) for i in (3, 4, 5)],
              [fsub(pts[i][0], pts[i][2]) for i in (3, 4, 5)])
    cy = ols1([fmul(pts[i][3], pts[i][3]) for i in (1, 4, 7)],
              [fsub(pts[i][1], pts[i][3]) for i in (1, 4, 7)])
    par['QX0'], par['QX1'] = 1.0, cx
    par['QY0'], par['QY1'] = 1.0, cy
    for p in pts:
        p[2] = f32(cx * p[2] * p[2] + p[2])
        p[3] = f32(cy * p[3] * p[3] + p[3])
    shape(par, as_given)
    cross_terms(par, pts, F, par['PLX'])
    log.append('quadratic terms: cx=%r, cy=%r' % (cx, cy))


# ---- test grids: nominal 3x3 at +-40 mm, measured by a distortion model ----

NOMINAL = [(u, v) for v in (40.0, 0.0, -40.0) for u in (-40.0, 0.0, 40.0)]


def make_grid(model, turn=0.0, shift=(0.0, 0.0)):
    """Measured = model(u, v), turned by `turn` degrees about the origin, shifted."""
    c, s = math.cos(math.radians(turn)), math.sin(math.radians(turn))
    rows = []
    for u, v in NOMINAL:
        x, y = model(u, v)
        x, y = x * c - y * s + shift[0], x * s + y * c + shift[1]
        rows.append((f32(u), f32(v), f32(x), f32(y)))
    return rows


def pincushion(u, v):
    # Half-axis scales, pincushion, trapezoid and an offset; both middle
    # lines stay straight, so neither fit rotates and the shear is 0.
    x = u * (1.0 + 2e-5 * v * v) * (1.01 if u > 0 else 0.995) + 1e-4 * u * v + 0.15
    y = v * (1.0 + 3e-5 * u * u) * (1.005 if v > 0 else 0.99) + 1.5e-4 * u * v - 0.1
    return x, y


def row_bow(u, v):
    # The middle row bows more than the middle column.
    return u * (1.0 + 2e-5 * v * v), v * (1.0 + 2.5e-5 * u * u) + 0.08 * (u / 40.0) ** 2


def column_bow(u, v):
    # The middle column bows more than the middle row.
    return u * (1.0 + 2e-5 * v * v) + 0.08 * (v / 40.0) ** 2, v * (1.0 + 2.5e-5 * u * u)


def sheared(u, v):
    # Straight middle lines at a shear of 0.002 with pincushion corners.
    return u * (1.0 + 2e-5 * v * v) + 0.002 * v, v * (1.0 + 3e-5 * u * u)


def centre_off(dx, dy, column_x=0.0):
    # An ideal square with its measured centre moved, and optionally the
    # top and bottom middle points moved sideways; small pincushion corners.
    def model(u, v):
        if u == 0.0 and v == 0.0:
            return dx, dy
        if u == 0.0:
            return column_x, v
        k = 1.0 + (1.5e-5 * u * v if u and v else 0.0)
        return u * k, v * k
    return model


GRIDS = [
    # name, grid, what it exercises (checked below against the log)
    ('pincushion', make_grid(pincushion), 'straight'),
    ('rotated_column', make_grid(row_bow, turn=0.3), 'column'),
    ('rotated_row', make_grid(column_bow, turn=-0.4, shift=(0.2, -0.1)), 'row'),
    ('sheared', make_grid(sheared), 'straight'),
    ('equal_areas', make_grid(centre_off(0.1, 0.1)), 'row'),
    ('tiny_angle', make_grid(centre_off(0.0, 2e-5, column_x=0.05)), 'skipped'),
]

FIELDS = ['AxisXL', 'AxisXR', 'AxisYT', 'AxisYB', 'OX', 'OY', 'SXL', 'SXR', 'SX',
          'SYT', 'SYB', 'SY', 'TXL', 'TXR', 'TYT', 'TYB', 'PLX', 'PLY', 'Y2XAngle',
          'K0', 'K1', 'K2', 'K3']
REVISED_FIELDS = ['QX0', 'QX1', 'QY0', 'QY1']

RECORD = {'Resolution': 65535, 'FieldSize': 110.0, 'ValSize': 80.0}


def main():
    out = ['# Generated by tests/reference/fit_reference.py; do not edit.',
           '# Doubles and floats as C99 hexadecimal literals, exact.']
    for name, grid, expect in GRIDS:
        for fit, run, fields in (('classic', classic, FIELDS),
                                 ('revised', revised, FIELDS + REVISED_FIELDS)):
            par = dict(RECORD)
            log = []
            run(par, grid, log)
            if fit == 'classic':
                assert any(expect in line for line in log), (name, log)
                if name == 'rotated_column':
                    assert any('wrapped' in line for line in log), log
                if name == 'equal_areas':
                    assert (collinear(meas(grid[1]), meas(grid[4]), meas(grid[7])) ==
                            collinear(meas(grid[3]), meas(grid[4]), meas(grid[5])))
            out.append('case %s %s' % (fit, name))
            out += ['# ' + line for line in log]
            out.append('Resolution %d' % par['Resolution'])
            out.append('FieldSize %s' % par['FieldSize'].hex())
            out.append('ValSize %s' % par['ValSize'].hex())
            for i, row in enumerate(grid):
                out.append('Pnt%d %s' % (i, ' '.join(c.hex() for c in row)))
            for f in fields:
                out.append('%s %s' % (f, par[f].hex()))
            out.append('end')
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'data',
                        'fit_reference.txt')
    with open(path, 'w') as fh:
        fh.write('\n'.join(out) + '\n')


if __name__ == '__main__':
    main()
