#!/bin/bash
# The library's dynamic symbols are exactly those of the table. Arguments: library, table of exports.
set -eu
export LC_ALL=C
diff <(cut -d' ' -f1 "$2") <(nm -D --defined-only "$1" | awk '{print $3}' | sort)
echo "$(wc -l < "$2") exports, none more"
