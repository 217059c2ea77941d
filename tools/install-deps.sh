#!/usr/bin/env bash
# Installs, from Debian's packages, what building and testing Raster-scan needs. Does nothing
# when everything is there already.
set -euo pipefail

# The diagnostic shell: Boost, nlohmann-json and CLI11 (header-only); its results store: SQLite, the
# PostgreSQL client and a throwaway server; the fleet page's chart; Chromium and a JUnit reader for
# the tests of its pages.
packages=(cmake g++ make libgtest-dev libbenchmark-dev clang libclang-rt-dev libstb-dev libfreetype-dev fonts-liberation pkg-config libavformat-dev libavcodec-dev libswscale-dev libosmesa6-dev
  libboost-dev nlohmann-json3-dev libcli11-dev python3-junitparser libsqlite3-dev libpq-dev postgresql libjs-chart.js chromium)
if [ "${1:-}" = "--windows" ]; then
  # googletest: its sources, built with the cross compiler for the Windows unit tests; Xvfb: an X
  # screen for the Windows build's windows and DirectDraw under Wine; Mesa's GLX and software
  # renderer for Wine's opengl32; debootstrap for a 32-bit root where 32-bit Wine cannot be installed.
  packages+=(mingw-w64 wine wine64 googletest xvfb xauth libgl1 libglx-mesa0 libgl1-mesa-dri debootstrap)
fi

sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
missing=()
for package in "${packages[@]}"; do
  # Any architecture's copy will do (with 32-bit Wine some are there twice, and dpkg -s refuses
  # such a name as ambiguous).
  dpkg-query -W -f='${db:Status-Abbrev}\n' "$package" 2>/dev/null | grep -q '^ii' || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  # An index that fails to download (a mirror in the middle of a sync) need not stop the install;
  # a package it would have held does, below.
  "${sudo_cmd[@]}" apt-get update -qq || true
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# The product is a 32-bit program: 32-bit Wine, with GL for its opengl32 and the X extensions its
# display driver changes modes with (the 64-bit side has them through other packages), when the
# archive can give it. It cannot when the i386 packages are out of step with the installed 64-bit
# ones; then a 32-bit Debian root of the release suite has them (tools/wine32-root.sh), made once
# and kept in a cache folder, and the Wine tests run there. A root made before is used as it is.
if [ "${1:-}" = "--windows" ] && [ ! -d /usr/lib/i386-linux-gnu/wine/i386-windows ] &&
   ! bash "$(dirname "$0")/wine32-root.sh" path >/dev/null; then
  log=$(mktemp)
  added=0
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    "${sudo_cmd[@]}" dpkg --add-architecture i386
    added=1
  fi
  "${sudo_cmd[@]}" apt-get update -qq >"$log" 2>&1 || true
  if ! DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends \
       wine32:i386 libgl1:i386 libglx-mesa0:i386 libgl1-mesa-dri:i386 libxrandr2:i386 libxrender1:i386 \
       libxinerama1:i386 libxcursor1:i386 libxi6:i386 libxcomposite1:i386 libxfixes3:i386 libxxf86vm1:i386 \
       >>"$log" 2>&1; then
    reason=$(grep -E '^E: ' "$log" | head -n 1 | cut -c4- | tr -s ' ')
    echo "32-bit Wine cannot be installed here (${reason:-see apt-get}); making a 32-bit root for it"
    # Leave apt as it was, so that later updates do not fail on the i386 indexes.
    [ "$added" -eq 0 ] || "${sudo_cmd[@]}" dpkg --remove-architecture i386 2>/dev/null || true
    bash "$(dirname "$0")/wine32-root.sh" make >/dev/null ||
      echo "!!! NO 32-BIT WINE: neither wine32:i386 nor a 32-bit root could be installed; the Windows tests run the 64-bit build only"
  fi
  rm -f "$log"
fi
