#!/usr/bin/env bash
# Installs the Debian packages the build needs. Fast when everything is present: it asks dpkg
# first and runs apt-get (and apt-get update) only for what is missing.
set -euo pipefail

packages=(
  cmake g++ make pkg-config clang-format
  nlohmann-json3-dev libsimdjson-dev
  libcurl4-openssl-dev liburiparser-dev libsqlite3-dev libsystemd-dev
  libgtest-dev libgmock-dev libbenchmark-dev libmicrohttpd-dev
  mono-devel      # mcs and mono: the C# binding's test
  dpkg-dev file   # `make package`: dpkg-shlibdeps finds the .deb's runtime dependencies
)
# `setup.sh fuzz`: the clang toolchain and libFuzzer runtime for the fuzz targets too.
# `setup.sh windows`: the mingw-w64 cross compiler, and wine to run the Windows tests.
case "${1:-}" in
  fuzz) packages+=(clang libclang-rt-14-dev) ;;
  windows) packages+=(g++-mingw-w64-x86-64 wine64 googletest) ;;
esac

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
"${sudo_cmd[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
