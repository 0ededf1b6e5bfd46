#!/usr/bin/env bash
# Fuzzes the three loaders with libFuzzer under AddressSanitizer and
# UndefinedBehaviorSanitizer: the binary calibration file, the text
# correction-file import and the INI store, each for SECONDS (default 60),
# one after the other, starting from the committed corpus.
#
# Usage: scripts/fuzz.sh [SECONDS]
# Fails on the first finding; the input is left in build/fuzz/findings/<target>/
# (replay it with build/fuzz/fuzz/zemcal_fuzz_<target> FILE). New inputs the
# fuzzer finds interesting go to build/fuzz/corpus/<target>/, never into
# fuzz/corpus/. Long runs: see fuzz/README.md.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-60}"
build=build/fuzz
targets=(bcd_load cor_load cfg_file)

# The whole tree carries the coverage instrumentation (fuzzer-no-link), so
# that libFuzzer sees the library's branches, not only the targets'.
sanitizers="-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer"
CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_FLAGS="$sanitizers -fsanitize=fuzzer-no-link" \
  -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" \
  -DBUILD_SHARED_LIBS=OFF -DZEMCAL_BUILD_FUZZERS=ON -DZEMCAL_BUILD_TESTS=OFF \
  -DZEMCAL_BUILD_TOOLS=OFF -DZEMCAL_BUILD_BENCH=OFF -DZEMCAL_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" -j2 --target "${targets[@]/#/zemcal_fuzz_}"

# Every save syncs its file; on tmpfs that costs nothing.
if [ -d /dev/shm ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; fi
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

# Inputs large enough for the binary file's grid tables (from offset 64000)
# and for a text file with a complete 25 x 25 grid.
declare -A max_len=([bcd_load]=70000 [cor_load]=32768 [cfg_file]=4096)

for target in "${targets[@]}"; do
  work="$build/corpus/$target"
  findings="$build/findings/$target"
  mkdir -p "$work" "$findings"
  echo "== $target: ${seconds}s"
  "$build/fuzz/zemcal_fuzz_$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -max_len="${max_len[$target]}" -dict="fuzz/dict/$target.dict" -artifact_prefix="$findings/" \
    -print_final_stats=1 "$work" "fuzz/corpus/$target" 2>"$build/$target.log" ||
    { tail -n 60 "$build/$target.log"; echo "fuzz: finding in $target (input in $findings/)"; exit 1; }
  grep -E '^(#[0-9]+.*DONE|stat::number_of_executed_units|stat::peak_rss_mb)' "$build/$target.log" || true
done
echo "fuzz: no findings"
