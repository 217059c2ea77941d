#!/usr/bin/env bash
# Runs the built program the way a careless or hostile user would, and checks what every run must
# do whatever it is given: end (no hang), end with status 0 or 1 (or 129 after a closed console),
# write EndOfTest exactly once when a subtest was chosen, give a failure code or an `error:` line
# when it fails, leave the display mode, display configuration and power policy as it found them,
# and leave no file cut short or under a temporary name.
#
#   bash tests/hostile-runs.sh [build folder] [rounds]
#
# The build folder (default build/) must hold raster-scan, make-media and raster-scan.msg. Each
# round is one run with damaged port files, random arguments or a stop at a random moment on the
# real clock; 100 rounds take about four minutes. Runs that break a rule are listed at the end, each
# with its folder kept under the scratch folder; the status is 1 when there are any.
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$top/build}" && pwd)
rounds=${2:-100}
program="$build/raster-scan"
[ -x "$program" ] || { echo "no $program: build the raster-scan target first" >&2; exit 2; }

scratch=$(mktemp -d /tmp/hostile-runs.XXXXXX)
kit="$scratch/kit"
mkdir -p "$kit"
"$build/make-media" "$kit" >/dev/null || { echo "make-media failed" >&2; exit 2; }
cp "$build/raster-scan.msg" "$kit/"
RANDOM=${HOSTILE_SEED:-27}

# The three-monitor machine, its state kept in files beside it.
machine_text() {
  cat "$top/machines/ports-three-monitors.ini"
  printf '\n[DisplayPaths]\nStateFile=paths.txt\nModeFile=mode.txt\n'
}

# Damaged port files: cut quotes, NUL bytes, huge lines, binary noise, a pipe, a folder.
port_file() {
  local dir=$1
  case $((RANDOM % 8)) in
    0) printf '[connected]\n235,"DVI,Matrox G200eR2\n' >"$dir/videoport.ini" ;;
    1) head -c $((RANDOM * 64)) /dev/zero >"$dir/videoport.ini" ;;
    2) { printf '[connected]\n'; head -c 3000 /dev/urandom | tr -d '\n'; printf '\n'; } >"$dir/videoport.ini" ;;
    3) head -c 4096 /dev/urandom >"$dir/videoport.ini" ;;
    4) mkfifo "$dir/videoport.ini" ;;
    5) mkdir "$dir/videoport.ini" ;;
    6) head -c 9000000 /dev/zero >"$dir/videoport.ini" ;;
    *) cp "$top/machines/videoport/ports-three-monitors.ini" "$dir/videoport.ini" ;;
  esac
}

subtests=(GraphicsPortTest RotationTest VideoPowerManagementTest ModeTest BltTest LineTest PaletteTest GPUTest
          VideoMemoryTest OpenGL3DRenderingTest)
noise=(-Retries=-1 -Retries=99999999999 -TimeOut=10 -INISection=connected -INISection=AUTO "-INIFile=\\dev\\zero"
       -INIFile=videoport.ini -InitialResolution=800x600x32 -InitialResolution=x -Controller=foo -interactive=false
       -Calibrate=true -CreateGenericCalibration=true -CaptureScreen=true -AnalyzeAlways=true -Mode800x600x16=true
       -SleepType=off -NumberOfRotations=10 -Timeout=1 -diagconf=videoport.ini "-Prompt=-5" -debug=true)
scripts=("" "rotate; rotate; rotate; rotate" "answer ok; say-if-blank" "digit" "wrong-digit; answer ok; digit" "close"
         "nothing" "F1")

failures=()
check() {
  local dir=$1 status=$2 what=$3
  local out="$dir/out" err="$dir/err"
  local why=""
  if [ "$status" = 124 ] || [ "$status" = 137 ]; then why="did not end"
  elif [ "$status" = 3 ] && grep -q '^operator: the program does not end after the break' "$err"; then
    # The simulated operator gave up with Ctrl+C and then ended the process by force, which no
    # program outlives; what it left behind is still judged below.
    why=""
  elif [ "$status" != 0 ] && [ "$status" != 1 ] && [ "$status" != 129 ]; then why="status $status"
  elif [ "$status" != 129 ] && [ "$status" != 3 ] && [ "$(grep -c '^EndOfTest$' "$out")" != 1 ]; then
    why="EndOfTest not once"
  elif [ "$status" = 1 ] && ! grep -qE '^(TestFailed|ReportFailure) ' "$out" && ! grep -qE '^(error|warning):' "$err"; then
    why="failed without a code or a reason"
  elif [ "$status" = 129 ] && ! grep -q '^error: the console was closed' "$err"; then why="closed without a word"
  elif [ -f "$dir/mode.txt" ] && [ "$(cat "$dir/mode.txt")" != "$(cat "$kit/mode.start")" ]; then why="display mode left changed"
  elif [ -f "$dir/paths.txt" ] && [ "$(cat "$dir/paths.txt")" != "$(cat "$kit/paths.start")" ]; then why="display paths left changed"
  elif [ -f "$dir/policy.txt" ] && [ "$(cat "$dir/policy.txt")" != 1200 ]; then why="power policy left changed"
  elif ls "$dir" | grep -q '\.tmp$'; then why="a temporary file left behind"
  fi
  if [ -z "$why" ] && [ "$status" != 3 ]; then :
  elif [ -z "$why" ]; then
    if [ -f "$dir/mode.txt" ] && [ "$(cat "$dir/mode.txt")" != "$(cat "$kit/mode.start")" ]; then why="display mode left changed"
    elif [ -f "$dir/paths.txt" ] && [ "$(cat "$dir/paths.txt")" != "$(cat "$kit/paths.start")" ]; then
      why="display paths left changed"
    elif [ -f "$dir/policy.txt" ] && [ "$(cat "$dir/policy.txt")" != 1200 ]; then why="power policy left changed"
    fi
  fi
  if [ -n "$why" ]; then failures+=("$dir: $why: $what"); else rm -rf "$dir"; fi
}

# What the machine looks like before anyone touches it.
machine_text >"$kit/machine.ini"
(cd "$kit" && RASTERSCAN_MACHINE=machine.ini RASTERSCAN_CLOCK=virtual "$program" -subtest=RotationTest \
  -InitialResolution=1024x768x32 -Timeout=1 -Retries=1 >/dev/null 2>&1)
cp "$kit/mode.txt" "$kit/mode.start"
printf '\\\\.\\DISPLAY1 4 1 active 0,0 primary\n\\\\.\\DISPLAY1 4 2 inactive\n\\\\.\\DISPLAY1 0 1 inactive\n\\\\.\\DISPLAY1 5 1 inactive\n' \
  >"$kit/paths.start"
rm -f "$kit/mode.txt"

for ((round = 1; round <= rounds; ++round)); do
  dir="$scratch/run-$round"
  mkdir "$dir"
  cp "$kit"/*.bmp "$kit"/*.BMP "$kit"/*.dll "$kit"/*.avi "$kit/raster-scan.msg" "$dir/" 2>/dev/null
  cp "$kit/machine.ini" "$dir/"
  sed -i '/^\[Power\]/a PolicyFile=policy.txt' "$dir/machine.ini"
  echo 1200 >"$dir/policy.txt"
  port_file "$dir"
  subtest=${subtests[RANDOM % ${#subtests[@]}]}
  args=("-subtest=$subtest")
  for ((i = RANDOM % 4; i > 0; --i)); do args+=("${noise[RANDOM % ${#noise[@]}]}"); done
  script=${scripts[RANDOM % ${#scripts[@]}]}
  clock=virtual
  stop=""
  case $((RANDOM % 4)) in
    0) clock=real; stop=$(printf '0.%02d' $((RANDOM % 100))) ;;
    1) clock=real; stop=$((1 + RANDOM % 3)) ;;
  esac
  signal=(INT TERM HUP)
  sig=${signal[RANDOM % 3]}
  (
    cd "$dir" || exit 2
    export RASTERSCAN_MACHINE=machine.ini RASTERSCAN_CLOCK=$clock RASTERSCAN_OPERATOR="$script"
    if [ -n "$stop" ]; then
      "$program" "${args[@]}" >out 2>err &
      pid=$!
      sleep "$stop"
      kill -s "$sig" "$pid" 2>/dev/null
      # Thirty seconds to end after the stop.
      for ((tick = 0; tick < 300; ++tick)); do
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.1
      done
      if kill -0 "$pid" 2>/dev/null; then
        kill -s KILL "$pid"
        wait "$pid"
        exit 124
      fi
      wait "$pid"
    else
      timeout -k 10 60 "$program" "${args[@]}" >out 2>err
    fi
  )
  check "$dir" $? "${args[*]} (operator: '$script', clock $clock${stop:+, SIG$sig after $stop s})"
  printf '\r%d/%d runs, %d broke a rule' "$round" "$rounds" "${#failures[@]}" >&2
done
echo >&2
for failure in "${failures[@]}"; do echo "$failure"; done
[ ${#failures[@]} -eq 0 ] && rm -rf "$scratch"
[ ${#failures[@]} -eq 0 ]
