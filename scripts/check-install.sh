#!/usr/bin/env bash
# Installs a preset's build (default: `default`) into a temporary prefix and builds two consumers
# from outside the source tree against it: a CMake project with find_package(ZefaBase) using both
# targets, and a C program compiled with `pkg-config --cflags --libs zefa`. Runs all of them and
# checks that only public headers were installed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/${1:-default}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
prefix=$tmp/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
internal=$(find "$prefix" -name 'zefa_support.h' -o -path '*/testing/*' -o -name '*Fake*')
if [ -n "$internal" ]; then
  echo "check-install: internal files installed: $internal" >&2
  exit 1
fi

# CMake: find_package(ZefaBase CONFIG REQUIRED), ZefaBase::ZefaBase and ZefaBase::CApi.
cmake -S "$root/tests/install" -B "$tmp/cmake" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$tmp/cmake" -j2 >/dev/null
"$tmp/cmake/consumer_cpp"
mkdir -p "$tmp/data-cmake" "$tmp/data-pc"
"$tmp/cmake/consumer_c" "$tmp/data-cmake"

# pkg-config: the C interface alone.
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name zefa.pc)")
export PKG_CONFIG_PATH
libdir=$(pkg-config --variable=libdir zefa)
# shellcheck disable=SC2046  # pkg-config's flags are meant to split into words
cc -std=c11 -Wall -Wextra -Werror "$root/tests/install/consumer.c" -o "$tmp/consumer_c_pc" \
  $(pkg-config --cflags --libs zefa) -Wl,-rpath,"$libdir"
"$tmp/consumer_c_pc" "$tmp/data-pc"
pkg-config --exists --print-errors 'zefabase >= 0.1'
echo "check-install: the installed package builds and runs a C++ and two C consumers"
