#!/bin/sh
# Installs the build, builds the client against the installed package, by CMake and by pkg-config, and starts the programs.
# Arguments: build folder, folder of the client.
set -eu
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$1" --prefix "$prefix/usr" > /dev/null
cp -r "$2" "$prefix/client"
cmake -S "$prefix/client" -B "$prefix/build" -DCMAKE_PREFIX_PATH="$prefix/usr" > /dev/null
cmake --build "$prefix/build" > /dev/null
"$prefix/build/client"
pkgconfig=$(dirname "$(find "$prefix/usr" -name cc_interface.pc)")
flags=$(PKG_CONFIG_PATH=$pkgconfig pkg-config --cflags --libs cc_interface)
# The flags are words.
# shellcheck disable=SC2086
cc -std=c99 -Wall -Wextra -Wpedantic -Werror "$prefix/client/client.c" $flags -o "$prefix/client_pc"
LD_LIBRARY_PATH=$(dirname "$pkgconfig") "$prefix/client_pc"
# The programs find the library by themselves, and a picture is where it was asked for.
(cd / && "$prefix/usr/bin/cmm" demo --picture "$prefix/sphere.svg" > /dev/null && "$prefix/usr/bin/cmm-emulator" --help > /dev/null)
test -s "$prefix/sphere.svg"
