#!/usr/bin/env python3
"""Expected values of computed defaults of the text import, printed as hex
floats for tests/test_CorFile.cpp. float32 narrowing emulated with struct."""
import struct


def f32(x):
    return struct.unpack("<f", struct.pack("<f", x))[0]


def dbits(x):
    return "0x%016X" % struct.unpack("<Q", struct.pack("<d", x))[0]


# ValSize=0.1: stored through float; the axis defaults are ValSize*0.5 in
# double, narrowed to float.
val = f32(0.1)
print("ValSize 0.1      ", dbits(val))
print("AxisXL default   ", dbits(f32(val * 0.5)))

# Test-line default with FieldSize 100 and LineCount 250 (only 100 read):
# i*step + FieldSize*-0.5 in double, narrowed to float.
step = 100.0 / (250 - 1)
for i in (1, 99):
    print("XT[%d] of 250     " % i, float.hex(f32(i * step + 100.0 * -0.5)))

# Center for Resolution 2147483647: the +1 wraps in 32 bits, then / 2
# truncating toward zero.
wrapped = ((2147483647 + 1 + 2**31) % 2**32) - 2**31
center = int(wrapped / 2)
print("Center INT32_MAX ", center, "CenterSq", dbits(float(center) * float(center)))
