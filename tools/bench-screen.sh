#!/usr/bin/env bash
# Screen walks on a 1920x1080x32 primary surface, as two ratios from one run: ChecksumSurface
# throughput against memcpy of the same bytes (it reads each byte once and writes none: at least
# 1.5), and ComparePixelDumps on two dumps with a few hundred scattered bytes changed against cmp -l
# of the same two files (at least 1.5 times faster). Both compare times are wall-clock means per
# run. cmp writes its list to a file: with its output on /dev/null GNU cmp stops at the first
# difference, and its time is then only that of starting a process.
#   bash tools/bench-screen.sh [cmp runs]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build="${RASTERSCAN_BENCH_BUILD:-$top/build}"
runs="${1:-20}"

cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target bench-screen >/dev/null
folder=$(mktemp -d /tmp/bench-screen-XXXXXX)
trap 'rm -rf "$folder"' EXIT

# The benchmark leaves its two dumps in the folder for cmp.
output=$("$build/tools/bench-screen" "$folder")
echo "$output"
compare_ms=$(echo "$output" | awk '/^ComparePixelDumps .* ms per compare/ { print $2 }')
cal=$(echo "$output" | awk '/^ComparePixelDumps .* ms per compare/ { print $7 }')
fal=$(echo "$output" | awk '/^ComparePixelDumps .* ms per compare/ { print $9 }')
[ -n "$compare_ms" ] && [ -f "$cal" ] && [ -f "$fal" ] || { echo "bench-screen gave no compare figure" >&2; exit 1; }

# cmp -l exits 1 when the files differ, which they do.
cmp -l "$cal" "$fal" >"$folder/cmp.out" || true
start=$EPOCHREALTIME
for ((n = 0; n < runs; n++)); do cmp -l "$cal" "$fal" >"$folder/cmp.out" || true; done
end=$EPOCHREALTIME
awk -v s="$start" -v e="$end" -v n="$runs" -v c="$compare_ms" -v d="$(wc -l <"$folder/cmp.out")" 'BEGIN {
  cmp_ms = (e - s) * 1000 / n
  printf "cmp -l            %.3f ms per run (%d differing bytes, %d runs)\n", cmp_ms, d, n
  printf "ComparePixelDumps %.2f x faster than cmp -l (%.3f ms against %.3f ms)\n", cmp_ms / c, c, cmp_ms
}'
