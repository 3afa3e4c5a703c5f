#!/bin/sh
# The library's dynamic symbols are exactly those of the list. Arguments: library, list.
set -eu
nm -D --defined-only "$1" | awk '{print $3}' | LC_ALL=C sort | diff "$2" -
echo "$(wc -l < "$2") exports, none more"
