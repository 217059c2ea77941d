#!/usr/bin/env bash
# Builds Raster-scan and runs its main job on the built-in simulated machine. For now that job is
# the program's answer to -help=true: the usage and the names of its subtests.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"

bash tools/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target raster-scan >/dev/null

work=$(mktemp -d)
cd "$work"
# The program reads its message texts from the working directory.
cp "$top/build/raster-scan.msg" .
status=0
"$top/build/raster-scan" -help=true "$@" || status=$?
echo "raster-scan ended with status $status (working directory $work)"
exit "$status"
