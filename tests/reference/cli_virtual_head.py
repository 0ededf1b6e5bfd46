#!/usr/bin/env python3
"""Reference landing positions of the zemcal tool's virtual head.

Written from the physical model alone (two-mirror beam direction, f-theta
lens r = f T + f2 T^2 + f3 T^3, then the mounting errors), independently of
tools/zemcal/VirtualHead.cpp. Prints C++ table rows pasted into
tests/cli/test_VirtualHead.cpp.
"""
import math


def lens(f, f2, f3, thx, thy):
    # Beam after the X then the Y mirror.
    d = (math.sin(thx), math.cos(thx) * math.sin(thy), math.cos(thx) * math.cos(thy))
    T = math.acos(max(-1.0, min(1.0, d[2])))
    if T == 0.0:
        return 0.0, 0.0
    r = f * T + f2 * T * T + f3 * T ** 3
    return r * d[0] / math.sin(T), r * d[1] / math.sin(T)


def land(p, gx, gy):
    k = p["res"] / p["span"]
    c = (p["res"] + 1) // 2
    thx = (gx - c) / k / p["f"]
    thy = (gy - c) / k / p["f"]
    x, y = lens(p["f"], p["f2"], p["f3"], thx, thy)
    if p["ix"]:
        x = -x
    if p["iy"]:
        y = -y
    if p["swap"]:
        x, y = y, x
    x *= 1 + (p["sl"] if x < 0 else p["sr"]) / 100
    y *= 1 + (p["sb"] if y < 0 else p["st"]) / 100
    half = p["val"] / 2
    x, y = x * (1 + p["tx"] / 100 * y / half), y * (1 + p["ty"] / 100 * x / half)
    x = x + math.tan(math.radians(p["shear"])) * y
    a = math.radians(p["rot"])
    return (math.cos(a) * x - math.sin(a) * y + p["ox"],
            math.sin(a) * x + math.cos(a) * y + p["oy"])


ideal = dict(f=160.0, f2=0.0, f3=0.0, val=100.0, span=110.0, res=65535, rot=0.0,
             sl=0.0, sr=0.0, st=0.0, sb=0.0, tx=0.0, ty=0.0, shear=0.0, ox=0.0, oy=0.0,
             swap=False, ix=False, iy=False)
mounted = dict(ideal, rot=0.3, sl=0.25, sr=-0.15, st=0.2, sb=-0.3, tx=0.1, ty=-0.06,
               shear=0.05, ox=0.04, oy=-0.03)
cubic = dict(ideal, f=100.0, f2=-3.0, f3=5.0, span=120.0)
flipped = dict(mounted, swap=True, ix=True)

k = 65535 / 110.0
cases = [
    ("IdealCorner", "I", ideal, 32768 + 50 * k, 32768 + 50 * k),
    ("IdealEdgeX", "I", ideal, 32768 + 50 * k, 32768),
    ("IdealOffAxis", "I", ideal, 32768 - 20 * k, 32768 + 35 * k),
    ("MountedCentre", "M", mounted, 32768, 32768),
    ("MountedCorner", "M", mounted, 32768 - 50 * k, 32768 - 50 * k),
    ("MountedTopRight", "M", mounted, 32768 + 45 * k, 32768 + 30 * k),
    ("CubicLens", "C", cubic, 32768 + 40 * 65535 / 120.0, 32768 - 55 * 65535 / 120.0),
    ("SwappedInverted", "M sx", flipped, 32768 + 40 * k, 32768 - 10 * k),
]
# The second field names the head as the C++ test builds it: I ideal, M
# mounted, C cubic lens; after a space, s swap, x invert-x, y invert-y.
for name, head, p, gx, gy in cases:
    x, y = land(p, gx, gy)
    print('        {"%s", "%s", %.17g, %.17g, %.17g, %.17g},' % (name, head, gx, gy, x, y))
