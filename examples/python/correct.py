"""A Python host: load the bundled sample calibration, print its basic fields
and correct a row of points as one numpy array."""
import sys

import numpy as np
import zemcal

path = sys.argv[1] if len(sys.argv) > 1 else "examples/sample-head.zcal"
cal = zemcal.Calibration.load(path)  # a text file: load(path, field_size=110.0)
info = cal.info()
print("field %g mm, working %g mm, resolution %d, grid tables %s"
      % (info["field_size"], info["working_size"], info["resolution"], info["tables"]))

points = np.array([[40, -25], [-50, 10], [-25, 10], [0, 10], [25, 10], [50, 10]], dtype=np.float32)
for x, y in cal.correct(points):  # mm in, galvo units out, (N, 2) float32
    print("%.9g %.9g" % (x, y))
