#!/usr/bin/env bash
# The mounts that tools/wine32-root.sh enter makes for the 32-bit root: the command sees them, the
# host never does, and whether the command ends by itself or the run is stopped (TERM, INT, KILL),
# afterwards nothing of it runs and nothing is mounted. A stand-in root (empty folders) will do.
#   wine32_root_mounts_test.sh <checkout>
set -uo pipefail
script="$1/tools/wine32-root.sh"
[ "$(id -u)" -eq 0 ] && unshare --mount --pid --fork true 2>/dev/null || { echo "needs root for namespaces"; exit 77; }

# Job control, so that the runs started in the background take INT as from a terminal.
set -m
failures=0
fail() { echo "FAIL ($case): $*"; failures=$((failures + 1)); }
mounts_below() { awk -v d="$1" 'index($2, d "/") == 1 || $2 == d' "$2"; }

# The shell's reports of the stopped jobs go nowhere; the checks speak on standard output.
exec 2>/dev/null
for case in "ends by itself" TERM INT KILL; do
  cache=$(mktemp -d) work=$(mktemp -d)
  root=$(RASTERSCAN_CACHE=$cache bash "$script" path)
  mkdir -p "$root/proc" "$root/dev" "$root/tmp"
  touch "$root/.complete"
  # The command holds a lock that only its end gives back, also that of everything it started.
  if [ "$case" = "ends by itself" ]; then hold='sleep 1'; else hold='sleep 300'; fi
  RASTERSCAN_CACHE=$cache bash "$script" enter "$work" -- \
    bash -c 'exec 9>"$1/held"; flock 9; cat /proc/self/mounts >"$1/seen.part"; mv "$1/seen.part" "$1/seen"; '"$hold" sh "$work" &
  outer=$!
  for _ in $(seq 100); do [ -f "$work/seen" ] && break; sleep 0.1; done
  if [ ! -f "$work/seen" ]; then
    fail "the command never ran"
  else
    for dir in /proc /dev /tmp "$work"; do
      grep -q " $root$dir " "$work/seen" || fail "no $root$dir inside"
    done
    [ -z "$(mounts_below "$root" /proc/self/mounts)" ] || fail "the host sees the root's mounts"
  fi
  [ "$case" = "ends by itself" ] || kill -s "$case" "$outer"
  wait "$outer"
  flock -w 10 "$work/held" true || fail "something of the run still holds its lock"
  [ -z "$(mounts_below "$root" /proc/self/mounts)" ] || fail "mounts left"
  # Had a bind been left, this would reach into the bound folder: it must still be there whole.
  rm -rf --one-file-system "$cache"
  [ -f "$work/seen" ] || fail "the bound folder lost its files"
  rm -rf "$work"
  echo "$case: checked"
done
exit $((failures > 0))
