#!/usr/bin/env bash
# Runs every test of Raster-scan: the native build's unit and end-to-end tests, the same tests
# built with the address and undefined-behaviour sanitizers, the Windows cross builds (32-bit, the
# product, and 64-bit), and the end-to-end transcripts against the 64-bit build under Wine; the fuzz
# targets each run for a bounded time.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
jobs=$(nproc)

bash tools/install-deps.sh --windows

step() { printf '\n== %s\n' "$*"; }

step "Native build and tests"
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs"

step "Sanitizer build and tests"
cmake -S . -B build-sanitize -DCMAKE_BUILD_TYPE=Debug -DRASTERSCAN_SANITIZE=ON >/dev/null
cmake --build build-sanitize -j"$jobs"
ctest --test-dir build-sanitize --output-on-failure -j"$jobs"

step "Fuzz targets, a bounded run each"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DRASTERSCAN_TESTS=OFF \
  -DRASTERSCAN_FUZZ=ON >/dev/null
cmake --build build-fuzz -j"$jobs" --target fuzz-targets make-media
fuzz_seconds=${RASTERSCAN_FUZZ_SECONDS:-20}
for target in build-fuzz/tests/fuzz/fuzz-*; do
  [ -f "$target" ] && [ -x "$target" ] || continue
  corpus=$(mktemp -d)
  # The clip reader starts from the media kit's clip, so that it gets past the AVI header at once.
  if [ "$(basename "$target")" = fuzz-clip-reader ]; then
    build-fuzz/make-media "$corpus" && rm -f "$corpus/ball.bmp"
  fi
  (cd "$corpus" && "$top/$target" -max_total_time="$fuzz_seconds" . 2>&1 | tail -20)
  rm -rf "$corpus"
done

for arch in i686 x86_64; do
  step "Windows cross build ($arch)"
  cmake -S . -B "build-win-$arch" -DCMAKE_TOOLCHAIN_FILE="cmake/mingw-w64-$arch.cmake" \
    -DCMAKE_BUILD_TYPE=Release >/dev/null
  cmake --build "build-win-$arch" -j"$jobs"
done

step "End-to-end transcripts under Wine (64-bit build)"
export WINEDEBUG=-all
export WINEPREFIX="${WINEPREFIX:-$top/build-win-x86_64/wineprefix}"
wineboot --init >/dev/null 2>&1 || true
# Let the first start of the prefix finish before the tests start their own wine processes.
wineserver -w || true
RASTERSCAN_E2E_PROGRAM="$top/build-win-x86_64/raster-scan.exe" \
RASTERSCAN_E2E_PROBE="$top/build-win-x86_64/tests/probe-diagnostic.exe" \
RASTERSCAN_E2E_LAUNCHER=wine \
  "$top/build/tests/e2e-tests" --gtest_brief=1

step "Unit tests of the win32 backends under Wine"
# Same prefix as the transcripts. The 32-bit build, the product, needs a 32-bit Wine (Debian's
# wine32:i386, not installed by default); the 64-bit build runs the same tests in any case.
win_arches=(x86_64)
[ -d /usr/lib/i386-linux-gnu/wine/i386-unix ] && win_arches=(i686 x86_64)
for arch in "${win_arches[@]}"; do
  echo "-- $arch"
  cmake --build "build-win-$arch" -j"$jobs" --target unit-tests-win32
  wine "build-win-$arch/tests/unit-tests-win32.exe" --gtest_brief=1
done
[ "${win_arches[0]}" = i686 ] || echo "-- i686: skipped, no 32-bit Wine"

step "VideoMemoryTest under Wine on an X screen (64-bit build)"
# Wine's DirectDraw on a virtual X screen: the primary surface it locks is real memory, filled and
# read back by the Windows build. The run must pass and say which surface it walked.
# A Wine server left from the steps before has its desktop without an X screen, and DirectDraw
# refuses exclusive mode there: this run starts one of its own.
wineserver -k 2>/dev/null || true
wineserver -w || true
scratch=$(mktemp -d)
cp "$top/messages/raster-scan.msg" "$scratch/"
status=0
(cd "$scratch" && xvfb-run -a -s "-screen 0 1024x768x24" wine "$top/build-win-x86_64/raster-scan.exe" \
  -subtest=VideoMemoryTest >protocol.txt 2>/dev/null) || status=$?
tr -d '\r' <"$scratch/protocol.txt" >"$scratch/protocol.unix"
grep -E '^LogMessage 6 4[23] |^ReportFailure|^TestFailed' "$scratch/protocol.unix" || true
if [ "$status" -ne 0 ] || ! grep -q '^LogMessage 3 3 "" ""$' "$scratch/protocol.unix" ||
   [ "$(tail -n 1 "$scratch/protocol.unix")" != EndOfTest ]; then
  echo "VideoMemoryTest under Wine failed (status $status):"
  cat "$scratch/protocol.unix"
  exit 1
fi
echo "VideoMemoryTest under Wine: passed"
rm -rf "$scratch"

step "OpenGL3DRenderingTest under Wine on an X screen (64-bit build)"
# Wine's opengl32 on Mesa's software GLX: the run passes only when a pixel format was set and a
# context made, and the 200 frames drawn; the sum is not compared, as the sim's calibration does
# not hold for another renderer and window frame.
wineserver -k 2>/dev/null || true
wineserver -w || true
scratch=$(mktemp -d)
cp "$top/messages/raster-scan.msg" "$scratch/"
"$top/build/make-media" "$scratch"
status=0
(cd "$scratch" && xvfb-run -a -s "-screen 0 1024x768x24" wine "$top/build-win-x86_64/raster-scan.exe" \
  -subtest=OpenGL3DRenderingTest -interactive=false -VerifyChecksum=false -Mode1024x768x32=true \
  >protocol.txt 2>/dev/null) || status=$?
tr -d '\r' <"$scratch/protocol.txt" >"$scratch/protocol.unix"
if [ "$status" -ne 0 ] || ! grep -q '^LogMessage 3 3 "" ""$' "$scratch/protocol.unix" ||
   [ "$(tail -n 1 "$scratch/protocol.unix")" != EndOfTest ]; then
  echo "OpenGL3DRenderingTest under Wine failed (status $status):"
  cat "$scratch/protocol.unix"
  exit 1
fi
echo "OpenGL3DRenderingTest under Wine: passed"
rm -rf "$scratch"
