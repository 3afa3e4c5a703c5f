#!/bin/bash
# The completion knows commands, options and values. Arguments: build folder, completion file.
set -eu
# shellcheck disable=SC1090
. "$2"
CC_PORT_DIR=$(mktemp -d)
trap 'rm -rf "$CC_PORT_DIR"' EXIT
: > "$CC_PORT_DIR/com7"

# Arguments: what the last word may become, program, words.
check() {
  local wanted=$1
  COMP_WORDS=("${@:2}")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _cmm "$2" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
  [ "${COMPREPLY[*]}" = "$wanted" ] || { echo "${*:2}: '${COMPREPLY[*]}' instead of '$wanted'"; exit 1; }
}

check 'measure' "$1/cmm" me
check '--version' "$1/cmm" --v
check '--radius --retract' "$1/cmm" measure --r
check '--axis' "$1/cmm" measure --emulate --ax
check '--normal' "$1/cmm" demo plane --no
check 'circle cylinder' "$1/cmm" measure --yes c
check 'COM7' "$1/cmm" measure --head-port co
check '/dev/null' "$1/cmm" watch --port /dev/nul
check "$2" "$1/cmm" measure --csv "${2%sh}"
check "$2" "$1/cmm" demo --ini "${2%sh}"
check '--link-dir --level --log' "$1/cmm-emulator" --l
check 'plate plane' "$1/cmm-emulator" --part pl
