#!/usr/bin/env bash
# After the scripts: what the COM server made must be what the tavlin command makes of
# the same files. FMC, FDR3 and ZSK images are compared byte for byte after the write and
# after the delete, designs read back byte for byte, the listing lines as text; on DOS
# discs and folders the design files themselves. Usage: compare.sh BUILD TAVLIN
set -eu
build=$1
tavlin=$(realpath "$2")
samples=$(realpath "$(dirname "$0")/../../../shared/samples")
cd "$build/test"
rm -rf cli && mkdir cli
fail() { echo "com-test: $*" >&2; exit 1; }
same() { cmp -s "$1" "$2" || fail "$1 differs from the tavlin command's $2"; }
# A design file of the DST family: the label's tag is where the faces differ (the class
# tags it with its working file's format, the command with the file's own); the rest,
# from byte 21 on, is the same.
same_design() {
  if [ "$(head -c 3 "$1" | tr -d "\\0")" = "LA:" ] && [ "$(head -c 3 "$2" | tr -d "\\0")" = "LA:" ]; then
    cmp -s <(tail -c +21 "$1") <(tail -c +21 "$2") || fail "$1 differs from the tavlin command's $2"
  else
    same "$1" "$2"
  fi
}
listed() {  # the server's listing line of a family, as the script printed it
  tr -d '\r' < discs.out | grep "^FILES $1 " | sed "s/^FILES $1 //; s/|\$//"
}

for family in fmc fdr3 zsk; do
  named=()
  case $family in fmc) name=A01 ;; fdr3) name=STAR.U01; named=(--name STAR) ;; zsk) name=1 ;; esac
  "$tavlin" disc format cli/$family.img --family $family >/dev/null
  "$tavlin" disc write cli/$family.img "$samples/Star.DST" "${named[@]}" >/dev/null
  same $family-written.img cli/$family.img
  line=$("$tavlin" disc list cli/$family.img | sed -n 's/^ *0  //p')
  server=$(listed $family)
  # A ZSK listing's figure is where the two faces differ: the class shows the design's
  # blocks x 333, the command the stitches of the design read back. The names agree.
  if [ $family = zsk ]; then
    line=${line%% *}
    server=${server%% *}
  fi
  [ "$line" = "$server" ] || fail "$family: the server lists '$server', the command '$line'"
  "$tavlin" disc read $family-written.img "$name" cli/$family-read.QEP >/dev/null
  same $family-read.QEP cli/$family-read.QEP
  "$tavlin" disc delete cli/$family.img "$name" >/dev/null
  same $family-deleted.img cli/$family.img
done

# DOS: the file on the image, the design read back from it, the folder's and the
# machine drive's files, and the large design.
# FormatDisc gives every DOS machine's type the same disc.
cmp -s dos-format18.img dos-format3.img && cmp -s dos-format5.img dos-format3.img ||
  fail "FormatDisc 5 or 18 made another disc than FormatDisc 3"
"$tavlin" disc format cli/dos.img --family dos720 >/dev/null
"$tavlin" disc write cli/dos.img "$samples/Star.DST" --as STAR.DSB >/dev/null
mcopy -n -i dos-written.img ::STAR.DSB cli/server-STAR.DSB
mcopy -n -i cli/dos.img ::STAR.DSB cli/STAR.DSB
same_design cli/server-STAR.DSB cli/STAR.DSB
"$tavlin" disc identify dos-written.img | grep -q "STAR.DSB" || fail "the command doesn't list STAR.DSB on the server's DOS image"
"$tavlin" disc read dos-written.img STAR.DSB cli/dos-read.DST >/dev/null
same_design dos-read.DST cli/dos-read.DST
mkdir -p cli/folder cli/machine cli/progress
"$tavlin" disc write cli/folder "$samples/Star.DST" --as STAR.KSM >/dev/null
same_design folder-b/STAR.KSM cli/folder/STAR.KSM
"$tavlin" disc write cli/machine "$samples/Star.DST" --as STAR.EXP >/dev/null
same_design machine-a/STAR.EXP cli/machine/STAR.EXP
"$tavlin" disc write cli/progress big.DST --as BIG.DSB >/dev/null
same_design progress/BIG.DSB cli/progress/BIG.DSB
echo "com-test: FMC, FDR3 and ZSK images, listings and read-backs, and every DOS file match the tavlin command's"
