#!/usr/bin/env bash
# raster-shell.exe under Wine, driving raster-scan.exe of the same Windows build on an X screen of
# Xvfb: a tiny suite runs, and the run's folder must hold the report, junit.xml and results.json
# with every step passed and the report's path as the shell's last line.
#   bash tests/shell/wine-shell.sh BUILD_WIN_DIR        (exit 77: no Wine or Xvfb here)
set -euo pipefail
win=$(cd "${1:?usage: wine-shell.sh BUILD_WIN_DIR}" && pwd)
command -v "${RASTERSCAN_E2E_LAUNCHER:-wine}" >/dev/null && command -v xvfb-run >/dev/null || { echo "SKIP: no wine or xvfb-run"; exit 77; }
for f in raster-shell.exe raster-scan.exe raster-scan.msg raster-shell.msg; do
  [ -f "$win/$f" ] || { echo "FAIL: no $f in $win"; exit 1; }
done
export WINEDEBUG=-all
export WINEPREFIX="${WINEPREFIX:-$win/wineprefix}"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cat >"$scratch/wine.ini" <<'INI'
[suite]
time_limit = 300

[VideoMemoryTest]
subtest = VideoMemoryTest

[ModeTest]
subtest = ModeTest
arguments = -interactive=false -VerifyChecksum=false -Mode1024x768x32=true
INI
# Wine as the Windows tests start it (inside a 32-bit root there), on their X screen where there is one.
wine=${RASTERSCAN_E2E_LAUNCHER:-wine}
screen=()
[ -n "${DISPLAY:-}" ] || screen=(xvfb-run -a -s "-screen 0 1024x768x24")
status=0
(cd "$scratch" && "${screen[@]}" "$wine" "$win/raster-shell.exe" run wine.ini --out run \
  >shell.out 2>shell.err) || status=$?
tr -d '\r' <"$scratch/shell.out" >"$scratch/shell.txt"
cat "$scratch/shell.txt"
fail() { echo "FAIL: $*"; cat "$scratch/shell.err"; exit 1; }
[ "$status" -eq 0 ] || fail "raster-shell.exe ended with status $status"
for f in report.html junit.xml results.json journal.json; do
  [ -s "$scratch/run/$f" ] || fail "no $f in the run's folder"
done
last=$(tail -n 1 "$scratch/shell.txt")
case "$last" in *report.html) ;; *) fail "the last line is not the report's path: $last" ;; esac
python3 - "$scratch/run" <<'PY' || fail "results.json"
import json, sys
r = json.load(open(sys.argv[1] + "/results.json"))
verdicts = [s["verdict"] for s in r["steps"]]
assert verdicts == ["passed", "passed"], verdicts
assert r["state"] == "finished" and r["program_version"].startswith("3.17.0"), r
assert all(s["exit_status"] == 0 and s["failure_codes"] == [] for s in r["steps"])
PY
grep -q 'id="step-1"' "$scratch/run/report.html" || fail "report.html lacks a step"
[ "$(grep -c '<testcase ' "$scratch/run/junit.xml")" -eq 2 ] || fail "junit.xml lacks a test case"
echo "ok: raster-shell.exe ran the suite under Wine"
