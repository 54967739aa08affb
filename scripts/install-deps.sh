#!/usr/bin/env bash
# Installs the Debian 12 packages Kelvane builds with, when they are missing.
#   scripts/install-deps.sh [PACKAGE...]    extra packages for one script (the fuzz targets need clang)
set -euo pipefail
packages=(build-essential cmake ninja-build pkg-config qt6-base-dev qt6-base-dev-tools qt6-svg-dev
          libgl-dev libsqlite3-dev libsimdjson-dev zlib1g-dev libxlsxwriter-dev qtkeychain-qt6-dev poppler-utils
          unzip sqlite3 desktop-file-utils appstream dpkg-dev file libyaml-cpp-dev libre2-dev libvectorscan-dev "$@")
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "Not root and no sudo: install them as root first."; exit 1; }
    sudo_cmd=(sudo)
  fi
  # A fresh machine often runs its own updates at boot: wait for their lock rather than fail.
  lock=(-o DPkg::Lock::Timeout=600)
  "${sudo_cmd[@]}" apt-get "${lock[@]}" update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get "${lock[@]}" install -y -qq \
    --no-install-recommends "${missing[@]}"
fi
