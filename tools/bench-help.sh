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
# The two take turns in five rounds, and each keeps its best round: a busy moment of a shared
# machine then weighs on neither.
rounds=5
per_round=$(((runs + rounds - 1) / rounds))
measure() {
  local start end
  start=$(date +%s%N)
  for ((i = 0; i < per_round; i++)); do "$@" >/dev/null; done
  end=$(date +%s%N)
  echo $(((end - start) / per_round / 1000))
}

trivial=0 program=0
for ((round = 0; round < rounds; round++)); do
  t=$(measure "$top/build/tools/bench-trivial")
  p=$(measure "$top/build/raster-scan" -help=true)
  if [ "$trivial" -eq 0 ] || [ "$t" -lt "$trivial" ]; then trivial=$t; fi
  if [ "$program" -eq 0 ] || [ "$p" -lt "$program" ]; then program=$p; fi
done
echo "runs:                 $((per_round * rounds)) each, best of $rounds rounds"
echo "trivial program:      $trivial us per process"
echo "raster-scan -help:    $program us per process"
awk -v p="$program" -v t="$trivial" 'BEGIN { printf "ratio:                %.2f\n", p / t }'
