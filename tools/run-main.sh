#!/usr/bin/env bash
# Builds Raster-scan and runs its main job on the built-in simulated machine, unattended and on
# the virtual clock: the four screen subtests (ModeTest, BltTest, LineTest, PaletteTest) calibrate
# on the known-good machine, which writes ZR_VIDEO.DAT, and then verify every mode the machine has
# against it, with a screenshot of every test window; OpenGL3DRenderingTest does the same with its
# spinning cube in four modes, and DX93DRenderingTest with the scene of the rendering library
# d3dim9.dll. Then the video memory tests: through
# DirectDraw (VideoMemoryTest, with a screenshot of the random bytes and of each pattern it puts on
# the screen) and by direct hardware access; between them GPUTest plays clock.avi at double speed in the
# console window and judges the frame rate (a screenshot of its last frame), and the scripted
# operator turns the screen for RotationTest and says whether it went dark for
# VideoPowerManagementTest; GraphicsPortTest makes each port of videoport.ini (the sample for the
# machine from machines/videoport/) the only display and renders on it, and the operator confirms
# the digit on each port's screen. Further arguments go to
# every run, e.g. -debug=true.
#   bash tools/run-main.sh [arguments...]
# RASTERSCAN_MACHINE=<file> verifies on another machine, e.g. machines/display-stuck-pixel.ini.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
# A machine named relative to where the script was started, as the runs happen elsewhere.
case "${RASTERSCAN_MACHINE:-}" in
  "" | /*) ;;
  *) RASTERSCAN_MACHINE="$PWD/$RASTERSCAN_MACHINE" ;;
esac
cd "$top"

bash tools/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target raster-scan make-media >/dev/null

work="$top/build/main-job"
rm -rf "$work"
mkdir -p "$work/screenshots"
cd "$work"
# The program reads its message texts and the subtests their pictures from the working directory.
cp "$top/build/raster-scan.msg" .
"$top/build/make-media" .
field_machine="${RASTERSCAN_MACHINE:-}"
unset RASTERSCAN_MACHINE
export RASTERSCAN_CLOCK=virtual

failed=0
# Runs one subtest, keeps its protocol in <name>.log and prints its last lines.
run() {
  local name=$1
  shift
  local status=0
  "$top/build/raster-scan" "$@" >"$name.log" 2>&1 || status=$?
  printf '%-28s status %d  %s\n' "$name" "$status" "$(grep -E '^(ReportFailure|TestFailed)' "$name.log" | head -1)"
  [ "$status" -eq 0 ] || failed=1
}

echo "== Calibration on the built-in machine"
for test in ModeTest BltTest LineTest; do
  run "calibrate-$test" -subtest=$test -interactive=false -Calibrate=true "$@"
done
run calibrate-PaletteTest -subtest=PaletteTest -interactive=false -Calibrate=true "$@"
gl_modes=(-Mode640x480x8=true -Mode800x600x16=true -Mode1024x768x24=true -Mode1024x768x32=true)
run calibrate-OpenGL3DRenderingTest -subtest=OpenGL3DRenderingTest -interactive=false -Calibrate=true "${gl_modes[@]}" "$@"
run calibrate-DX93DRenderingTest -subtest=DX93DRenderingTest -interactive=false -Calibrate=true "$@"

echo "== Verification${field_machine:+ on $field_machine}"
[ -z "$field_machine" ] || export RASTERSCAN_MACHINE=$field_machine
export RASTERSCAN_SCREENSHOTS="$work/screenshots"
for test in ModeTest BltTest LineTest; do
  run "verify-$test" -subtest=$test -interactive=false -TestAllResolutions=true "$@"
done
run verify-PaletteTest -subtest=PaletteTest -interactive=false "$@"
run verify-OpenGL3DRenderingTest -subtest=OpenGL3DRenderingTest -interactive=false "${gl_modes[@]}" "$@"
run verify-DX93DRenderingTest -subtest=DX93DRenderingTest -interactive=false "$@"
run VideoMemoryTest -subtest=VideoMemoryTest "$@"
run GPUTest -subtest=GPUTest "$@"
# With the scripted operator: one who turns the screen four times while the countdown is up (a
# turn takes a second and a half, so the screenshots show the seconds going down), and
# one who says whether the screen went dark when the display time-out was 2 seconds.
RASTERSCAN_OPERATOR='wait 1500; rotate; wait 1500; rotate; wait 1500; rotate; wait 1500; rotate' run RotationTest -subtest=RotationTest "$@"
RASTERSCAN_OPERATOR='answer ok; say-if-blank' run VideoPowerManagementTest -subtest=VideoPowerManagementTest "$@"
# The machine's own sample of expected ports, else the built-in machine's.
ports="$top/machines/videoport/$(basename "${field_machine:-default.ini}")"
[ -f "$ports" ] || ports="$top/machines/videoport/default.ini"
cp "$ports" videoport.ini
# The operator types the digit that each port's screen shows (one step for each port).
RASTERSCAN_OPERATOR='digit; digit; digit; digit' run GraphicsPortTest -subtest=GraphicsPortTest "$@"
unset RASTERSCAN_SCREENSHOTS
run ExtendedVideoMemoryTest -subtest=ExtendedVideoMemoryTest "$@"

echo
echo "Working directory:  $work"
echo "Calibration file:   $work/ZR_VIDEO.DAT ($(($(stat -c %s ZR_VIDEO.DAT) / 32)) records)"
echo "Protocols:          $work/*.log"
echo "Screenshots:        $work/screenshots ($(ls screenshots | wc -l) pictures)"
[ "$failed" -eq 0 ] && echo "All runs passed." || echo "Some runs failed: see their protocols."
exit "$failed"
