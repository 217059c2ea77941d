#!/usr/bin/env bash
# A 32-bit Debian root for running the 32-bit Windows build under Wine where the host cannot
# install wine32:i386 (its i386 indexes out of step with the installed 64-bit packages). The root
# comes from the release suite, which is always consistent, and touches none of the host's packages.
#   wine32-root.sh make     makes the root unless it is there already; prints its folder
#   wine32-root.sh path     prints the root's folder; fails when the root is not complete
#   wine32-root.sh enter <folder to bind>... -- <command>...
#                           runs the command in a mount namespace of its own where the root has
#                           /proc, /dev, /tmp and each named folder bound at its own path, with
#                           RASTERSCAN_WINE32_ROOT naming it for tools/in-root.sh; the mounts end
#                           with the command, however it ends
# The root lives in $RASTERSCAN_CACHE (/var/cache/raster-scan), in a folder named by a hash of the
# suite and the package list, so a changed list makes a new root and the old one is removed.
set -euo pipefail

cache=${RASTERSCAN_CACHE:-/var/cache/raster-scan}
packages=(wine wine32 xvfb xauth libgl1 libglx-mesa0 libgl1-mesa-dri libxrandr2 libxrender1 libxinerama1
          libxcursor1 libxi6 libxcomposite1 libxfixes3 libxxf86vm1)
# The host's release: the root is of the same one, from the mirror the host's apt uses.
suite=$(. /etc/os-release && echo "${VERSION_CODENAME:-bookworm}")
key=$(printf '%s\n' "$suite" "${packages[@]}" | sha256sum | cut -c1-16)
root="$cache/i386-root-$key"

sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)

host_mirror() {
  local file
  # One-line sources: "deb [options] URI suite components".
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -f "$file" ] || continue
    awk -v s="$suite" '$1 == "deb" { i = 2; if ($i ~ /^\[/) { while ($i !~ /\]$/) i++; i++ }
                                     if ($(i + 1) == s) { print $i; exit } }' "$file"
  done
  # deb822 sources: one stanza per paragraph.
  for file in /etc/apt/sources.list.d/*.sources; do
    [ -f "$file" ] || continue
    awk -v s="$suite" 'BEGIN { RS = ""; FS = "\n" }
      { uri = ""; types = 0; found = 0
        for (i = 1; i <= NF; i++) {
          if ($i ~ /^Types:/ && $i ~ /[ \t]deb([ \t]|$)/) types = 1
          if ($i ~ /^URIs:/) { split($i, u, /[ \t]+/); uri = u[2] }
          if ($i ~ /^Suites:/) { n = split($i, w, /[ \t]+/); for (j = 2; j <= n; j++) if (w[j] == s) found = 1 }
        }
        if (types && found && uri != "") { print uri; exit } }' "$file"
  done
}

# True when anything is mounted at or below the folder: such a folder is never removed, or the
# removal would reach into the host's own files.
mounted_below() {
  awk -v d="$1" '$2 == d || index($2, d "/") == 1 { found = 1 } END { exit !found }' /proc/self/mounts
}

remove_root() {
  if mounted_below "$1"; then
    echo "error: $1 has mounts below it; not removed" >&2
    return 1
  fi
  "${sudo_cmd[@]}" rm -rf --one-file-system "$1"
}

make_root() {
  if [ -f "$root/.complete" ]; then
    echo "$root"
    return
  fi
  command -v debootstrap >/dev/null || {
    echo "error: debootstrap is not installed" >&2
    return 1
  }
  local mirror
  mirror=$(host_mirror | head -n 1)
  mirror=${mirror:-http://deb.debian.org/debian}
  "${sudo_cmd[@]}" mkdir -p "$cache"
  # One maker at a time; a second waits and then finds the root made.
  exec 9>>"$cache/.lock"
  flock 9
  if [ -f "$root/.complete" ]; then
    echo "$root"
    return
  fi
  # Roots of another package list, and halves of roots whose making was stopped.
  local old
  for old in "$cache"/i386-root-* "$cache"/.i386-root-*; do
    [ -e "$old" ] && [ "$old" != "$root" ] || continue
    remove_root "$old" || true
  done
  # Made under a temporary name and renamed when complete, so a stopped run leaves no root that
  # looks whole; debootstrap and apt run in a mount namespace of their own, so that what they
  # mount inside the root ends with them.
  temp=$("${sudo_cmd[@]}" mktemp -d "$cache/.i386-root-$key.XXXXXX")
  "${sudo_cmd[@]}" chmod 755 "$temp"
  log="$temp.log"
  trap unmade EXIT
  echo "Making a 32-bit Debian root for Wine ($suite from $mirror) in $root" >&2
  if ! "${sudo_cmd[@]}" unshare -m --propagation private \
       debootstrap --arch=i386 --variant=minbase "$suite" "$temp" "$mirror" >"$log" 2>&1; then
    echo "error: debootstrap of the 32-bit root failed: $(grep -E '^[EW]: ' "$log" | tail -n 1)" >&2
    return 1
  fi
  if ! "${sudo_cmd[@]}" unshare -m --propagation private sh -c '
         mount -t proc proc "$0/proc" &&
         DEBIAN_FRONTEND=noninteractive chroot "$0" apt-get install -y -qq --no-install-recommends "$@"
       ' "$temp" "${packages[@]}" >>"$log" 2>&1; then
    echo "error: installing Wine in the 32-bit root failed: $(grep -E '^E: ' "$log" | tail -n 1)" >&2
    return 1
  fi
  "${sudo_cmd[@]}" chroot "$temp" apt-get clean
  "${sudo_cmd[@]}" touch "$temp/.complete"
  "${sudo_cmd[@]}" mv -T "$temp" "$root"
  trap - EXIT
  "${sudo_cmd[@]}" rm -f "$log"
  echo "$root"
}

# A root whose making did not end is removed with its log.
unmade() {
  [ -n "${temp:-}" ] || return 0
  remove_root "$temp" || true
  "${sudo_cmd[@]}" rm -f "$log"
}

enter_root() {
  [ -f "$root/.complete" ] || {
    echo "error: no 32-bit root; tools/install-deps.sh --windows makes it" >&2
    return 1
  }
  local binds=()
  while [ $# -gt 0 ] && [ "$1" != -- ]; do
    binds+=("$(cd "$1" && pwd -P)")
    shift
  done
  [ "${1:-}" = -- ] && shift
  # Mount and process namespaces of their own: the mounts are seen by nothing outside, and when the
  # first process ends, however it ends, every other one in there is killed and the mounts go
  # with the last. Its trap takes them down in order on every ordinary way out. The command runs
  # outside the root, as the caller, with tools/in-root.sh to go in.
  "${sudo_cmd[@]}" setpriv --pdeathsig KILL unshare --mount --propagation private --pid --fork --kill-child=TERM --mount-proc bash -c '
    set -e
    root=$1 uid=$2 gid=$3
    shift 3
    binds=()
    while [ "$1" != -- ]; do binds+=("$1"); shift; done
    shift
    mounted=()
    undo() {
      local i
      for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do umount -R "${mounted[i]}" 2>/dev/null || umount -R -l "${mounted[i]}" || true; done
    }
    trap undo EXIT
    # As the first process it has no default end at a signal.
    trap "exit 130" INT
    trap "exit 143" TERM
    trap "exit 129" HUP
    mount -t proc proc "$root/proc"; mounted+=("$root/proc")
    mount --rbind /dev "$root/dev"; mount --make-rslave "$root/dev"; mounted+=("$root/dev")
    mount --bind /tmp "$root/tmp"; mounted+=("$root/tmp")
    for dir in "${binds[@]}"; do
      mkdir -p "$root$dir"
      mount --bind "$dir" "$root$dir"; mounted+=("$root$dir")
    done
    export RASTERSCAN_WINE32_ROOT=$root
    run=("$@")
    [ "$uid" -eq 0 ] || run=(setpriv --reuid="$uid" --regid="$gid" --init-groups "$@")
    # In the background, so that a signal is taken at once, not when the command ends.
    "${run[@]}" 0<&3 &
    status=0
    wait $! || status=$?
    exit "$status"
  ' enter "$root" "$(id -u)" "$(id -g)" "${binds[@]}" -- "$@" 3<&0 &
  # unshare holds back TERM and INT while it waits; killed, it hands its first process a TERM. It
  # is killed with this script too.
  local namespace=$!
  trap 'kill -KILL "$namespace" 2>/dev/null' INT TERM HUP
  local status=0
  while :; do
    wait "$namespace" && status=0 || status=$?
    kill -0 "$namespace" 2>/dev/null || break
  done
  return "$status"
}

# The whole script is read before anything runs, so that an edit meanwhile changes nothing.
main() {
  case "${1:-}" in
    make) make_root ;;
    path)
      echo "$root"
      [ -f "$root/.complete" ]
      ;;
    enter)
      shift
      enter_root "$@"
      ;;
    *)
      echo "usage: $0 make | path | enter <folder>... -- <command>..." >&2
      exit 2
      ;;
  esac
}
main "$@"
exit
