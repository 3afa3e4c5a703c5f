#!/bin/sh
# What can be seen of the library without running it. Arguments: build folder, compiler triplet, table
# of exports with the bytes of their arguments.
set -eu
build=$1
tool=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C

# The exports are those of the table without the POSIX additions, undecorated.
grep -v ' posix$' "$3" > "$work/table"
cut -d' ' -f1 "$work/table" > "$work/list"
"$tool-objdump" -p "$build/CC_Interface.dll" > "$work/headers"
sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] //p' "$work/headers" | sort > "$work/exports"
diff "$work/list" "$work/exports"
echo "$(wc -l < "$work/exports") exports, undecorated, none more"

# On 32 bits the compiler writes the bytes of the arguments behind the name (none behind a function of the C convention),
# in the library's objects and in its import library.
if [ "$tool" = i686-w64-mingw32 ]; then
  sed 's/ cdecl$//; s/ /@/; s/^/_/' "$work/table" | sort > "$work/decorated"
  find "$build/src" -path '*cc_core*' -name '*.obj' -exec "$tool-nm" --defined-only {} + |
    sed -n 's/^[0-9a-f]* T \(_\(CC\|L2\|L2S\|L2HI\|LEV2\|PH9\|CreateC\|DeleteC\|GetC\)[A-Za-z0-9]*.*\)/\1/p' |
    grep -vE '^__Z|^_\.' | sort > "$work/compiled"
  diff "$work/decorated" "$work/compiled"
  "$tool-nm" "$build/libCC_Interface.dll.a" | sed -n 's/.* T //p' | sort | diff "$work/decorated" -
  echo "argument bytes of $(wc -l < "$work/decorated") exports as in the table"
fi

# Nothing to ship beside the library, and beside the program only the library; Vista is the oldest Windows.
for file in CC_Interface.dll cmm.exe; do
  "$tool-objdump" -p "$build/$file" > "$work/headers"
  sed -n 's/^\tDLL Name: //p' "$work/headers" > "$work/imports"
  grep -q -x KERNEL32.dll "$work/imports"
  system='KERNEL32.dll|msvcrt.dll|USER32.dll|WINMM.dll'
  if [ "$file" = cmm.exe ]; then system="$system|CC_Interface.dll|ADVAPI32.dll"; fi  # the list of ports is in the registry
  if grep -vixE "$system" "$work/imports"; then exit 1; fi
  awk '/^M..orOSystemVersion|^M..orSubsystemVersion/ { version = version " " $2 }
    END { print "'$file' for Windows" version; exit version != " 6 0 6 0" }' "$work/headers"
  # It may lie anywhere in memory.
  grep -qE '^\s+DYNAMIC_BASE$' "$work/headers"
  grep -qE '^\s+NX_COMPAT$' "$work/headers"
done
strings -el "$build/CC_Interface.dll" | grep -A1 -x FileVersion
