#!/usr/bin/env bash
# Runs a Windows program under Wine in the tests' private prefix, BUILD/wineprefix,
# quietly and without the Mono and Gecko prompts. Usage: wine.sh BUILD PROGRAM ARGS...
set -eu
build=$(realpath "$1"); shift
export WINEPREFIX="$build/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
export TAVLIN_TEST="Z:$(echo "$build/test" | tr / '\\')"
export TAVLIN_SAMPLES="Z:$(realpath "$(dirname "$0")/../../../shared/samples" | tr / '\\')"
if command -v wine64 >/dev/null; then exec wine64 "$@"; fi
exec wine "$@"
