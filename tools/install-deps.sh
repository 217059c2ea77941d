#!/usr/bin/env bash
# Installs, from Debian's packages, what building and testing Raster-scan needs. Does nothing
# when everything is there already.
set -euo pipefail

packages=(cmake g++ make libgtest-dev libbenchmark-dev clang libclang-rt-dev libstb-dev libfreetype-dev fonts-liberation pkg-config libavformat-dev libavcodec-dev libswscale-dev libosmesa6-dev)
if [ "${1:-}" = "--windows" ]; then
  # googletest: its sources, built with the cross compiler for the Windows unit tests; Xvfb: an X
  # screen for the Windows build's windows and DirectDraw under Wine; Mesa's GLX and software
  # renderer for Wine's opengl32.
  packages+=(mingw-w64 wine wine64 googletest xvfb xauth libgl1 libglx-mesa0 libgl1-mesa-dri)
fi

missing=()
for package in "${packages[@]}"; do
  dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
