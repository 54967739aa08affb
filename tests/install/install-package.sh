#!/usr/bin/env bash
# Builds the Debian package, unpacks it into a temporary root (dpkg-deb -x) and runs the installed
# programs from there with a temporary HOME: kelvane-import and kelvane-query on a small log of our own,
# and the GUI offscreen until it has loaded its database from the per-user folder.
#   install-package.sh BUILD_DIR
set -euo pipefail
build=$(cd "$1" && pwd)
work=$(mktemp -d)
gui_pid=
cleanup() {
  [ -n "$gui_pid" ] && kill "$gui_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

(cd "$build" && cpack -G DEB -B "$work/package" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; fail "cpack"; }
deb=$(ls "$work"/package/kelvane_*.deb)
depends=$(dpkg-deb -f "$deb" Depends)
for lib in libqt6widgets6 libsqlite3-0 libqt6keychain1; do
  grep -q "$lib" <<<"$depends" || fail "Depends lacks $lib: $depends"
done
root="$work/root"
dpkg-deb -x "$deb" "$root"
for f in usr/bin/kelvane usr/bin/kelvane-import usr/bin/kelvane-query usr/share/doc/kelvane/copyright \
         usr/share/applications/org.kelvane.Kelvane.desktop usr/share/metainfo/org.kelvane.Kelvane.metainfo.xml \
         usr/share/icons/hicolor/scalable/apps/org.kelvane.Kelvane.svg \
         usr/share/icons/hicolor/48x48/apps/org.kelvane.Kelvane.png usr/share/man/man1/kelvane-query.1 \
         usr/share/kelvane/licenses/kelvane.txt; do
  [ -s "$root/$f" ] || fail "package lacks $f"
done
grep -q "^License: MIT" "$root/usr/share/doc/kelvane/copyright" || fail "copyright names no licence"

export HOME="$work/home" XDG_CONFIG_HOME= XDG_DATA_HOME= QT_QPA_PLATFORM=offscreen
mkdir -p "$HOME"
unset DBUS_SESSION_BUS_ADDRESS
cat >"$work/small.xml" <<'LOG'
<?xml version="1.0" encoding="UTF-8"?>
<Events>
<Event xmlns="http://schemas.microsoft.com/win/2004/08/events/event"><System><EventID>1</EventID><Computer>WS-01</Computer></System><EventData><Data Name="UtcTime">2024-05-01 10:00:00.000</Data><Data Name="ProcessGuid">{AAAAAAAA-0000-0000-0000-000000000001}</Data><Data Name="ProcessId">100</Data><Data Name="Image">C:\Tools\tool.exe</Data><Data Name="CommandLine">tool.exe --run</Data><Data Name="ParentProcessGuid">{AAAAAAAA-0000-0000-0000-000000000000}</Data><Data Name="ParentImage">C:\Windows\explorer.exe</Data></EventData></Event>
<Event xmlns="http://schemas.microsoft.com/win/2004/08/events/event"><System><EventID>3</EventID><Computer>WS-01</Computer></System><EventData><Data Name="UtcTime">2024-05-01 10:00:01.000</Data><Data Name="ProcessGuid">{AAAAAAAA-0000-0000-0000-000000000001}</Data><Data Name="ProcessId">100</Data><Data Name="Image">C:\Tools\tool.exe</Data><Data Name="DestinationIp">8.8.8.8</Data><Data Name="SourceIp">10.0.0.1</Data></EventData></Event>
</Events>
LOG
userdb="$HOME/.local/share/Kelvane/KelvaneDB"
mkdir -p "$(dirname "$userdb")"
"$root/usr/bin/kelvane-import" --version | grep -q "3.1" || fail "kelvane-import --version"
out=$("$root/usr/bin/kelvane-import" --db "$userdb" "$work/small.xml") || fail "kelvane-import: $out"
grep -q "Done! Imported 2 Events" <<<"$out" || fail "kelvane-import said: $out"
out=$("$root/usr/bin/kelvane-query" --db "$userdb" search tool.exe) || fail "kelvane-query: $out"
[ "$(tail -1 <<<"$out")" = 2 ] || fail "kelvane-query found: $out"

# The installed GUI finds KelvaneDB in the per-user folder and loads it: then it is the first recent
# database in the settings.
"$root/usr/bin/kelvane" --load >"$work/gui.log" 2>&1 &
gui_pid=$!
settings="$HOME/.config/Kelvane/Kelvane.ini"
for _ in $(seq 1 300); do
  grep -q "KelvaneDB" "$settings" 2>/dev/null && break
  kill -0 "$gui_pid" 2>/dev/null || { cat "$work/gui.log"; fail "the GUI ended"; }
  sleep 0.1
done
grep -q "$userdb" "$settings" 2>/dev/null || { cat "$work/gui.log"; fail "the GUI did not load $userdb"; }
[ ! -e "$root/usr/bin/KelvaneDB" ] || fail "the installed GUI wrote into its own folder"
echo "package $(basename "$deb"): installed programs import, query and load from the user's folder"
