#!/bin/sh
# Programs that end, or unload the library, with ports open on an emulated machine. Arguments: build folder, cmm-emulator,
# initialisation file.
set -eu
. "$(dirname "$0")/wine.sh"
log=$(mktemp)
emulator=
trap 'kill $emulator 2> /dev/null || true; rm -f "$log"' EXIT
limit=20  # less than closing a port may take
for way in return FreeLibrary 'FreeLibrary after CC_DONE elsewhere'; do
  # A new one each time: Wine opens a pseudo-terminal with parity once only.
  "$2" --link-dir "$devices" --port 3 --head --head-speed 720 > "$log" &
  emulator=$!
  while ! grep -q '^head on' "$log"; do kill -0 $emulator; done
  echo "$way"
  run "$build/ending_host.exe" "$way" "$3"
  kill $emulator
  wait $emulator || true
done
