#!/bin/sh
# Runs a program of the build under Wine. Arguments: build folder, program, its arguments.
set -eu
. "$(dirname "$0")/wine.sh"
program=$2
shift 2
run "$build/$program" "$@"
