#!/usr/bin/env bash
# Builds Kelvane for /usr and makes its Debian package in build-package/package/ (installing what is
# missing first). Install it with: sudo apt install ./build-package/package/kelvane_*.deb
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build-package -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr
cmake --build build-package --parallel "$(nproc)" --target kelvane kelvane-import kelvane-query kelvane-icons
(cd build-package && cpack -G DEB -B "$PWD/package")
ls build-package/package/*.deb
