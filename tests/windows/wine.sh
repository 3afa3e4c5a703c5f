#!/bin/sh
# Sourced by the tests that run Windows programs, with the build folder as $1: a Wine prefix in it. 32-bit programs run in
# the Wine whose folder $CC_WINE32 names; where it could not be set up, their tests are skipped.
build=$1
export WINEPREFIX="$build/wine" WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml,winedbg.exe='
devices=$WINEPREFIX/dosdevices
limit=380  # seconds for one program

if [ -z "${CC_WINE32:-}" ]; then
  PATH=$PATH:/usr/lib/wine  # where Debian keeps what a package without wrapper scripts brings
  wine() { timeout $limit wine64 "$@"; }
  server() { wineserver64 "$@"; }
elif [ -e "$CC_WINE32/complete" ]; then
  export WINESERVER=/usr/lib/wine/wineserver32
  # Runs a program that sees that Wine's files as the root folder, and this machine's devices and this project in it.
  inside() {
    timeout $limit unshare -m sh -c '
      root=$1/root project=${1%/build/*}
      shift
      mkdir -p "$root$project"
      for folder in /proc /dev /tmp "$project"; do mount --rbind "$folder" "$root$folder"; done
      exec unshare --root="$root" --wd="$PWD" "$@"' sh "$CC_WINE32" "$@"
  }
  wine() { inside /usr/lib/wine/wine "$@"; }
  server() { inside "$WINESERVER" "$@"; }
else
  cat "$CC_WINE32/missing" 2> /dev/null || echo "scripts/setup-wine32 sets up what runs 32-bit programs"
  exit 77
fi

# The server is started here so that it does not hold the output of a test open. A pseudo-terminal that hangs up makes
# it print all its objects.
start_server() {
  server -p60 < /dev/null > /dev/null 2>&1 || true
}

# Runs a Windows program and prints what it printed: by way of a file, as helpers of Wine's keep what they inherit.
run() {
  start_server
  code=0
  wine "$@" < /dev/null > "$WINEPREFIX/output" 2>&1 || code=$?
  cat "$WINEPREFIX/output"
  return $code
}
