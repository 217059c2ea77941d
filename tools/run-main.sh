#!/usr/bin/env bash
# Builds Raster-scan and runs its main job on the built-in simulated machine: the video memory
# test by direct hardware access, over the whole memory of the machine's display controller.
# Further arguments go to the program, e.g. -debug=true or -Coverage=10.
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
"$top/build/raster-scan" -subtest=ExtendedVideoMemoryTest "$@" || status=$?
echo "raster-scan ended with status $status (working directory $work)"
exit "$status"
