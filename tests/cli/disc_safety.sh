#!/usr/bin/env bash
# A shop's mishaps on fresh images of every family, through the tavlin command: each case
# does what a user did and shows what the command now answers. After every refusal the
# image's sha256 is what it was; after every DOS operation fsck.fat finds nothing.
#   tests/cli/disc_safety.sh build/tavlin ../shared/samples
set -u
tavlin=$(realpath "$1")
samples=$(realpath "$2")
work=$(mktemp -d)
trap 'chattr -i "$work"/*.img 2>/dev/null; rm -rf "$work"' EXIT
cd "$work" || exit 1
passed=0
failed=0

ok() { passed=$((passed + 1)); }
bad() { failed=$((failed + 1)); echo "FAIL: $*"; }
sum() { sha256sum "$1" | cut -d' ' -f1; }
# refused CASE IMAGE WORDS -- ARGS: the command fails, says WORDS, and leaves IMAGE as it was.
refused() {
  local case=$1 image=$2 words=$3 before out rc
  shift 4
  before=$(sum "$image")
  out=$("$tavlin" "$@" 2>&1); rc=$?
  if [ $rc -eq 0 ]; then bad "$case: exit 0 ($out)"; return; fi
  if ! grep -q -- "$words" <<<"$out"; then bad "$case: said '$out', not '$words'"; return; fi
  if [ "$(sum "$image")" != "$before" ]; then bad "$case: $image changed"; return; fi
  ok
}
# done_ok CASE ARGS: the command succeeds.
done_ok() {
  local case=$1 out
  shift
  if out=$("$tavlin" "$@" 2>&1); then ok; else bad "$case: $out"; fi
}
fsck_clean() {
  local out
  out=$(fsck.fat -n "$2" 2>&1 | grep -v -E '^fsck\.fat|Leaving filesystem unchanged|files, [0-9]+/[0-9]+ clusters')
  if [ -z "$out" ]; then ok; else bad "$1: fsck.fat: $out"; fi
}
# A fresh image of FAMILY holding Star three times.
fresh() {
  local image=$1 family=$2 i
  rm -f "$image"
  "$tavlin" disc format "$image" --family "$family" >/dev/null || exit 1
  for i in 1 2 3; do
    case $family in
      dos*) "$tavlin" disc write "$image" "$samples/Star.DST" --as "S$i.DST" >/dev/null ;;
      fdr3) "$tavlin" disc write "$image" "$samples/Star.DST" --name "S$i" >/dev/null ;;
      *) "$tavlin" disc write "$image" "$samples/Star.DST" >/dev/null ;;
    esac
  done
}
first_name() { "$tavlin" disc list "$1" --json | sed -n 's/.*"name": "\([^"]*\)".*/\1/p' | sed -n "${2}p"; }
stitches_of() { "$tavlin" info "$1" | awk '/^stitches/{print $2}'; }

# 1. A name and --line together act on neither.
for family in fmc fdr3 zsk dos720; do
  fresh "$family.img" $family
  name=$(first_name "$family.img" 1)
  refused "1 $family delete" "$family.img" "not both" -- disc delete "$family.img" "$name" --line 2
  refused "1 $family read" "$family.img" "not both" -- disc read "$family.img" "$name" --line 1 "o-$family.DST"
  [ ! -e "o-$family.DST" ] && ok || bad "1 $family: read wrote o-$family.DST"
done
fsck_clean "1 dos" dos720.img

# 2. Damaged and foreign images are no family's, and nothing writes to them.
cp fmc.img fmc-sig.img
printf 'XXXX' | dd of=fmc-sig.img bs=1 seek=16385 conv=notrunc status=none
refused "2 fmc signature list" fmc-sig.img "not a disc this tool knows" -- disc list fmc-sig.img
refused "2 fmc signature write" fmc-sig.img "not a disc this tool knows" -- disc write fmc-sig.img "$samples/Star.DST"
cp zsk.img zsk-label.img
printf 'ABC' | dd of=zsk-label.img bs=1 seek=2560 conv=notrunc status=none
refused "2 zsk label write" zsk-label.img "not a disc this tool knows" -- disc write zsk-label.img "$samples/Star.DST"
for size in 671744 655360 737280 1474560; do
  head -c $size /dev/urandom >"random-$size.img"
  head -c $size /dev/zero >"zero-$size.img"
  refused "2 random $size" "random-$size.img" "not a disc this tool knows" -- disc write "random-$size.img" "$samples/Star.DST"
  refused "2 zero $size list" "zero-$size.img" "not a disc this tool knows" -- disc list "zero-$size.img"
  refused "2 zero $size delete" "zero-$size.img" "not a disc this tool knows" -- disc delete "zero-$size.img" --line 0
done

# 3. --family is checked before a byte changes.
refused "3 zsk as fdr3" zsk.img "not a fdr3 disc" -- disc write zsk.img "$samples/Star.DST" --family fdr3
refused "3 fmc as fdr3" fmc.img "not a fdr3 disc" -- disc write fmc.img "$samples/Star.DST" --family fdr3
refused "3 fdr3 as zsk" fdr3.img "not a zsk disc" -- disc delete fdr3.img --line 0 --family zsk

# 4. A DOS disc of PES and PCS files lists them, and a name on it is not overwritten.
rm -f p.img
"$tavlin" disc format p.img --family dos720 >/dev/null
"$tavlin" disc write p.img "$samples/Star.pes" --as DESIGN.PES >/dev/null
"$tavlin" disc write p.img "$samples/Star.PCS" --as DESIGN.PCS >/dev/null
listed=$("$tavlin" disc list p.img)
grep -q "DESIGN.PES" <<<"$listed" && grep -q "DESIGN.PCS" <<<"$listed" && ok || bad "4 list: $listed"
refused "4 no replace" p.img "on the disc already" -- disc write p.img "$samples/Star.DST" --as DESIGN.PCS
fsck_clean "4" p.img

# 5. Two writes at once: the second waits for the first, and both designs stand.
for family in fmc dos720; do
  rm -f "two-$family.img"
  "$tavlin" disc format "two-$family.img" --family $family >/dev/null
  as1=() as2=()
  [ $family = dos720 ] && as1=(--as ONE.DST) && as2=(--as TWO.DST)
  "$tavlin" disc write "two-$family.img" "$samples/Star.DST" "${as1[@]}" >one.out 2>&1 &
  "$tavlin" disc write "two-$family.img" "$samples/shamrockin.dst" "${as2[@]}" >two.out 2>&1 &
  wait
  count=$("$tavlin" disc list "two-$family.img" --json | grep -c '"line"')
  [ "$count" = 2 ] && ok || bad "5 $family: $count designs after two writes at once"
  [ "$(cat one.out)" != "$(cat two.out)" ] && ok || bad "5 $family: both said $(cat one.out)"
done
fsck_clean "5" two-dos720.img
# A folder standing for a DOS disc is locked the same way; one the user may not write to
# is write-protected, and its room is a figure, not a negative number.
mkdir folder
"$tavlin" disc write folder "$samples/Star.DST" --as ONE.DST >/dev/null &
"$tavlin" disc write folder "$samples/Star.pes" --as TWO.PES >/dev/null &
wait
[ "$(ls folder | wc -l)" = 2 ] && ok || bad "5 folder: $(ls folder)"
"$tavlin" disc list folder | head -1 | grep -q "2 designs, [0-9]" && ok || bad "5 folder room: $("$tavlin" disc list folder | head -1)"
chmod 555 folder
if [ "$(id -u)" = 0 ] && id nobody >/dev/null 2>&1; then
  chmod 755 "$work"
  out=$(su nobody -s /bin/sh -c "'$tavlin' disc write '$work/folder' '$samples/Star.DST' --as NEW.DST" 2>&1)
  grep -q "write-protected" <<<"$out" && [ ! -e folder/NEW.DST ] && ok || bad "5 read-only folder: $out"
fi

# 6. A damaged FAT or directory is found, and refused for writes, deletes and reads.
cp dos720.img loop.img
# S1.DST starts at cluster 2: its second cluster points back to the first.
printf '\x02\x30\x00' | dd of=loop.img bs=1 seek=$((512 + 3)) conv=notrunc status=none
refused "6 loop check" loop.img "" -- disc check loop.img
refused "6 loop read" loop.img "damaged" -- disc read loop.img S1.DST loop-out.DST
refused "6 loop write" loop.img "damaged" -- disc write loop.img "$samples/Star.DST" --as NEW.DST
refused "6 loop delete" loop.img "damaged" -- disc delete loop.img S2.DST
[ ! -e loop-out.DST ] && ok || bad "6 loop: a damaged design was read"
cp fmc.img shared.img
# The second directory entry's first block made the first's.
first=$(xxd -s $((16384 + 32 + 16)) -l 1 -p shared.img)
printf "\\x$first" | dd of=shared.img bs=1 seek=$((16384 + 64 + 16)) conv=notrunc status=none
refused "6 fmc shared block" shared.img "" -- disc check shared.img
refused "6 fmc shared write" shared.img "damaged" -- disc write shared.img "$samples/Star.DST"

# 7. A source that is no whole design is refused before the disc is touched.
: >empty.DST
echo "a text file, not a design" >text.DST
head -c 3000 "$samples/Star.DST" >half.DST
for source in empty.DST text.DST half.DST; do
  for family in fmc dos720; do
    refused "7 $source $family" "$family.img" "cannot write" -- disc write "$family.img" "$source"
  done
  refused "7 $source convert" fmc.img "cannot convert" -- convert "$source" out.DSB
done

# 8. A read does not replace a file without --force.
echo keep >kept.DST
refused "8 read over" fmc.img "give --force" -- disc read fmc.img --line 0 kept.DST
[ "$(cat kept.DST)" = keep ] && ok || bad "8: kept.DST was replaced"
done_ok "8 read --force" disc read fmc.img --line 0 kept.DST --force

# 10. Figures that the next operation keeps.
rm -f fig.img
"$tavlin" disc format fig.img --family dos720 >/dev/null
for f in Star.PCS Star.PCM Star.pes Star.EXP Star.10O; do
  "$tavlin" disc write fig.img "$samples/$f" >/dev/null
done
echo "not a design" >NOTES.TXT
mcopy -i fig.img NOTES.TXT ::NOTES.TXT
for f in Star.PCS Star.PCM Star.pes Star.EXP Star.10O; do
  upper=$(tr a-z A-Z <<<"$f")
  listed=$("$tavlin" disc list fig.img | awk -v n="$upper" '$2 == n {print $3}')
  "$tavlin" disc read fig.img "$upper" "back-$f" >/dev/null
  [ "$listed" = "$(stitches_of "back-$f")" ] && ok || bad "10 $f listed $listed, reads $(stitches_of "back-$f")"
done
"$tavlin" disc list fig.img | grep -q "NOTES.TXT.*not a design" && ok || bad "10 NOTES.TXT is listed as a design"
fsck_clean "10" fig.img
rm -f big.img
"$tavlin" disc format big.img --family zsk >/dev/null
"$tavlin" disc write big.img "$samples/Star.DST" >/dev/null
"$tavlin" disc read big.img 1 zsk-back.DST >/dev/null
listed=$("$tavlin" disc list big.img --json | sed -n 's/.*"stitches": \([0-9]*\).*/\1/p')
[ "$listed" = "$(stitches_of zsk-back.DST)" ] && ok || bad "10 zsk listed $listed, reads $(stitches_of zsk-back.DST)"

# The free figure is what the next write takes: a design of exactly that many stitches
# goes on an FDR3 disc, one more does not; a full root directory shows no room.
exp_of() { python3 -c "import sys; open(sys.argv[2],'wb').write(bytes([1,1,255,255]) * (int(sys.argv[1]) // 2) + bytes([1,1]) * (int(sys.argv[1]) % 2))" "$1" "$2"; }
rm -f room.img
"$tavlin" disc format room.img --family fdr3 >/dev/null
free=$("$tavlin" disc list room.img --json | sed -n 's/.*"free_stitches": \([0-9]*\).*/\1/p')
exp_of $((free + 1)) over.EXP
exp_of "$free" fits.EXP
refused "10 fdr3 one over" room.img "not enough free room" -- disc write room.img over.EXP
done_ok "10 fdr3 exactly" disc write room.img fits.EXP
exp_of 1 tiny.EXP
rm -f root.img
"$tavlin" disc format root.img --family dos720 >/dev/null
for i in $(seq 1 112); do "$tavlin" disc write root.img tiny.EXP --as "T$i.EXP" >/dev/null; done
"$tavlin" disc list root.img | head -1 | grep -q "112 designs, 0 stitches free" && ok || bad "10 full root: $("$tavlin" disc list root.img | head -1)"
refused "10 full root write" root.img "root directory is full" -- disc write root.img tiny.EXP --as MORE.EXP

# 11. Messages that name the real cause.
rm -f amb.img
"$tavlin" disc format amb.img --family dos720 >/dev/null
"$tavlin" disc write amb.img "$samples/Star.DST" --as D4.DST >/dev/null
"$tavlin" disc write amb.img "$samples/Star.DSB" --as D4.DSB >/dev/null
refused "11 ambiguous" amb.img "D4.DST, D4.DSB" -- disc read amb.img D4 amb.DST
"$tavlin" disc delete zsk.img 2 >/dev/null
out=$("$tavlin" disc read zsk.img 2 z2.DST 2>&1)
grep -q -- "--line" <<<"$out" && bad "11 zsk hint: $out" || ok
refused "11 no folder" fmc.img "path not found" -- disc read fmc.img --line 0 no/such/folder/x.DST
"$tavlin" disc identify fmc.img | head -1 | grep -q "Barudan FMC: 3 designs" && ok || bad "11 identify"
rm -f blank.img
"$tavlin" disc format blank.img --family fmc >/dev/null
"$tavlin" disc list blank.img --json | grep -q '"family": ""' && bad "11 empty family in JSON" || ok
refused "11 --name on fmc" fmc.img "--name names FDR3 designs" -- disc write fmc.img "$samples/Star.DST" --name ROSE
refused "11 --as on zsk" zsk.img "--as names files on DOS discs" -- disc write zsk.img "$samples/Star.DST" --as R.DST
"$tavlin" disc write fdr3.img "$samples/Star.DST" --name "a b" | grep -q "as ab.U" && ok || bad "11 fdr3 name with a blank"
"$tavlin" disc write dos720.img "$samples/Star.pes" --as LABEL.DST >/dev/null
mcopy -o -i dos720.img ::LABEL.DST label.DST
head -c 19 label.DST | grep -q "^LA:Star.pes DSC.TAJ" && ok || bad "11 DST label: $(head -c 20 label.DST)"
fsck_clean "11" dos720.img
# A write-protected image (immutable, which holds for root too, where the file system
# has the flag) is said to be so, by format --force as by write.
cp fmc.img locked.img
if chattr +i locked.img 2>/dev/null; then
  refused "11 format write-protected" locked.img "write-protected" -- disc format locked.img --family fmc --force
  refused "11 write write-protected" locked.img "write-protected" -- disc write locked.img "$samples/Star.DST"
  chattr -i locked.img
fi

echo "disc safety: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
