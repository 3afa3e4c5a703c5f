#!/bin/sh
# cmm-emulator.exe serves a COM port; cmm of this machine measures at its other end. Arguments: build folder, cmm.
set -eu
. "$(dirname "$0")/wine.sh"
folder=$(mktemp -d)
socat "pty,link=$devices/com5,rawer" "pty,link=$folder/com3,rawer" &
cable=$!
emulator=
trap 'kill $emulator $cable 2> /dev/null || true; rm -rf "$folder"' EXIT
while ! [ -e "$devices/com5" ] || ! [ -e "$folder/com3" ]; do kill -0 $cable; done
start_server
wine "$build/cmm-emulator.exe" --device COM5 --speed 300 --probing-speed 300 < /dev/null > "$folder/log" 2>&1 &
emulator=$!
while ! grep -q '^controller on COM5' "$folder/log"; do kill -0 $emulator; done
CC_PORT_DIR=$folder "$2" measure circle --port COM3 --centre 100 80 50 --radius 15 --yes --picture "$folder/circle.svg"
run "$build/cmm-emulator.exe" && exit 1
grep -q -e '--device is required' "$WINEPREFIX/output"
