#!/usr/bin/env bash
# Installs the Debian 12 packages Kelvane builds with, when they are missing.
#   scripts/install-deps.sh [PACKAGE...]    extra packages for one script (the fuzz targets need clang)
set -euo pipefail
packages=(build-essential cmake ninja-build pkg-config qt6-base-dev qt6-base-dev-tools qt6-svg-dev
          libgl-dev libsqlite3-dev libsimdjson-dev zlib1g-dev libxlsxwriter-dev poppler-utils unzip sqlite3
          libyaml-cpp-dev libre2-dev libvectorscan-dev "$@")
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
