#!/usr/bin/env bash
# Installs the Debian packages the build needs, when they are missing.
# As root it runs apt-get itself; otherwise it names what to install and fails.
# With "fuzz" it also installs clang and its libFuzzer runtime, for `make fuzz`.
set -eu
packages=(cmake g++ make libcli11-dev nlohmann-json3-dev libgtest-dev libpng-dev
          g++-mingw-w64-x86-64 mtools dosfstools)
if [ "${1:-}" = fuzz ]; then
  packages+=(clang libclang-rt-14-dev)
fi
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
if [ "$(id -u)" -eq 0 ]; then
  echo "installing: ${missing[*]}" >&2
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq >/dev/null
  apt-get install -y -qq "${missing[@]}" >/dev/null
else
  echo "missing Debian packages: ${missing[*]}" >&2
  echo "install them with: sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
