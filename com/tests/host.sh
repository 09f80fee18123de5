#!/usr/bin/env bash
# Runs the C++ test host on the 64-bit DLL under Wine. Usage: host.sh BUILD
set -eu
exec "$(dirname "$0")/wine.sh" "$1" "$1/x86_64/tavlin-host.exe" "Z:$(realpath "$1/x86_64/Tavlin.dll" | tr / '\\')"
