#!/usr/bin/env bash
# Builds libZemCal and runs every test: the default preset, the sanitizer
# preset, and a consumer project built against an installed copy.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

cmake --workflow --preset default
cmake --workflow --preset sanitize

# Install into a scratch prefix and build an outside consumer against it.
prefix="$PWD/build/install"
rm -rf "$prefix" build/consumer
cmake --install build/default --prefix "$prefix" >/dev/null
cmake -S tests/find-package -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build build/consumer >/dev/null
LD_LIBRARY_PATH="$prefix/lib" build/consumer/consumer
echo "All tests passed."
