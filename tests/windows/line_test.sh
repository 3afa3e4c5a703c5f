#!/bin/sh
# The tests that need a COM port. A server makes a pseudo-terminal for each connection, links it as COM9, and unplugs it
# with the connection. Argument: build folder.
set -eu
. "$(dirname "$0")/wine.sh"
log=$(mktemp)
server=
trap 'kill "$server" 2> /dev/null || true; rm -f "$log"' EXIT
serving() {
  while ! grep -q 'listening on' "$log"; do kill -0 "$server" 2> /dev/null || return 1; done
}
rm -f "$devices/com9"
CC_FAR_END_PORT=$((20000 + $$ % 20000))
export CC_FAR_END_PORT
for _ in 1 2 3 4 5; do
  CC_FAR_END_PORT=$((CC_FAR_END_PORT + 1))
  socat -d -d "TCP-LISTEN:$CC_FAR_END_PORT,bind=127.0.0.1,reuseaddr,fork" "PTY,link=$devices/com9,raw,echo=0" 2> "$log" &
  server=$!
  serving && break
done
run "$build/windows_tests.exe"
