#!/usr/bin/env bash
# Builds Kelvane (installing what is missing) and starts it.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/build.sh
exec build/bin/kelvane
