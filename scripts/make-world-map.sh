#!/bin/sh
# Regenerates resources/map/world-50m.bin, the country outlines of the world map, from pinned npm
# packages: world-atlas (Natural Earth 1:50m, ISC; the data are public domain), i18n-iso-countries
# (numeric to two-letter codes and English names, MIT) and topojson-client (ISC). The packages go
# into a temporary folder; only the converted file is kept in the repository.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
out="$here/../resources/map/world-50m.bin"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$tmp"
npm init -y >/dev/null
npm install --no-audit --no-fund --silent world-atlas@2.0.2 i18n-iso-countries@7.14.0 topojson-client@3.1.0
node "$here/make-world-map.mjs" "$tmp/node_modules" "$out"
