#!/usr/bin/env bash
# Runs the benchmarks (bench/) and prints one table with the targets.
#
#   scripts/bench.sh [BUILD_DIR] [extra Google Benchmark options]
#
# BUILD_DIR defaults to build/default (configure and build it first, e.g.
# with `cmake --workflow --preset default`). Each benchmark runs REPS times
# (default 5); the table shows the smallest and the median CPU time of the
# repetitions, which are the least disturbed by other work on the machine.
# Point benchmarks are in ns per point, the others in us per call.
set -euo pipefail
build=${1:-build/default}
shift || true
bin="$build/bench/zemcal_bench"
if [ ! -x "$bin" ]; then
  echo "bench.sh: $bin not found: build the project first (cmake --build $build)" >&2
  exit 1
fi
json=$(mktemp)
log=$(mktemp)
trap 'rm -f "$json" "$log"' EXIT
# The console output (and Google Benchmark's own banner) only on failure.
if ! "$bin" --benchmark_repetitions="${REPS:-5}" --benchmark_report_aggregates_only=true \
    --benchmark_out="$json" --benchmark_out_format=json "$@" > "$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi

python3 - "$json" <<'PY'
import json
import sys

data = json.load(open(sys.argv[1]))
ctx = data["context"]
stats = {}
for b in data["benchmarks"]:
    aggregate = b.get("run_type") == "aggregate"
    name = b["run_name"] if "run_name" in b else b["name"]
    unit = {"ns": 1.0, "us": 1e3, "ms": 1e6}[b["time_unit"]]
    s = stats.setdefault(name, {"point": "items_per_second" in b})
    # One repetition gives no aggregates: the run stands for both.
    for agg in ([b["aggregate_name"]] if aggregate else ["min", "median"]):
        if not aggregate and agg in s:
            continue
        s[agg] = b["cpu_time"] * unit  # ns per iteration
        if "items_per_second" in b:
            s[agg + "_rate"] = b["items_per_second"]

def points_per_iteration(s):
    return s["median_rate"] * s["median"] / 1e9

def point_ns(name):
    s = stats[name]
    return s["min"] / points_per_iteration(s)

print("Run on %d x %.0f MHz, %s, load %s" % (ctx["num_cpus"], ctx["mhz_per_cpu"], ctx["date"],
      ", ".join("%.2f" % x for x in ctx.get("load_avg", []))))
print()
print("%-46s %12s %12s %12s" % ("benchmark", "min", "median", "points/s"))
for name, s in stats.items():
    if "min" not in s or "median" not in s:
        continue
    if s["point"]:
        n = points_per_iteration(s)
        lo, med = s["min"] / n, s["median"] / n
        print("%-46s %9.1f ns %9.1f ns %11.2fM" % (name, lo, med, 1e3 / lo))
    else:
        print("%-46s %9.2f us %9.2f us" % (name, s["min"] / 1e3, s["median"] / 1e3))

checks = []
def check(label, ok, detail):
    checks.append((label, ok, detail))

def guarded(f):
    """Runs one group of checks; a benchmark filtered out skips it."""
    try:
        f()
    except KeyError:
        pass

def faster_with_a_table():
    for v in ("classic", "revised"):
        f, c = point_ns("BM_CalibPoint/%s_65" % v), point_ns("BM_Corrector/%s_65" % v)
        check("%s, one 65x65 table: >= 10x faster than CalibPoint" % v, f / c >= 10, "%.0fx" % (f / c))

def cost_of_tables(kind, name):
    for pattern in ("", "_path"):
        none, one = point_ns(name % ("none" + pattern)), point_ns(name % ("65" + pattern))
        three = point_ns(name % ("65x3" + pattern))
        what = "%s call, %s points" % (kind, "path" if pattern else "scattered")
        check("%s: one table <= 2x no table" % what, one <= 2 * none, "%.2fx" % (one / none))
        check("%s: three tables < 100 ns" % what, three < 100, "%.1f ns" % three)

def cost_of_search(kind, name):
    # A 2x2 table is one cell over the whole field: the same residual per
    # point as a 65x65 table, without a search. The difference is the search.
    cell, grid = point_ns(name % "2"), point_ns(name % "65")
    check("%s call: 65x65 search adds < 15 %% to one cell" % kind, grid <= 1.15 * cell,
          "%.1f vs %.1f ns" % (grid, cell))

def no_table():
    for v in ("classic", "revised"):
        f, c = point_ns("BM_CalibPoint/%s_none" % v), point_ns("BM_Corrector/%s_none" % v)
        check("%s, no table: at least as fast as CalibPoint" % v, c <= f * 1.05, "%.1f vs %.1f ns" % (c, f))
    rate = 1e3 / point_ns("BM_CorrectorArray/revised_none")
    check("no table: array call >= 25 M points/s", rate >= 25, "%.1f M/s" % rate)

def operations():
    for v in ("classic", "revised"):
        us = stats["BM_Fit/" + v]["min"] / 1e3
        check("fit (%s) < 50 us" % v, us < 50, "%.2f us" % us)
    us = stats["BM_LoadBinary"]["min"] / 1e3
    check("binary load with a 65x65 table < 1 ms", us < 1000, "%.1f us" % us)

guarded(faster_with_a_table)
guarded(lambda: cost_of_tables("single", "BM_Corrector/revised_%s"))
guarded(lambda: cost_of_tables("array", "BM_CorrectorArray/revised_%s"))
guarded(lambda: cost_of_search("single", "BM_Corrector/revised_%s"))
guarded(lambda: cost_of_search("array", "BM_CorrectorArray/revised_%s"))
guarded(no_table)
guarded(operations)

print()
print("Targets (smallest CPU time of the repetitions; within 5 % counts as equal):")
for label, ok, detail in checks:
    print("  %-4s %-62s %s" % ("ok" if ok else "MISS", label, detail))
PY
