#!/usr/bin/env bash
# Builds libZemCal and runs every test: the default preset, the sanitizer
# preset, and a consumer project built against an installed copy.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

cmake --workflow --preset default
cmake --workflow --preset sanitize

# Install into a scratch prefix and build the example host against it, as a
# user's project would, then run it on a calibration file.
prefix="$PWD/build/install"
rm -rf "$prefix" build/host
cmake --install build/default --prefix "$prefix" >/dev/null
cmake -S examples/host -B build/host -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build build/host >/dev/null
LD_LIBRARY_PATH="$prefix/lib" build/host/zemcal_host tests/data/facade_head.cor 110
# The Python module is installed beside the library and loads from there.
PYTHONPATH="$prefix/lib" /usr/bin/python3 examples/python/correct.py examples/sample-head.zcal >/dev/null

# A short fuzz run of the three loaders (clang, libFuzzer); fuzz/README.md
# tells how to run them for hours.
scripts/fuzz.sh 30
echo "All tests passed."
