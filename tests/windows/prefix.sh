#!/bin/sh
# Ends what runs in the Wine prefix and removes it; makes a new one, whose windows need no screen. Arguments: build
# folder, setup or cleanup.
set -eu
. "$(dirname "$0")/wine.sh"
server -k 2> /dev/null || true
rm -rf "$WINEPREFIX"
[ "$2" = setup ] || exit 0
mkdir -p "$WINEPREFIX"
run wineboot -i
run reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f
# What runs by now has looked for a screen; the server saves the registry as it ends.
server -k
server -w
