#!/usr/bin/env bash
# Start-up cost: the whole-process time of "raster-scan -help=true" (twelve subtests constructed,
# their arguments declared, the usage printed) against a trivial C++ program built alongside,
# each run the same number of times, as one ratio.
#   bash tools/bench-help.sh [runs]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
runs=${1:-300}

cmake -S "$top" -B "$top/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$top/build" -j"$(nproc)" --target raster-scan bench-trivial >/dev/null

cd "$(mktemp -d)"
measure() {
  local start end
  start=$(date +%s%N)
  for ((i = 0; i < runs; i++)); do "$@" >/dev/null; done
  end=$(date +%s%N)
  echo $(((end - start) / runs / 1000))
}

trivial=$(measure "$top/build/tools/bench-trivial")
program=$(measure "$top/build/raster-scan" -help=true)
echo "runs:                 $runs each"
echo "trivial program:      $trivial us per process"
echo "raster-scan -help:    $program us per process"
awk -v p="$program" -v t="$trivial" 'BEGIN { printf "ratio:                %.2f\n", p / t }'
