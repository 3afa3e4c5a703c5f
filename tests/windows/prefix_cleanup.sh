#!/bin/sh
# Ends what runs in the Wine prefix and removes it. Argument: build folder.
set -eu
. "$(dirname "$0")/wine.sh"
server -k || true
rm -rf "$WINEPREFIX"
