#!/bin/sh
# The programs of the README, as they stand there, print their point against the emulated machine.
# Arguments: build folder, source folder.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/p" "$2/README.md" | sed '1d;$d'; }
block c "$2" > "$folder/program.c"
block python "$2" > "$folder/program.py"
block ini "$2" > "$folder/machine.ini"
cd "$folder"
"$1/cmm-emulator" --link-dir ports --port 3 > log &
emulator=$!
while ! grep -q '^controller on' log; do kill -0 $emulator; done
export CC_PORT_DIR=ports LD_LIBRARY_PATH="$1" CC_INTERFACE_LIBRARY="$1/libCC_Interface.so" PYTHONPATH="$2/python"
cc -std=c99 -Wall -Wextra -Wpedantic -Werror program.c -o program "-I$2/include" "-L$1" -lCC_Interface
./program > c
/usr/bin/python3 -B program.py > python
kill $emulator
wait $emulator
echo 'point 42: 100.0000 80.0000 65.0000' | tee expected | diff c -
diff python expected
