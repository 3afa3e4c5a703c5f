#!/bin/sh
# The zip has what a user needs: the example is built against it, and run where that is possible together with the demo.
# Arguments: build folder, compiler triplet, bits.
set -eu
build=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
unzip -q "$build"/CC_Interface-*-windows"$3".zip -d "$folder"
cd "$folder"/CC_Interface-*-windows"$3"
for file in README.txt windows.md protocol.md bin/CC_Interface.dll bin/cmm-emulator.exe bin/demo.ini \
  lib/cmake/CC_Interface/CC_InterfaceConfig.cmake; do
  [ -s "$file" ]
done
"$2-gcc" -std=c99 -Wall -Wextra -Wpedantic -Werror -Iinclude example/client.c -Llib -lCC_Interface -o bin/client.exe
cd bin
. "$(dirname "$0")/wine.sh"
run client.exe
run cmm.exe demo --ini demo.ini --picture sphere.svg | grep 'each is accounted for'
grep -q '</svg>' sphere.svg
