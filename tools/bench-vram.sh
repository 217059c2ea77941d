#!/usr/bin/env bash
# Video memory walk throughput: the write-read-compare walk of ExtendedVideoMemoryTest over
# simulated video memory against a minimal volatile byte loop with the same eight patterns, as
# one ratio from one run (the walk should reach at least 0.8).
#   bash tools/bench-vram.sh [megabytes] [rounds]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build="${RASTERSCAN_BENCH_BUILD:-$top/build}"

cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target bench-vram >/dev/null
"$build/tools/bench-vram" "${1:-64}" "${2:-5}"
