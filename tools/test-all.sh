#!/usr/bin/env bash
# Runs every test of Raster-scan: the native build's unit and end-to-end tests, the same tests
# built with the address and undefined-behaviour sanitizers, the fuzz targets each for a bounded
# time, and the Windows tests (tools/test-windows.sh): the cross builds (32-bit, the product, and
# 64-bit) and the 32-bit build under Wine: end-to-end transcripts, backend unit tests, subtests on
# an X screen.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
jobs=$(nproc)

bash tools/install-deps.sh
# What the Windows tests install besides, and where 32-bit Wine cannot be installed the 32-bit root
# (minutes of downloading), comes meanwhile.
windows_deps_log=$(mktemp)
bash tools/install-deps.sh --windows >"$windows_deps_log" 2>&1 &
windows_deps=$!

step() { printf '\n== %s (%s)\n' "$*" "$(date +%T)"; }

step "Links of the README and the docs"
python3 tools/check-links.py

step "Native build and tests"
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs"

step "Sanitizer build and tests"
cmake -S . -B build-sanitize -DCMAKE_BUILD_TYPE=Debug -DRASTERSCAN_SANITIZE=ON -DRASTERSCAN_E2E_RUNNER=OFF \
  -DRASTERSCAN_SHELL=OFF >/dev/null
cmake --build build-sanitize -j"$jobs"
ctest --test-dir build-sanitize --output-on-failure -j"$jobs"
# The end-to-end cases, by the native runner, against the sanitized program.
RASTERSCAN_E2E_PROGRAM="$top/build-sanitize/raster-scan" \
RASTERSCAN_E2E_PROBE="$top/build-sanitize/tests/probe-diagnostic" \
  ctest --test-dir build --output-on-failure -j"$jobs" -L e2e

step "Fuzz targets, a bounded run each"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DRASTERSCAN_TESTS=OFF \
  -DRASTERSCAN_FUZZ=ON -DRASTERSCAN_SHELL=OFF >/dev/null
cmake --build build-fuzz -j"$jobs" --target fuzz-targets
fuzz_seconds=${RASTERSCAN_FUZZ_SECONDS:-5}
for target in build-fuzz/tests/fuzz/fuzz-*; do
  [ -f "$target" ] && [ -x "$target" ] || continue
  corpus=$(mktemp -d)
  # The clip reader starts from the media kit's clip, so that it gets past the AVI header at once.
  if [ "$(basename "$target")" = fuzz-clip-reader ]; then
    kit=$(mktemp -d)
    build/make-media "$kit" && cp "$kit/clock.avi" "$corpus/"
    rm -rf "$kit"
  fi
  (cd "$corpus" && "$top/$target" -max_total_time="$fuzz_seconds" . 2>&1 | tail -20)
  rm -rf "$corpus"
done

# The Windows cross builds and the Windows build under Wine.
status=0
wait "$windows_deps" || status=$?
cat "$windows_deps_log"
rm -f "$windows_deps_log"
[ "$status" -eq 0 ] || { echo "error: installing what the Windows tests need failed" >&2; exit 1; }
bash tools/test-windows.sh
printf "\n== done (%s)\n" "$(date +%T)"
