#!/usr/bin/env bash
# Runs one VBScript file with Wine's cscript, as a host would. Usage: cscript.sh BUILD FILE
set -eu
exec "$(dirname "$0")/wine.sh" "$1" cscript //nologo "Z:$(realpath "$2" | tr / '\\')"
