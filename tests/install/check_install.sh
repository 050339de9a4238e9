#!/bin/sh
# Installs the built library into a temporary prefix and builds a tiny
# consumer against it, once through find_package and once through pkg-config.
set -eu
build_dir=$1
consumer=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
cmake -S "$consumer" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/build" >/dev/null
"$work/build/consumer" | grep -q "Product          : Consumer"
pcdir=$(dirname "$(find "$work/prefix" -name basic.pc)")
c++ -std=c++17 "$consumer/main.cpp" -o "$work/consumer-pc" \
    $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs basic)
"$work/consumer-pc" | grep -q "Product          : Consumer"
echo "install consumer: ok"
