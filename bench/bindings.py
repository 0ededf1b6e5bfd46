#!/usr/bin/python3
"""What the bindings add to the C++ array call, on one million points.

    bench/bindings.py [BUILD_DIR]        (default build/default; REPS=9 repetitions)

Runs the C++ and C-interface array benchmarks of zemcal_bench (bench_Bindings.cpp)
and times the Python module's Calibration.correct on the same points with the same
calibration (examples/sample-head.zcal), then prints the smallest wall time of the
repetitions of each and the ratios against the targets (Python within 1.5x of C++,
the C interface within 1.1x). Uses the Debian interpreter, which has numpy.
"""
import json
import os
import subprocess
import sys
import time

root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
build = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, "build", "default"))
reps = int(os.environ.get("REPS", "9"))
sys.path.insert(0, os.path.join(build, "python"))

import numpy as np  # noqa: E402
import zemcal  # noqa: E402

sample = os.path.join(root, "examples", "sample-head.zcal")
bench = os.path.join(build, "bench", "zemcal_bench")
run = subprocess.run([bench, "--benchmark_filter=Bindings", "--benchmark_format=json",
                      "--benchmark_repetitions=%d" % reps], capture_output=True, text=True, check=True)
runs = {}
for b in json.loads(run.stdout)["benchmarks"]:
    if b.get("run_type") == "iteration":
        scale = {"ns": 1e-6, "us": 1e-3, "ms": 1.0}[b["time_unit"]]
        runs.setdefault(b["run_name"].split("/")[0], []).append(b["real_time"] * scale)
cpp, capi = min(runs["BM_BindingsCppArray"]), min(runs["BM_BindingsCApiArray"])

# The points of bench_Bindings.cpp: fractional parts of i times two irrational steps.
i = np.arange(1_000_000, dtype=np.float64)
points = np.empty((i.size, 2), dtype=np.float32)
points[:, 0] = -66.0 + 132.0 * np.fmod(i * 0.6180339887498949, 1.0)
points[:, 1] = -66.0 + 132.0 * np.fmod(i * 0.7548776662466927, 1.0)
cal = zemcal.Calibration.load(sample)
cal.correct(points)  # warm up: page in the output and the tables
times = []
for _ in range(reps):
    start = time.perf_counter()
    cal.correct(points)
    times.append((time.perf_counter() - start) * 1e3)
python = min(times)

print("1,000,000 points, %s, smallest wall time of %d runs" % (os.path.basename(sample), reps))
print("  C++ CPointCorrector::Correct (array)  %8.2f ms" % cpp)
print("  C zemcal_correct_array                %8.2f ms   %.3fx C++  (target <= 1.1x: %s)"
      % (capi, capi / cpp, "ok" if capi <= 1.1 * cpp else "MISS"))
print("  Python Calibration.correct            %8.2f ms   %.3fx C++  (target <= 1.5x: %s)"
      % (python, python / cpp, "ok" if python <= 1.5 * cpp else "MISS"))
