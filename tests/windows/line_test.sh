#!/bin/sh
# The tests that need a COM port. A server makes a pseudo-terminal for each connection, links it as COM9, and unplugs it
# with the connection. Argument: build folder.
set -eu
. "$(dirname "$0")/wine.sh"
log=$(mktemp)
rm -f "$devices/com9"
socat -d -d TCP-LISTEN:0,bind=127.0.0.1,fork "PTY,link=$devices/com9,raw,echo=0" 2> "$log" &
server=$!
trap 'kill $server 2> /dev/null || true; rm -f "$log"' EXIT
while ! grep -q 'listening on' "$log"; do kill -0 $server; done
CC_FAR_END_PORT=$(sed -n 's/.*listening on .*://p' "$log")
export CC_FAR_END_PORT
run "$build/windows_tests.exe"
