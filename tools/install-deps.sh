#!/usr/bin/env bash
# Installs the Debian packages the build needs, when they are missing.
# As root it runs apt-get itself; otherwise it names what to install and fails.
# With "fuzz" it also installs clang and its libFuzzer runtime, for `make fuzz`.
# With "com" it also installs the 32-bit MinGW compiler, widl and the automation IDL
# files and stdole2.tlb that widl imports (Debian ships them with Wine's headers), for
# `make com`; with "com-test" those and Wine, for `make com-test` (wine32 only where
# the machine takes i386 packages).
set -eu
packages=(cmake g++ make libcli11-dev nlohmann-json3-dev libgtest-dev libpng-dev
          g++-mingw-w64-x86-64 mtools dosfstools)
if [ "${1:-}" = fuzz ]; then
  packages+=(clang libclang-rt-14-dev)
fi
if [ "${1:-}" = com ] || [ "${1:-}" = com-test ]; then
  packages+=(g++-mingw-w64-i686 mingw-w64-tools libwine-dev)
fi
if [ "${1:-}" = com-test ]; then
  packages+=(wine64)
  if dpkg --print-foreign-architectures | grep -qx i386; then
    packages+=(wine32)
  fi
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
