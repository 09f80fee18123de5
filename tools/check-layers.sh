#!/usr/bin/env bash
# The layers of src/ call one way, down this list:
#   public -> discs -> services -> conversion -> pictures, tables, compression -> state -> platform
# A file may include its own layer and the layers below it, never one above. No disc
# family includes another family's folder. Format codes are named only by the codecs,
# the registry and the frame's pass cases. The command sees the public headers alone.
set -u
cd "$(dirname "$0")/.."
rank() {
  case "$1" in
    public) echo 0 ;; discs) echo 1 ;; services) echo 2 ;; conversion) echo 3 ;;
    pictures|tables|compression) echo 4 ;; state) echo 5 ;; platform) echo 6 ;; *) echo -1 ;;
  esac
}
failures=0
fail() { echo "layering: $*"; failures=$((failures + 1)); }

while IFS= read -r file; do
  layer=$(echo "$file" | cut -d/ -f2)
  mine=$(rank "$layer")
  [ "$mine" -ge 0 ] || { fail "$file lies in no layer"; continue; }
  family=""
  case "$file" in src/discs/*/*) family=$(echo "$file" | cut -d/ -f3) ;; esac
  while IFS= read -r included; do
    top=${included%%/*}
    [ "$top" = "$included" ] && continue   # a header beside it
    [ "$top" = "tavlin" ] && continue      # the public headers
    theirs=$(rank "$top")
    if [ "$theirs" -lt 0 ]; then
      fail "$file includes $included, of no layer"
    elif [ "$theirs" -lt "$mine" ]; then
      fail "$file ($layer) includes $included, a layer above it"
    fi
    if [ "$top" = "discs" ]; then
      other=$(echo "$included" | cut -d/ -f2)
      case "$included" in discs/*/*)
        if [ "$other" != "$family" ]; then fail "$file includes $included, another family's folder"; fi ;;
      esac
    fi
  done < <(sed -n 's/^#include "\([^"]*\)".*/\1/p' "$file")
done < <(find src -name "*.cpp" -o -name "*.h" | sort)

# Format codes: the codecs, the registry, and the frame's pass cases.
codes=$(grep -rn 'kCode' src --include='*.cpp' \
  | grep -v -E '^src/conversion/(formats/|format_table\.cpp|convert\.cpp)')
[ -z "$codes" ] || fail "format codes named outside the codecs, the registry and the frame:
$codes"
passCases=$(grep -n 'kCode' src/conversion/convert.cpp | grep -v -E 'PassCase::|HeadFirst|return run\.DestType != kCodeCnd')
[ -z "$passCases" ] || fail "format codes in the frame outside its pass cases:
$passCases"

# The command stands on the public headers.
private=$(grep -n '^#include "' cli/*.cpp cli/*.h | grep -v -E '"tavlin/|"[a-z_]+\.h"')
[ -z "$private" ] || fail "the command reaches past the public headers:
$private"

if [ "$failures" -gt 0 ]; then
  echo "layering: $failures failure(s)"
  exit 1
fi
echo "layering: every include runs down the layers"
