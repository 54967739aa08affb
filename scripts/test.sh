#!/usr/bin/env bash
# Builds Kelvane (installing what is missing) and runs the whole test suite. Widget tests run offscreen.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/build.sh
export QT_QPA_PLATFORM=offscreen
ctest --test-dir build --output-on-failure --timeout 600 -j "$(nproc)"
