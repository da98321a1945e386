#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds and runs a consumer
# through find_package and through pkg-config.
set -euo pipefail
build_dir=$1
source_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
cmake -S "$source_dir/tests/api/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib" "$work/consumer/consumer" | grep -qx Success

pcdir=$(dirname "$(find "$work/prefix" -name quilkova.pc)")
flags=$(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs quilkova)
# The linker looks for libquilplatform (needed by libquilkova) where the loader would.
LD_LIBRARY_PATH="$work/prefix/lib" g++ -std=c++17 "$source_dir/tests/api/consumer/consumer.cpp" $flags -o "$work/consumer-pc"
LD_LIBRARY_PATH="$work/prefix/lib" "$work/consumer-pc" | grep -qx Success
echo "installed library usable through find_package and pkg-config"
