#!/usr/bin/env bash
# pkg-config.sh COMPILER LIBDIR SOURCE PROGRAM: builds and runs one source file, as a Makefile would.
set -euo pipefail
compiler=$1 libdir=$2 source=$3 program=$4

export PKG_CONFIG_PATH=$libdir/pkgconfig
read -ra flags < <(pkg-config --cflags --libs zentaraclient)
"$compiler" -std=c++20 "$source" -o "$program" "${flags[@]}" "-Wl,-rpath,$libdir"
"$program"
