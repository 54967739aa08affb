#!/usr/bin/env bash
# Imports every .evtx file under a folder and the XML export beside it (same name, .xml), and compares the
# two databases table by table and row by row (sqlite3 .dump). Prints one line per file and a summary;
# exits 1 when any pair differs.
#   scripts/compare-evtx.sh FOLDER [BUILD_DIR]
set -uo pipefail
[ $# -ge 1 ] && [ -d "$1" ] || { echo "usage: $0 FOLDER [BUILD_DIR] (a folder of .evtx files with their XML exports)"; exit 2; }
folder=${1%/}
build=${2:-$(dirname "$0")/../build}
import="$build/bin/kelvane-import"
[ -x "$import" ] || { echo "build kelvane-import first ($import)"; exit 2; }
command -v sqlite3 >/dev/null || { echo "needs the sqlite3 command (Debian package sqlite3)"; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

same=0; differ=0; events=0; skipped=0
while IFS= read -r -d '' evtx; do
  xml="${evtx%.evtx}.xml"
  name=${evtx#"$folder"/}
  if [ ! -f "$xml" ]; then echo "NO XML   $name"; continue; fi
  out_e=$("$import" --force --db "$work/e.db" "$evtx" 2>&1); rc_e=$?
  out_x=$("$import" --force --db "$work/x.db" "$xml" 2>&1); rc_x=$?
  sqlite3 "$work/e.db" .dump > "$work/e.sql"
  sqlite3 "$work/x.db" .dump > "$work/x.sql"
  n=$(sqlite3 "$work/e.db" 'SELECT COUNT(*) FROM AllEvents')
  s=$(grep -o '[0-9]* damaged records' <<<"$out_e" | grep -o '^[0-9]*' || true)
  skipped=$((skipped + ${s:-0}))
  if [ $rc_e -eq $rc_x ] && cmp -s "$work/e.sql" "$work/x.sql"; then
    same=$((same + 1)); events=$((events + n))
    echo "SAME     $name ($n rows in AllEvents; ${out_e//$'\n'/ | })"
  else
    differ=$((differ + 1))
    echo "DIFFERS  $name (evtx: ${out_e//$'\n'/ | } [$rc_e]; xml: ${out_x//$'\n'/ | } [$rc_x])"
    diff "$work/x.sql" "$work/e.sql" | head -6 | sed 's/^/         /'
  fi
done < <(find "$folder" -name '*.evtx' -print0 | sort -z)
echo "files identical: $same, differing: $differ; AllEvents rows in identical files: $events;" \
     "damaged records skipped: $skipped"
[ $differ -eq 0 ]
