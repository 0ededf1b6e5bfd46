#!/usr/bin/env python3
"""Expected values for test_MvLsmFit.cpp, test_MVLPkg.cpp and test_FitChecks.cpp.

Written from the description of the algorithms, not from the C++ code. Python
floats are IEEE doubles and +, -, *, / round like C++ doubles without
contraction; float32 rounding is emulated with struct. Run it with python3 and
paste the printed literals into the tests (they are hex floats, exact).
"""
import itertools
import math
import struct


def f32(v):
    return struct.unpack('f', struct.pack('f', v))[0]


# ---- Leibniz determinants in the fitter's enumeration order ----------------
# The fitter fills Order[n] first, each position taking its free values from
# the largest down: the sequences (Order[n], ..., Order[1]) come out in
# descending lexicographic order, which is what itertools.permutations yields
# for the input n, n-1, ..., 1.
def permutations_in_order(n):
    for rev in itertools.permutations(range(n, 0, -1)):
        order = [0] + list(reversed(rev))  # order[p], p = 1..n
        yield order


def inversions(order, n, skip=0):
    pos = [p for p in range(1, n + 1) if p != skip]
    return sum(1 for a, i in enumerate(pos) for j in pos[a + 1:] if order[i] > order[j])


def det(N, n):
    acc = 0.0
    for order in permutations_in_order(n):
        t = -1.0 if inversions(order, n) % 2 else 1.0
        for p in range(1, n + 1):
            t = t * N[p][order[p]]
        acc = acc + t
    return acc


def minor(N, n, row, col):
    acc = 0.0
    for order in permutations_in_order(n):
        t = -1.0 if inversions(order, n, row) % 2 else 1.0
        for p in range(1, n + 1):
            if p == row:
                continue
            t = 0.0 if order[p] == col else t * N[p][order[p]]
        acc = acc + t
    return acc


def ols(rows, obs):
    """rows[s] = regressors of sample s (0-based lists); returns Coef[1..n]."""
    n, m = len(rows[0]), len(rows)
    A = [None] + [[None] + list(r) for r in rows]
    B = [None] + list(obs)
    N = [[0.0] * (n + 1) for _ in range(n + 1)]
    for i in range(1, n + 1):
        for j in range(1, n + 1):
            s = 0.0
            for k in range(1, m + 1):
                s = s + A[k][i] * A[k][j]
            N[i][j] = s
    f = 1.0 / det(N, n)
    inv = [[0.0] * (n + 1) for _ in range(n + 1)]
    for r in range(1, n + 1):
        for c in range(1, n + 1):
            v = minor(N, n, c, r)
            if (r + c) % 2:
                v = -v
            inv[r][c] = v * f
    coef = []
    for t in range(1, n + 1):
        prod = []
        for s in range(1, m + 1):
            acc = 0.0
            for k in range(1, n + 1):
                acc = acc + inv[t][k] * A[s][k]
            prod.append(acc)
        acc = 0.0
        for s in range(1, m + 1):
            acc = acc + prod[s - 1] * B[s]
        coef.append(acc)
    return coef


def one_term(r, d):
    """The one-term path spelled out: d = sum r*r; f = 1/d; Inverse = 1.0*f;
    Product[s] = 0 + Inverse*r_s; Coef = sum Product*B."""
    den = 0.0
    for v in r:
        den = den + v * v
    inv = 1.0 * (1.0 / den)
    coef = 0.0
    for v, b in zip(r, d):
        coef = coef + (0.0 + inv * v) * b
    return coef


def textbook(r, d):
    num = 0.0
    den = 0.0
    for v, b in zip(r, d):
        num = num + v * b
        den = den + v * v
    return num / den


def show(name, v):
    print(f'{name}: {v.hex()}  ({v!r})')


print('== one-term fit: first input where the fitter and the textbook differ')
found = None
for a in range(1, 40):
    for b in range(1, 40):
        r = [a / 10.0, b / 10.0, 0.3]
        d = [1.1, 2.3, 0.7]
        if one_term(r, d) != textbook(r, d):
            found = (r, d)
            break
    if found:
        break
r, d = found
print('r =', r, 'd =', d)
show('fitter', one_term(r, d))
show('textbook', textbook(r, d))
assert ols([[v] for v in r], d)[0] == one_term(r, d)

print('== two-term fit: line y = c1 + c2*x through four noisy points')
rows2 = [[1.0, 0.5], [1.0, 1.5], [1.0, 2.25], [1.0, 3.0]]
obs2 = [1.2, 2.9, 4.1, 5.3]
for i, c in enumerate(ols(rows2, obs2), 1):
    show(f'coef[{i}]', c)

print('== three-term fit: x, x*y^2, x^3*y^2 over six samples')
rows3 = [[x, x * (y * y), (x * x * x) * (y * y)] for x, y in
         [(-1.03, 1.02), (1.01, 0.98), (-0.99, 0.0), (1.02, 0.01), (0.97, -1.04), (-1.05, -0.96)]]
obs3 = [-1.0, 1.0, -1.0, 1.0, 1.0, -1.0]
for i, row in enumerate(rows3, 1):
    print(f'row {i}:', ', '.join(v.hex() for v in row))
for i, c in enumerate(ols(rows3, obs3), 1):
    show(f'coef[{i}]', c)

# The two matrices below were found by a seeded random search over one-decimal
# entries for sums whose rounding differs with every plausible enumeration
# order (this fitter's, plain ascending lexicographic, and positions filled
# first-to-last with descending values).
def leibniz_in(perms, N, n, row=0, col=0):
    acc = 0.0
    for order in perms:
        t = -1.0 if inversions(order, n, row) % 2 else 1.0
        for p in range(1, n + 1):
            if p == row:
                continue
            t = 0.0 if order[p] == col else t * N[p][order[p]]
        acc = acc + t
    return acc

def other_orders(n):
    ascending = [[0] + list(p) for p in itertools.permutations(range(1, n + 1))]
    first_to_last = [[0] + list(p) for p in itertools.permutations(range(n, 0, -1))]
    return ascending, first_to_last

def one_based(rows):
    return [[0.0] * (len(rows) + 1)] + [[0.0] + list(r) for r in rows]

print('== 3x3 determinant where the enumeration order matters')
D3 = one_based([[-5.9, 5.2, 6.6], [-3.1, -5.0, 8.3], [3.7, 6.2, -8.5]])
show('det', det(D3, 3))
for other in other_orders(3):
    assert leibniz_in(other, D3, 3) != det(D3, 3)

print('== 4x4 minor (row 2, column 3) where the enumeration order matters')
D4 = one_based([[8.3, -4.3, 1.9, -1.4], [-8.7, 1.0, -6.5, -8.0],
                [-8.4, -6.1, -7.3, 2.4], [0.1, 8.7, 7.8, 8.9]])
show('minor', minor(D4, 4, 2, 3))
for other in other_orders(4):
    assert leibniz_in(other, D4, 4, 2, 3) != minor(D4, 4, 2, 3)

print('== minors of a non-symmetric 3x3: rows and columns must not be swapped')
N3 = [[0.0] * 4] + [[0.0] + row for row in [[2.0, 3.0, 5.0], [7.0, 11.0, 13.0], [17.0, 19.0, 23.0]]]
show('minor row 1 col 2', minor(N3, 3, 1, 2))
show('minor row 2 col 1', minor(N3, 3, 2, 1))
show('det', det(N3, 3))


print('== Gauss on a 3x3 that needs a row swap')
def gauss(M):
    M = [list(r) for r in M]
    n = len(M)
    for k in range(n):
        best = k
        for i in range(k + 1, n):
            if abs(M[i][k]) > abs(M[best][k]):
                best = i
        M[k], M[best] = M[best], M[k]
        for i in range(k + 1, n):
            f = -M[i][k] / M[k][k]
            for j in range(k + 1, n + 1):
                M[i][j] = M[i][j] + f * M[k][j]
    x = [0.0] * n
    for k in range(n - 1, -1, -1):
        x[k] = M[k][n] / M[k][k]
        for i in range(k):
            M[i][n] = M[i][n] - M[i][k] * x[k]
    return x

for i, v in enumerate(gauss([[2.0, 1.0, 3.0], [1.0, 3.0, 5.0]])):
    show(f'gauss2 x[{i}]', v)
for i, v in enumerate(gauss([[0.1, 0.7, -0.3, 1.9], [0.9, 0.2, 0.4, -0.6], [-0.5, 0.8, 0.3, 0.25]])):
    show(f'gauss3 x[{i}]', v)


print('== GetCollinear in float32')
def collinear(p1, p2, p3):
    (x1, y1), (x2, y2), (x3, y3) = [(f32(x), f32(y)) for x, y in (p1, p2, p3)]
    m = lambda a, b: f32(a * b)      # float product (exact in double, then rounded)
    s = f32(m(x3, y1) + f32(m(x1, y2) + m(x2, y3)))
    s = f32(s - m(x1, y3))
    s = f32(s - m(x2, y1))
    s = f32(s - m(x3, y2))
    return f32(0.5 * abs(s))

def collinear_double(p1, p2, p3):
    (x1, y1), (x2, y2), (x3, y3) = [(f32(x), f32(y)) for x, y in (p1, p2, p3)]
    return 0.5 * abs(x3 * y1 + (x1 * y2 + x2 * y3) - x1 * y3 - x2 * y1 - x3 * y2)

pts = ((1.1, 2.3), (3.7, 5.9), (6.3, 9.6))
show('collinear float', collinear(*pts))
show('collinear in double (must differ)', collinear_double(*pts))
pts = ((0.0, 0.0), (4.0, 0.0), (0.0, 3.0))
show('collinear right triangle', collinear(*pts))

print('== GetTwoLineAngle, general case')
def angle(a0, a1, b0, b1):
    dxa = f32(a1[0]) - f32(a0[0]); dya = f32(a1[1]) - f32(a0[1])
    dxb = f32(b1[0]) - f32(b0[0]); dyb = f32(b1[1]) - f32(b0[1])
    ka = dya / dxa; kb = dyb / dxb
    return math.atan((kb - ka) / (ka * kb + 1.0))

show('angle', angle((0.1, 0.2), (10.3, 0.7), (-0.2, 0.1), (0.4, 9.8)))
show('pi/2 - atan(2)', math.pi / 2 - math.atan(2.0))
show('atan(2)', math.atan(2.0))


print('== LU solver (Crout, scaled partial pivoting, iterative refinement)')
def lu_solve(A, b, fault=None):
    """Returns (code, x). fault names a plausible slip, to pick test cases that
    expose it: 'stale_scale' (the swapped row keeps its old scale),
    'no_zero_skip' (forward pass never starts), 'judge_round0'."""
    n = len(A)
    a = [list(r[:n]) for r in A[:n]]
    scale = []
    for i in range(n):
        big = 0.0
        for j in range(n):
            if abs(a[i][j]) > big:
                big = abs(a[i][j])
        if big == 0.0:
            return 2, None
        scale.append(big)
    piv = [0] * n
    for j in range(n):
        for i in range(j):
            s = a[i][j]
            for k in range(i):
                s = s - a[i][k] * a[k][j]
            a[i][j] = s
        big, best = 0.0, j
        for i in range(j, n):
            s = a[i][j]
            for k in range(j):
                s = s - a[i][k] * a[k][j]
            a[i][j] = s
            if abs(s) / scale[i] > big:
                big, best = abs(s) / scale[i], i
        if not big > 2.2250738585072014e-308:
            return 1, None
        if best != j:
            a[best], a[j] = a[j], a[best]
            if fault != 'stale_scale':
                scale[best] = scale[j]
        piv[j] = best
        for i in range(j + 1, n):
            a[i][j] = a[i][j] / a[j][j]

    def substitute(y):
        y = list(y)
        first = None
        for i in range(n):
            p = piv[i]
            s = y[p]
            y[p] = y[i]
            if first is not None:
                for j in range(first, i):
                    s = s - a[i][j] * y[j]
            elif s != 0.0 and fault != 'no_zero_skip':
                first = i
            y[i] = s
        for i in range(n - 1, -1, -1):
            s = y[i]
            for j in range(i + 1, n):
                s = s - a[i][j] * y[j]
            y[i] = s / a[i][i]
        return y

    x = substitute(b[:n])
    for rnd in range(64):
        r = []
        for i in range(n):
            s = b[i]
            for j in range(n):
                s = s - A[i][j] * x[j]
            r.append(s)
        d = substitute(r)
        x = [xi + di for xi, di in zip(x, d)]
        if rnd == 0 and fault != 'judge_round0':
            continue
        mx = max(abs(v) for v in x)
        md = max(abs(v) for v in d)
        ratio = md / mx if mx != 0.0 else (math.nan if md == 0.0 else math.inf)
        if rnd == 1 and ratio > 0.5:
            return 1, x
        if not ratio > 5.69e-14:
            return 0, x
    return 1, x


# A 4x4 system whose rows differ in scale, with a leading zero in b, picked by
# a seeded search so that each slip above changes at least one bit of x.
import random
rng = random.Random(7)
faults = ('stale_scale', 'no_zero_skip', 'judge_round0')
while True:
    A4 = [[rng.randint(-9, 9) / 10.0 * 10.0 ** rng.randint(-3, 3) for _ in range(4)] for _ in range(4)]
    A4 = [[v * 10.0 ** rng.randint(-2, 2) for v in row] for row in A4]
    b4 = [0.0] + [rng.randint(-9, 9) / 10.0 for _ in range(3)]
    code, x4 = lu_solve(A4, b4)
    if code == 0 and all(lu_solve(A4, b4, f)[1] != x4 for f in faults):
        break
print('A =', ', '.join('{' + ', '.join(repr(v) for v in row) + '}' for row in A4))
print('b =', b4)
for i, v in enumerate(x4):
    show(f'x[{i}]', v)

H14 = [[1.0 / (i + j + 1) for j in range(14)] for i in range(14)]
code, xh = lu_solve(H14, [1.0] * 14)
print('Hilbert 14: code', code, 'x[0], x[13] =', xh[0].hex(), xh[13].hex())
