#!/usr/bin/env bash
# Builds Kelvane with AddressSanitizer and UndefinedBehaviorSanitizer into build-asan/ and runs the whole
# test suite under them; any report fails the run. Widget tests run offscreen.
#   scripts/test-sanitized.sh [ctest arguments, e.g. -R Evtx]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKELVANE_SANITIZE=ON >/dev/null
cmake --build build-asan -j"$(nproc)"
export QT_QPA_PLATFORM=offscreen
# Leaks in the platform libraries that Qt loads (fontconfig and the like) are theirs, not ours.
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1:detect_stack_use_after_return=1
export LSAN_OPTIONS=suppressions=$PWD/scripts/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build-asan --output-on-failure --timeout 1800 -j "$(nproc)" "$@"
