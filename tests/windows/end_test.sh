#!/bin/sh
# Programs that end, or unload the library, with ports open on an emulated machine. Arguments: build folder, cmm-emulator,
# initialisation file.
set -eu
. "$(dirname "$0")/wine.sh"
log=$(mktemp)
emulator=
trap 'kill $emulator 2> /dev/null || true; rm -f "$log"' EXIT
limit=20  # less than closing a port may take
for way in return exit ExitProcess Ctrl-C FreeLibrary 'FreeLibrary after CC_DONE elsewhere'; do
  # A new one each time: Wine opens a pseudo-terminal with parity once only.
  "$2" --link-dir "$devices" --port 3 --head --head-speed 720 --gap 150 > "$log" &
  emulator=$!
  while ! grep -q '^head on' "$log"; do kill -0 $emulator; done
  code=0
  run "$build/ending_host.exe" "$way" "$3" || code=$?
  kill $emulator
  wait $emulator || true
  echo "$way: $code"
  # Ctrl-C ends a program with a number of the system's own, under Wine 0.
  [ $code -eq 3 ] || [ "$way $code" = 'Ctrl-C 0' ]
done
