#!/usr/bin/env bash
# Runs a command inside the 32-bit Debian root that tools/wine32-root.sh enter has mounted (its
# folder in RASTERSCAN_WINE32_ROOT), in the current folder and as the calling user, so that a
# Wine started this way is the root's 32-bit one.
set -euo pipefail
root=${RASTERSCAN_WINE32_ROOT:?run under tools/wine32-root.sh enter}
sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
# sudo clears the environment: what Wine and X need is handed on by name.
vars=()
for name in WINEPREFIX WINEDEBUG DISPLAY XAUTHORITY HOME; do
  [ -z "${!name+x}" ] || vars+=("$name=${!name}")
done
exec "${sudo_cmd[@]}" chroot --userspec="$(id -u):$(id -g)" "$root" /usr/bin/env "${vars[@]}" \
  /bin/sh -c 'cd "$0" && exec "$@"' "$PWD" "$@"
