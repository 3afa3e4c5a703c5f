#!/bin/sh
# cmm measures on a port that cmm-emulator serves; the emulator logs frames and stops cleanly on a signal.
# Arguments: build folder, initialisation file.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
: > "$folder/log"
"$1/cmm-emulator" --link-dir "$folder" --port 7 --head --head-speed 720 --speed 500 --probing-speed 500 --log \
  > "$folder/log" &
emulator=$!
while ! grep -q '^head on' "$folder/log"; do kill -0 $emulator; done
CC_PORT_DIR=$folder "$1/cmm" measure --port COM7 --head-port COM8 --ini "$2" --picture "$folder/picture.svg" \
  --centre 100 80 50 --radius 15 --yes > "$folder/out"
kill -INT $emulator
wait $emulator
grep -q 'each is accounted for' "$folder/out"
grep -q 'form .* 8.0. um (36 points)' "$folder/out"
grep -q 'host -> controller  data [01]: G05, probing move [0-9]* to X ' "$folder/log"
grep -q 'host <- controller  data [01]: reply 9 in state 3: touch point X .* mm of move ' "$folder/log"
grep '^stopped after' "$folder/log"
