#!/usr/bin/env bash
# Runs the Windows tests of Raster-scan: the 32-bit (the product) and 64-bit cross builds, and the
# 32-bit build under Wine: end-to-end transcripts, backend unit tests, and on a virtual X screen
# VideoMemoryTest, a blank screen read, the screen subtests unattended and answered from outside
# with their cards compared with the simulated machine's, the operator windows,
# VideoPowerManagementTest, GraphicsPortTest, OpenGL3DRenderingTest, and what GPUTest and
# DX93DRenderingTest give there. The 64-bit build's backend unit tests run too. 32-bit Wine is the
# host's where it can be installed, else that of a 32-bit Debian root (tools/wine32-root.sh) that
# the install script makes; with neither, the Wine steps run the 64-bit build after a loud line,
# and fail in CI (CI=true).
#   bash tools/test-windows.sh
set -euo pipefail
# The whole script is read before anything runs, so that an edit meanwhile changes nothing.
{
top=$(cd "$(dirname "$0")/.." && pwd -P)
cd "$top"
jobs=$(nproc)

step() { printf '\n== %s (%s)\n' "$*" "$(date +%T)"; }

if [ -z "${RASTERSCAN_WINE32_ROOT:-}" ]; then
  bash tools/install-deps.sh --windows
  if [ -d /usr/lib/i386-linux-gnu/wine/i386-windows ]; then
    export RASTERSCAN_WINE32=host
  elif bash tools/wine32-root.sh path >/dev/null; then
    export RASTERSCAN_WINE32=root
  else
    export RASTERSCAN_WINE32=none
  fi
fi
if [ "$RASTERSCAN_WINE32" = none ]; then
  echo "!!! NO 32-BIT WINE: neither the host nor a 32-bit root has it; the Wine steps below run the 64-bit build, not the 32-bit product"
  if [ "${CI:-}" = true ]; then
    echo "error: in CI the Wine steps must run the 32-bit product" >&2
    exit 1
  fi
  winarch=x86_64 winbits=64
else
  winarch=i686 winbits=32
fi

if [ -z "${RASTERSCAN_WINE32_ROOT:-}" ]; then
  launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
  step "Native tools of the Windows tests"
  # The transcript runner, the media kit, the picture comparison and the simulated machine's cards.
  cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" >/dev/null
  cmake --build build -j"$jobs" --target e2e-tests make-media compare-screens raster-scan
  for arch in i686 x86_64; do
    step "Windows cross build ($arch)"
    cmake -S . -B "build-win-$arch" -DCMAKE_TOOLCHAIN_FILE="cmake/mingw-w64-$arch.cmake" \
      -DCMAKE_BUILD_TYPE=Release "${launcher[@]}" >/dev/null
    # The product and the build under Wine whole, so that all the Windows code compiles; of the
    # other one the program, and the backend unit tests of both.
    if [ "$arch" = i686 ] || [ "$arch" = "$winarch" ]; then
      cmake --build "build-win-$arch" -j"$jobs"
    else
      cmake --build "build-win-$arch" -j"$jobs" --target raster-scan
    fi
    cmake --build "build-win-$arch" -j"$jobs" --target unit-tests-win32
  done
  # The test programs and the platform probes of the build that runs under Wine.
  cmake --build "build-win-$winarch" -j"$jobs" --target primary-surface-read renderer-quality front-buffer-read \
    wine-operator prompt-tests-win32
  if [ "$RASTERSCAN_WINE32" = root ]; then
    # The rest again, in a mount namespace where the root sees this checkout and /tmp; its
    # mounts end with it.
    exec bash tools/wine32-root.sh enter "$top" -- bash "$top/tools/test-windows.sh"
  fi
fi
win="$top/build-win-$winarch"

# in32 runs a command where the Wine of the tested build is: in the root, or here.
if [ "$RASTERSCAN_WINE32" = root ]; then
  in32=("$top/tools/in-root.sh")
  # The transcript runner starts each run through one program.
  printf '#!/bin/sh\nexec "%s" wine "$@"\n' "$top/tools/in-root.sh" >"$win/wine-launcher"
  chmod +x "$win/wine-launcher"
  e2e_launcher="$win/wine-launcher"
else
  in32=()
  e2e_launcher=wine
fi

export WINEDEBUG=-all
export WINEPREFIX="$win/wineprefix"
# One X screen for every step, there before the Wine server starts: a server started without one
# keeps a desktop without one, where DirectDraw refuses exclusive mode. Server and screen end with
# the script.
display=$(mktemp)
"${in32[@]}" Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$display" >/dev/null 2>&1 &
xvfb=$!
trap '"${in32[@]}" wineserver -k 2>/dev/null || true; kill "$xvfb" 2>/dev/null || true; rm -f "$display"' EXIT
for _ in $(seq 100); do [ -s "$display" ] && break; sleep 0.1; done
[ -s "$display" ] || { echo "error: Xvfb did not start"; exit 1; }
export DISPLAY=":$(cat "$display")"

step "End-to-end transcripts under Wine ($winbits-bit build)"
"${in32[@]}" wineboot --init >/dev/null 2>&1 || true
# Wine's colour of button faces is set to Windows 7's, which the simulated machine has; without a
# window manager Wine waits two seconds at each window it takes down for the manager's answer, so
# its windows are left unmanaged.
"${in32[@]}" wine reg add 'HKCU\Control Panel\Colors' /v ButtonFace /t REG_SZ /d '240 240 240' /f >/dev/null 2>&1
"${in32[@]}" wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1
# Let the first start of the prefix finish before the tests start their own wine processes.
"${in32[@]}" wineserver -w || true
# In one shard a core: most of a case's time is Wine starting, which two do at once in half.
export RASTERSCAN_E2E_PROGRAM="$win/raster-scan.exe" RASTERSCAN_E2E_PROBE="$win/tests/probe-diagnostic.exe"
export RASTERSCAN_E2E_LAUNCHER="$e2e_launcher"
shards=$(mktemp -d)
pids=()
for ((shard = 0; shard < jobs; shard++)); do
  GTEST_TOTAL_SHARDS=$jobs GTEST_SHARD_INDEX=$shard "$top/build/tests/e2e-tests" --gtest_brief=1 >"$shards/$shard" 2>&1 &
  pids+=($!)
done
status=0
for ((shard = 0; shard < jobs; shard++)); do
  wait "${pids[shard]}" || status=1
  cat "$shards/$shard"
done
rm -rf "$shards"
unset RASTERSCAN_E2E_PROGRAM RASTERSCAN_E2E_PROBE RASTERSCAN_E2E_LAUNCHER
[ "$status" -eq 0 ] || { echo "End-to-end transcripts under Wine failed"; exit 1; }

step "Unit tests of the win32 backends under Wine ($winbits-bit build)"
"${in32[@]}" wine "$win/tests/unit-tests-win32.exe" --gtest_brief=1
if [ "$winarch" = i686 ]; then
  # The 64-bit build's backends too, under the host's Wine (seconds), in a prefix of its own.
  step "Unit tests of the win32 backends under Wine (64-bit build)"
  WINEPREFIX="$top/build-win-x86_64/wineprefix" wine "build-win-x86_64/tests/unit-tests-win32.exe" --gtest_brief=1
  WINEPREFIX="$top/build-win-x86_64/wineprefix" wineserver -k 2>/dev/null || true
fi

step "VideoMemoryTest under Wine on an X screen ($winbits-bit build)"
# Wine's DirectDraw on a virtual X screen: the primary surface it locks is real memory, filled and
# read back by the Windows build. The run must pass and say which surface it walked.
scratch=$(mktemp -d)
cp "$top/messages/raster-scan.msg" "$scratch/"
status=0
(cd "$scratch" && "${in32[@]}" wine "$win/raster-scan.exe" -subtest=VideoMemoryTest >protocol.txt 2>/dev/null) || status=$?
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

step "A blank read of the screen under Wine ($winbits-bit build)"
# Wine's DirectDraw hands out the primary surface's own memory at a lock, which GDI drawing never
# reaches: primary-surface-read shows it with nothing of ours, and every screen sum is 0 there. A
# calibration record of 0 must not let ModeTest pass.
"${in32[@]}" wine "$win/tools/probes/primary-surface-read.exe" || true
scratch=$(mktemp -d)
cp "$top/messages/raster-scan.msg" "$scratch/"
# Any controller, ModeTest, 32 bits, 1024x768, sum 0.
printf '\xff\xff\xff\xff\x03\x40\0\0\x20\0\0\0\0\x04\0\0\0\x03\0\0\0\0\0\0\0\0\0\0\0\0\0\0' >"$scratch/ZR_VIDEO.DAT"
status=0
(cd "$scratch" && "${in32[@]}" wine "$win/raster-scan.exe" \
  -subtest=ModeTest -interactive=false -Mode1024x768x32=true >protocol.txt 2>/dev/null) || status=$?
tr -d '\r' <"$scratch/protocol.txt" >"$scratch/protocol.unix"
if [ "$status" -ne 1 ] || ! grep -q '^LogMessage 8 20000 "The screen read back as all zeros in 1024x768x32' "$scratch/protocol.unix"; then
  echo "ModeTest under Wine accepted a blank read (status $status):"
  cat "$scratch/protocol.unix"
  exit 1
fi
echo "ModeTest under Wine: the blank read refused"
rm -rf "$scratch"

step "GPUTest and DX93DRenderingTest under Wine ($winbits-bit build)"
# Wine's video renderer has no quality interface (IQualProp): GPUTest makes the graph and the
# renderer and then ends with 995065. Wine's Direct3D 9 draws (the back buffer holds the frame),
# but what it presented reads back as zeros, through GetFrontBufferData as through GDI:
# DX93DRenderingTest draws its frames, and with a calibration record it must refuse the blank
# read. renderer-quality and front-buffer-read show each with nothing of ours.
"${in32[@]}" wine "$win/tools/probes/renderer-quality.exe" || true
"${in32[@]}" wine "$win/tools/probes/front-buffer-read.exe" || true
scratch=$(mktemp -d)
cp "$top/messages/raster-scan.msg" "$scratch/"
build/make-media "$scratch" >/dev/null
# The rendering library and its helpers of this build, over the simulated machine's.
cp "$win"/*.dll "$scratch/"
run() {  # <name> <arguments>...: the protocol in <name>.txt, then the status
  local name=$1 status=0
  shift
  (cd "$scratch" && "${in32[@]}" timeout 120 wine "$win/raster-scan.exe" "$@" >"$name.out" 2>/dev/null) || status=$?
  tr -d '\r' <"$scratch/$name.out" >"$scratch/$name.txt"
  echo "status $status" >>"$scratch/$name.txt"
}
expect_lines() {  # <name> <line>...
  local name=$1 line
  shift
  for line in "$@"; do
    grep -qxF "$line" "$scratch/$name.txt" || { echo "Under Wine, $name: no line '$line'"; cat "$scratch/$name.txt"; exit 1; }
  done
}
run gpu -subtest=GPUTest
expect_lines gpu 'TestFailed 995065 ""' 'status 1'
# Any controller, DX93DRenderingTest, 32 bits, 1024x768, sum 1.
printf '\xff\xff\xff\xff\x0a\x40\0\0\x20\0\0\0\0\x04\0\0\0\x03\0\0\x01\0\0\0\0\0\0\0\0\0\0\0' >"$scratch/ZR_VIDEO.DAT"
run dx-blank -subtest=DX93DRenderingTest -interactive=false
# The sum is taken only of frames that were drawn (60 on the way there).
expect_lines dx-blank 'UpdatePercentage 60' 'LogMessage 8 20000 "The screen read back as all zeros in 1024x768x32: its sum is neither stored nor compared" ""' \
  'ReportFailure 990408' 'status 1'
echo "GPUTest under Wine: no quality interface (995065); DX93DRenderingTest: drawn, the blank read refused"
rm -rf "$scratch"

step "Screen subtests under Wine on an X screen ($winbits-bit build)"
# Through the Windows backend in 1024x768x32. Unattended without the sum (every sum is 0 under
# Wine, above) each passes. Interactive, wine-operator answers from outside the program: it takes
# a picture of the card, then F1 ends the run with 990358; in ModeTest a wrong key first brings
# the prompt, which it answers. Each card is compared with the simulated machine's picture of it,
# pixel for pixel but for the text (the fonts differ) and the digits (chosen anew in every run).
# Wine's colour of button faces is Windows 7's (above), as the simulated machine has it. LineTest's
# card is not compared: Wine's X11 driver draws styled lines with dash lengths of its own.
scratch=$(mktemp -d)
cp "$top/messages/raster-scan.msg" "$scratch/"
build/make-media "$scratch" >/dev/null
screen_run() {  # <name> <window class> <operator steps> -- <arguments>
  local name=$1 class=$2 steps=$3
  shift 4
  (cd "$scratch" && "${in32[@]}" bash -c \
    "timeout 120 wine '$win/raster-scan.exe' $* >protocol-$name.txt 2>/dev/null & program=\$!
     wine '$win/tests/wine-operator.exe' '$class' $steps || echo 'operator failed' >>protocol-$name.txt
     wait \$program; echo \"status \$?\" >>protocol-$name.txt")
  tr -d '\r' <"$scratch/protocol-$name.txt" >"$scratch/$name.txt"
}
expect() {  # <name> <line>...
  local name=$1 line
  shift
  for line in "$@"; do
    if ! grep -qxF "$line" "$scratch/$name.txt" || grep -q 'operator failed' "$scratch/$name.txt"; then
      echo "Under Wine, $name: no line '$line'"
      cat "$scratch/$name.txt"
      exit 1
    fi
  done
}
for subtest in "ModeTest -Mode1024x768x32=true" "BltTest -Mode1024x768x32=true" "LineTest -Mode1024x768x32=true" \
               "PaletteTest -Resolution=1024x768x32"; do
  name=${subtest%% *}
  # shellcheck disable=SC2086
  (cd "$scratch" && "${in32[@]}" wine "$win/raster-scan.exe" -subtest=$subtest \
    -interactive=false -VerifyChecksum=false >unattended.txt 2>/dev/null) || { echo "Under Wine, $name unattended failed"; exit 1; }
  echo "$name unattended under Wine: passed"
done
screen_run mode 'Screen Mode Test' 'grab:wine-mode.bmp key:A ok key:F1' -- -subtest=ModeTest -Mode1024x768x32=true
expect mode 'TestFailed 990358 ""' 'status 1'
screen_run blt 'Blt Test' 'grab:wine-blt.bmp key:F1' -- -subtest=BltTest -Mode1024x768x32=true
expect blt 'TestFailed 990358 ""' 'status 1'
screen_run line 'Line Test' 'grab:wine-line.bmp key:F1' -- -subtest=LineTest -Mode1024x768x32=true
expect line 'TestFailed 990358 ""' 'status 1'
# PaletteTest has no F1: a key that is no digit brings the prompt, and with no retries ends it.
screen_run palette 'Palette Test' 'grab:wine-palette.bmp key:A ok' -- -subtest=PaletteTest -Resolution=1024x768x32 -Retries=0
expect palette 'status 1'
# The same cards on the simulated machine.
for run in "mode ModeTest -Mode1024x768x32=true" "blt BltTest -Mode1024x768x32=true" \
           "palette PaletteTest -Resolution=1024x768x32 -Retries=0"; do
  # shellcheck disable=SC2086
  set -- $run
  (cd "$scratch" && RASTERSCAN_CLOCK=virtual RASTERSCAN_SCREENSHOTS="sim-$1" RASTERSCAN_OPERATOR='key f1; key a; answer ok' \
    "$top/build/raster-scan" -subtest="$2" "${@:3}" >/dev/null) || true
done
compare() { echo "-- $1"; build/tests/compare-screens "$(ls "$scratch/sim-$1"/*.png | tail -n 1)" "$scratch/wine-$1.bmp" "${@:2}"; }
compare mode 440,30,590,64 440,660,540,768
compare blt 440,660,540,768
compare palette 240,600,330,710 500,600,590,710 750,600,840,710
rm -rf "$scratch"

step "Operator windows under Wine on an X screen ($winbits-bit build)"
# Each kind of prompt through the real user32, GDI and GDI+, answered by a thread of the test with
# real keys and clicks.
"${in32[@]}" wine "$win/tests/prompt-tests-win32.exe" --gtest_brief=1

step "VideoPowerManagementTest under Wine on an X screen ($winbits-bit build)"
# Wine does not implement the power policy levels of CallNtPowerInformation (STATUS_NOT_IMPLEMENTED),
# so the run must show its announcement prompt, find the policy unchangeable (status 86) and, with a
# kill file and the configured prompts' watch, end by itself within seconds.
scratch=$(mktemp -d)
cp "$top/messages/raster-scan.msg" "$scratch/"
printf '[WindowSettings]\n' >"$scratch/diagconf.ini"
: >"$scratch/kill.ctl"
status=0
(cd "$scratch" && "${in32[@]}" timeout 120 wine "$win/raster-scan.exe" \
  -subtest=VideoPowerManagementTest >protocol.txt 2>/dev/null) || status=$?
tr -d '\r' <"$scratch/protocol.txt" >"$scratch/protocol.unix"
if [ "$status" -ne 1 ] || ! grep -q '^LogMessage 6 86 "" ""$' "$scratch/protocol.unix" ||
   [ "$(tail -n 2 "$scratch/protocol.unix" | head -n 1)" != 'LogMessage 8 24 "" ""' ]; then
  echo "VideoPowerManagementTest under Wine failed (status $status):"
  cat "$scratch/protocol.unix"
  exit 1
fi
echo "VideoPowerManagementTest under Wine: the policy cannot be changed there (86), the run stopped by itself"
rm -rf "$scratch"

step "GraphicsPortTest under Wine ($winbits-bit build)"
# The display configuration calls are found by name in Wine's user32 and the paths are listed, but
# Wine answers the adapter name of DisplayConfigGetDeviceInfo with ERROR_NOT_SUPPORTED (50), so the
# run ends at the first scan with 990666 and that code. The support files need only be there.
scratch=$(mktemp -d)
cp "$top/messages/raster-scan.msg" "$scratch/"
for file in D3DX9_24.dll D3DX9_25.dll D3DX9_26.dll D3DIM9.dll COIN.BMP BW.BMP BLOCKS.BMP; do : >"$scratch/$file"; done
printf '[ports]\n235,DVI,\n' >"$scratch/videoport.ini"
status=0
(cd "$scratch" && "${in32[@]}" timeout 120 wine "$win/raster-scan.exe" \
  -subtest=GraphicsPortTest -INISection=ports >protocol.txt 2>/dev/null) || status=$?
tr -d '\r' <"$scratch/protocol.txt" >"$scratch/protocol.unix"
if [ "$status" -ne 1 ] || ! grep -q '^LogMessage 8 8 "WIN32 Error occured 50 " ""$' "$scratch/protocol.unix" ||
   ! grep -q '^TestFailed 990666 ""$' "$scratch/protocol.unix"; then
  echo "GraphicsPortTest under Wine did not end as Wine's display configuration has it (status $status):"
  cat "$scratch/protocol.unix"
  exit 1
fi
echo "GraphicsPortTest under Wine: paths listed, no adapter names there (990666, error 50)"
rm -rf "$scratch"

step "OpenGL3DRenderingTest under Wine on an X screen ($winbits-bit build)"
# Wine's opengl32 on Mesa's software GLX: the run passes only when a pixel format was set and a
# context made, and the 200 frames drawn; the sum is not compared, as the sim's calibration does
# not hold for another renderer and window frame.
scratch=$(mktemp -d)
cp "$top/messages/raster-scan.msg" "$scratch/"
"$top/build/make-media" "$scratch"
status=0
(cd "$scratch" && "${in32[@]}" wine "$win/raster-scan.exe" \
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
step "The diagnostic shell under Wine ($winbits-bit build)"
# raster-shell.exe runs a small suite against raster-scan.exe of the same build and leaves its report.
RASTERSCAN_E2E_LAUNCHER="$e2e_launcher" bash "$top/tests/shell/wine-shell.sh" "$win"

printf "\n== Windows tests done (%s)\n" "$(date +%T)"
exit
}
