#!/bin/sh
# Every option that a program's help names is in its manual page.
# Arguments: build folder, folder of the pages.
set -eu
missing=
check() {
  page=$1
  shift
  for option in $("$@" --help | grep -oE '(^|[ ,])--[a-z][a-z-]*' | grep -oE -- '--[a-z-]+' | sort -u); do
    sed 's/\\-/-/g' "$page" | grep -qE -- "$option([^a-z-]|$)" || missing="$missing $*:$option"
  done
}
check "$2/cmm-emulator.1" "$1/cmm-emulator"
for command in $("$1/cmm" --help | sed -n '/^Subcommands:/,/^$/ s/^  \([a-z][a-z-]*\) .*/\1/p'); do
  check "$2/cmm.1" "$1/cmm" "$command"
  grep -q "^\.SS cmm $command" "$2/cmm.1" || missing="$missing $command"
done
[ -z "$missing" ] || { echo "missing:$missing"; exit 1; }
