#!/usr/bin/env bash
# The whole workflow on the bundled sample calibration, from a fresh clone:
# installs what is missing, builds the default preset, shows the calibration,
# corrects a test pattern, evaluates it on the virtual head it was made for,
# and draws the field to build/field.svg.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset default
cmake --build --preset default

zemcal=build/default/tools/zemcal
sample=examples/sample-head.zcal

echo "== zemcal info $sample"
"$zemcal" info "$sample"
echo
echo "== zemcal correct -i examples/pattern.txt $sample"
"$zemcal" correct -i examples/pattern.txt "$sample"
echo
echo "== zemcal evaluate $sample"
"$zemcal" evaluate "$sample"
echo
echo "== zemcal plot $sample -o build/field.svg"
"$zemcal" plot "$sample" -o build/field.svg
