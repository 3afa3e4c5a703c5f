#!/bin/sh
# A project that embeds this one gets the library and nothing else of it. Its warnings, under which ours warns and which
# are errors for it, do not break ours; and its own targets see none of our flags.
# Argument: source folder.
set -eu
unset CFLAGS CXXFLAGS
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp "$1/tests/client/client.c" "$folder"
cat > "$folder/CMakeLists.txt" <<EOF
cmake_minimum_required(VERSION 3.25)
project(embedding LANGUAGES C)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
add_compile_options(-Wpadded)
add_subdirectory($1 embedded)
add_executable(client client.c)
target_link_libraries(client CC_Interface::CC_Interface)
EOF
cmake -S "$folder" -B "$folder/build" -DCMAKE_COMPILE_WARNING_AS_ERROR=ON > /dev/null
cmake --build "$folder/build" -j2 > "$folder/log" 2>&1 || { cat "$folder/log"; exit 1; }
grep -q '\[-Wpadded\]' "$folder/log"
"$folder/build/client"

# Compiler, definitions and flags of the client's one source.
sed -n 's/^ *"command": "[^ ]* *\(.*\) -o .*client\.c.*/\1/p' "$folder/build/compile_commands.json" > "$folder/flags"
echo "-I$1/include -Wpadded -Werror" | diff - "$folder/flags"
# What was built, and what an installation takes.
find "$folder/build" -path '*/CMakeFiles' -prune -o -type f \( -perm -u+x -o -name '*.a' \) -printf '%P\n' |
  sed 's/\.so\.[0-9.]*$/.so.VERSION/' | sort > "$folder/built"
printf 'client\nembedded/src/libCC_Interface.so.VERSION\n' | diff - "$folder/built"
cmake --install "$folder/build" --prefix "$folder/usr" > /dev/null
[ ! -e "$folder/usr" ]
