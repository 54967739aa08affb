#!/usr/bin/env bash
# Builds Kelvane (installing what is missing) and runs the whole test suite. Widget tests run offscreen.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/build.sh
# Unformatted code fails the run, where clang-format is at hand.
if command -v clang-format >/dev/null; then
  git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run -Werror
fi
export QT_QPA_PLATFORM=offscreen
ctest --test-dir build --output-on-failure --timeout 600 -j "$(nproc)"
