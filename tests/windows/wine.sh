#!/bin/sh
# Sourced by the tests that run Windows programs, with the build folder as $1: a Wine prefix in it.
build=$1
export WINEPREFIX="$build/wine" WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml='
PATH=$PATH:/usr/lib/wine  # where Debian keeps what a package without wrapper scripts brings
devices=$WINEPREFIX/dosdevices

# The server is started here so that it does not hold the output of a test open. A pseudo-terminal that hangs up makes
# it print all its objects.
start_server() {
  wineserver64 -p60 < /dev/null > /dev/null 2>&1 || true
}

# Runs a Windows program and prints what it printed: by way of a file, as helpers of Wine's keep what they inherit.
run() {
  start_server
  code=0
  wine64 "$@" < /dev/null > "$WINEPREFIX/output" 2>&1 || code=$?
  cat "$WINEPREFIX/output"
  return $code
}
