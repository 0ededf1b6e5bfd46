#!/usr/bin/env python3
"""Writes tests/data/facade_head.cor: a text correction file for the facade's
end-to-end tests: nine points of a mildly pincushioned, rotated field, a 5x5
and a 9x9 grid table with small residuals, 21 test lines, and axis flags.
The numbers only need to be realistic, not exact; run once and commit."""
import math, os

def measured(u, v):
    # pincushion + 0.2 degree rotation + a little trapezoid, in mm
    r2 = u * u + v * v
    x = u * (1 + 0.7e-5 * r2) + 0.02
    y = v * (1 + 0.8e-5 * r2) * (1 + 0.0004 * u) - 0.01
    a = math.radians(0.2)
    return x * math.cos(a) - y * math.sin(a), x * math.sin(a) + y * math.cos(a)

def grid_residual(u, v):
    return 0.003 * math.sin(u / 7.0), 0.002 * math.cos(v / 9.0)

half = 50.0
lines = ["; facade end-to-end fixture", "[CalCoefs]", "ValSize=100", "Resolution=65535",
         "LEN_XYFLIP=0", "LEN_XINVERT=1", "LEN_YINVERT=0", "order=9", "[Cal3]"]
i = 0
for v in (half, 0.0, -half):
    for u in (-half, 0.0, half):
        x, y = measured(u, v)
        lines.append(f"PNT{i}={u:g} {v:g} {x:.6f} {y:.6f}")
        i += 1
lines.append("grid=0")
lines.append("LineCount=21")
for k in range(21):
    t = -half + k * 5.0
    lines.append(f"XT{k}={t:g}")
    lines.append(f"YT{k}={t:g}")
    lines.append(f"XR{k}={1 + 0.0001 * k:.6f}")
    lines.append(f"YR{k}={1 - 0.0001 * k:.6f}")
for n in (5, 9):
    lines.append(f"[Cal{n}]")
    step = 2 * half / (n - 1)
    j = 0
    for r in range(n):
        v = half - r * step
        for c in range(n):
            u = -half + c * step
            dx, dy = grid_residual(u, v)
            lines.append(f"PNT{j}={u:g} {v:g} {u + dx:.6f} {v + dy:.6f}")
            j += 1

out = os.path.join(os.path.dirname(__file__), "..", "data", "facade_head.cor")
with open(out, "w") as f:
    f.write("\n".join(lines) + "\n")
