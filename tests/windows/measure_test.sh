#!/bin/sh
# cmm.exe watches its simulator, and measures on COM ports whose far ends cmm-emulator serves. Arguments: build folder, cmm-emulator,
# initialisation file.
set -eu
. "$(dirname "$0")/wine.sh"
log=$(mktemp)
picture=$WINEPREFIX/picture.svg
"$2" --link-dir "$devices" --port 3 --head --head-speed 720 --speed 300 --probing-speed 300 --log > "$log" &
emulator=$!
trap 'kill $emulator 2> /dev/null || true; rm -f "$log"' EXIT
while ! grep -q '^head on' "$log"; do kill -0 $emulator; done
run "$build/cmm.exe" watch --simulate --count 1 --json
grep -q '"line":"in order"' "$WINEPREFIX/output"
run "$build/cmm.exe" measure --port COM3:9600,e,8,1 --head-port COM4:4800,n,8,2 --ini "$3" --picture "$picture" \
  --centre 100 80 50 --radius 15 --yes
grep -q 'each is accounted for' "$WINEPREFIX/output"
grep -q 'form .* 8.0. um (36 points)' "$WINEPREFIX/output"
grep -q '</svg>' "$picture"
kill -INT $emulator
wait $emulator
grep '^stopped after' "$log"
