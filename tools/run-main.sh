#!/usr/bin/env bash
# Builds Raster-scan and its shell and runs the main job (suites/main.ini) through the shell, on
# the simulated machine and the virtual clock: the screen subtests calibrate on the built-in
# (known good) machine and then verify every mode on the field machine, with a screenshot of every
# test window; then the video memory tests, video playback, rotation and monitor power management
# with a scripted operator, and the video ports. The shell shows each step's progress, ends with a
# table of verdicts and the path of report.html (beside it junit.xml and results.json).
#   bash tools/run-main.sh [shell options...]       e.g. --locale de_DE, --out DIR
# RASTERSCAN_MACHINE=<file> verifies on another machine, e.g. machines/display-stuck-pixel.ini.
# The exit status is not 0 when a step did not pass.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
# A machine named relative to where the script was started.
case "${RASTERSCAN_MACHINE:-}" in
  "" | /*) ;;
  *) export RASTERSCAN_MACHINE="$PWD/$RASTERSCAN_MACHINE" ;;
esac
cd "$top"

bash tools/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target raster-scan make-media raster-shell >/dev/null

exec build/raster-shell run suites/main.ini "$@"
