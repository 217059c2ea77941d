#!/usr/bin/env bash
# What the shell costs: the main job through raster-shell against the same steps started by a
# plain script (the shell's overhead should stay within 2% of the wall time), and the fault matrix
# with --jobs 2 against --jobs 1 (at most 0.6 of its time on two cores). The two main-job runs take
# turns in three rounds (ROUNDS) and each keeps its best, so that one busy moment does not decide the ratio.
#   bash tools/bench-shell.sh [BUILD_DIR]        (default build; raster-scan, make-media, raster-shell built)
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$top/build}" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export RASTERSCAN_CLOCK=virtual
unset RASTERSCAN_MACHINE RASTERSCAN_OPERATOR RASTERSCAN_SCREENSHOTS

now() { date +%s.%N; }

# The steps of suites/main.ini, one process each, as a script would start them.
plain_main() {
  local work=$1 p="$build/raster-scan" n=0
  mkdir -p "$work/screen" "$work/kit"
  "$build/make-media" "$work/kit" >/dev/null
  cp "$build/raster-scan.msg" "$work/kit/"
  cp -r "$work"/kit/* "$work/screen/"
  run() {  # folder name screenshots? args...
    local folder=$1 name=$2 shots=$3
    shift 3
    n=$((n + 1))
    local dir="$work/steps/$n-$name"
    mkdir -p "$dir" "$folder"
    if [ "$shots" = yes ]; then
      (cd "$folder" && RASTERSCAN_SCREENSHOTS="$dir/screenshots" "$p" "$@" >"$dir/protocol.log" 2>"$dir/stderr.log") || true
    else
      (cd "$folder" && "$p" "$@" >"$dir/protocol.log" 2>"$dir/stderr.log") || true
    fi
  }
  local gl=(-Mode640x480x8=true -Mode800x600x16=true -Mode1024x768x24=true -Mode1024x768x32=true)
  for t in ModeTest BltTest LineTest PaletteTest; do
    run "$work/screen" "calibrate-$t" no -subtest=$t -interactive=false -Calibrate=true
  done
  run "$work/screen" calibrate-gl no -subtest=OpenGL3DRenderingTest -interactive=false -Calibrate=true "${gl[@]}"
  run "$work/screen" calibrate-dx no -subtest=DX93DRenderingTest -interactive=false -Calibrate=true
  for t in ModeTest BltTest LineTest; do
    run "$work/screen" "verify-$t" yes -subtest=$t -interactive=false -TestAllResolutions=true
  done
  run "$work/screen" verify-PaletteTest yes -subtest=PaletteTest -interactive=false
  run "$work/screen" verify-gl yes -subtest=OpenGL3DRenderingTest -interactive=false "${gl[@]}"
  run "$work/screen" verify-dx yes -subtest=DX93DRenderingTest -interactive=false
  run "$work/vm" VideoMemoryTest yes -subtest=VideoMemoryTest
  mkdir -p "$work/gpu" && cp -r "$work"/kit/* "$work/gpu/"
  run "$work/gpu" GPUTest yes -subtest=GPUTest
  mkdir -p "$work/rot" && cp -r "$work"/kit/* "$work/rot/"
  RASTERSCAN_OPERATOR='wait 1500; rotate; wait 1500; rotate; wait 1500; rotate; wait 1500; rotate' \
    run "$work/rot" RotationTest yes -subtest=RotationTest
  RASTERSCAN_OPERATOR='answer ok; say-if-blank' run "$work/power" VideoPowerManagementTest yes -subtest=VideoPowerManagementTest
  mkdir -p "$work/ports" && cp -r "$work"/kit/* "$work/ports/" && cp "$top/machines/videoport/default.ini" "$work/ports/videoport.ini"
  RASTERSCAN_OPERATOR=digits run "$work/ports" GraphicsPortTest yes -subtest=GraphicsPortTest
  run "$work/evm" ExtendedVideoMemoryTest no -subtest=ExtendedVideoMemoryTest
}

best_shell= best_plain=
for round in $(seq "${ROUNDS:-3}"); do
  rm -rf "$scratch/shell" "$scratch/plain"
  t0=$(now); "$build/raster-shell" run "$top/suites/main.ini" --out "$scratch/shell" >/dev/null || true; t1=$(now)
  plain_main "$scratch/plain"; t2=$(now)
  s=$(echo "$t1 - $t0" | bc); q=$(echo "$t2 - $t1" | bc)
  echo "round $round: main job through the shell ${s} s, by a plain script ${q} s"
  if [ -z "$best_shell" ] || [ "$(echo "$s < $best_shell" | bc)" = 1 ]; then best_shell=$s; fi
  if [ -z "$best_plain" ] || [ "$(echo "$q < $best_plain" | bc)" = 1 ]; then best_plain=$q; fi
done
overhead=$(echo "scale=4; ($best_shell - $best_plain) / $best_plain * 100" | bc)
echo "main job: shell ${best_shell} s, plain script ${best_plain} s, overhead ${overhead}% (limit 2%)"

rm -rf "$scratch/f1" "$scratch/f2"
t0=$(now); "$build/raster-shell" run "$top/suites/faults.ini" --jobs 1 --out "$scratch/f1" >/dev/null || true; t1=$(now)
"$build/raster-shell" run "$top/suites/faults.ini" --jobs 2 --out "$scratch/f2" >/dev/null || true; t2=$(now)
one=$(echo "$t1 - $t0" | bc); two=$(echo "$t2 - $t1" | bc)
echo "fault matrix: --jobs 1 ${one} s, --jobs 2 ${two} s, ratio $(echo "scale=3; $two / $one" | bc) (limit 0.6)"
