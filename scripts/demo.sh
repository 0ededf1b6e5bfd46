#!/usr/bin/env bash
# The main job from a fresh clone: installs what is missing, builds the
# default preset, then calibrates a head with the zemcal workflow, the
# virtual head standing in for the scan head and its camera (new, pattern,
# measure, fit for the nine points and two 17 x 17 grid passes), checks the
# result, draws the measured errors, and corrects points with the bundled
# sample calibration. Files go to build/demo/.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset default
cmake --build --preset default

zemcal=$PWD/build/default/tools/zemcal
rm -rf build/demo && mkdir -p build/demo && cd build/demo
step() { echo; echo "== zemcal $*"; "$zemcal" "$@"; }

step new -o lens.zcal
step pattern lens.zcal -o nine.csv
step measure --virtual nine.csv -o nine-measured.csv
step fit lens.zcal nine-measured.csv -o lens.zcal
for pass in 1 2; do
  step pattern lens.zcal --grid 17 -o grid.csv
  step measure --virtual --seed $((pass + 1)) grid.csv -o grid$pass-measured.csv
  step fit lens.zcal grid$pass-measured.csv -o lens.zcal
done
step plot --measured grid1-measured.csv -o errors.svg
step evaluate lens.zcal
step info lens.zcal
echo
echo "== zemcal correct -i examples/pattern.txt examples/sample-head.zcal"
"$zemcal" correct -i ../../examples/pattern.txt ../../examples/sample-head.zcal
