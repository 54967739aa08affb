#!/usr/bin/env bash
# Configures and builds everything into build/ (executables in build/bin/).
set -euo pipefail
cd "$(dirname "$0")/.."
"$(dirname "$0")/install-deps.sh"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build --parallel "$(nproc)"
