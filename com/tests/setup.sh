#!/usr/bin/env bash
# Before the scripts run: checks both DLLs as files (exports, the type library inside,
# the interface's slots against the IDL), makes the private Wine prefix, shows that
# registering and unregistering leave the registry as they found it, registers the
# 64-bit DLL, and lays out the test folder. Usage: setup.sh BUILD
set -eu
build=$1
here=$(dirname "$0")
wine="$here/wine.sh $build"
fail() { echo "com-test: $*" >&2; exit 1; }

# The DLLs as files, both architectures, whether or not Wine can load them.
for arch in i686 x86_64; do
  dll=$build/$arch/Tavlin.dll
  exports=$(x86_64-w64-mingw32-objdump -p "$dll" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' |
            grep -o 'Dll[A-Za-z]*' | sort | tr '\n' ' ')
  [ "$exports" = "DllCanUnloadNow DllGetClassObject DllRegisterServer DllUnregisterServer " ] ||
    fail "$dll exports '$exports'"
  python3 - "$dll" "$build/$arch/gen/tavlin.tlb" <<'PY' || fail "$dll lacks its type library"
import sys
dll, tlb = (open(p, 'rb').read() for p in sys.argv[1:3])
sys.exit(0 if tlb.startswith(b'MSFT') and dll.find(tlb) >= 0 else 1)
PY
  # The slots of the widl header, in order, are the members of the IDL, in order.
  idl=$(grep -o 'HRESULT [A-Za-z0-9]*(' com/tavlin.idl | sed 's/HRESULT //; s/(//' | tr '\n' ' ')
  header=$(sed -n '/^MIDL_INTERFACE/,/^};/p' "$build/$arch/gen/tavlin_idl.h" |
           grep -o 'STDMETHODCALLTYPE [A-Za-z0-9_]*' | sed 's/STDMETHODCALLTYPE //; s/^get_//; s/^put_//' | tr '\n' ' ')
  [ "$idl" = "$header" ] || fail "$arch header slots '$header' differ from the IDL's '$idl'"
done
echo "com-test: both DLLs export the four entry points and carry the type library; slots match the IDL"

if dpkg-query -W -f='${Status}' wine32 2>/dev/null | grep -q "install ok installed"; then
  echo "com-test: wine32 is installed, but these tests run the 64-bit DLL only"
else
  echo "com-test: no wine32 on this machine (it takes no i386 packages): the 32-bit DLL is checked as a file, the 64-bit one is run"
fi

# A private prefix, made once.
prefix=$build/wineprefix
if [ ! -f "$prefix/system.reg" ]; then
  start=$(date +%s)
  $wine wineboot -i >/dev/null 2>&1 || fail "wineboot could not make $prefix"
  echo "com-test: Wine prefix made in $(( $(date +%s) - start )) s"
fi

rm -rf "$build/test"
mkdir -p "$build/test"
export_classes() {
  $wine regedit /E "Z:$(realpath "$build/test/$1" | tr / '\\')" HKEY_CLASSES_ROOT >/dev/null 2>&1
  iconv -f UTF-16LE -t UTF-8 "$build/test/$1" | tr -d '\r' > "$build/test/$1.txt"
}
dll="Z:$(realpath "$build/x86_64/Tavlin.dll" | tr / '\\')"

# Registration round trip.
$wine regsvr32 /u /s "$dll" >/dev/null 2>&1 || true
export_classes before.reg
$wine regsvr32 /s "$dll" >/dev/null 2>&1 || fail "regsvr32 could not register $dll"
export_classes registered.reg
$wine regsvr32 /u /s "$dll" >/dev/null 2>&1 || fail "regsvr32 /u could not unregister $dll"
export_classes unregistered.reg
diff "$build/test/before.reg.txt" "$build/test/registered.reg.txt" | grep '^>' > "$build/test/added.txt" || true
clsid=$(sed -n 's/^#define TAVLIN_CLSID *//p' com/guids.h)
iid=$(sed -n 's/^#define TAVLIN_IID *//p' com/guids.h)
libid=$(sed -n 's/^#define TAVLIN_LIBID *//p' com/guids.h)
for key in "CLSID\\\\{$clsid}\\\\InprocServer32]" "Tavlin.clsTavlin\\\\CurVer]" "Tavlin.clsTavlin.1\\\\CLSID]" \
           "Interface\\\\{$iid}]" "TypeLib\\\\{$libid}\\\\1.0]"; do
  grep -qi -F "$(echo "$key" | sed 's/\\\\/\\/g')" "$build/test/added.txt" || fail "registration did not add $key"
done
grep -q '"ThreadingModel"="Apartment"' "$build/test/added.txt" || fail "registration did not set ThreadingModel Apartment"
if ! diff -u "$build/test/before.reg.txt" "$build/test/unregistered.reg.txt" > "$build/test/round-trip.diff"; then
  cat "$build/test/round-trip.diff" >&2
  fail "unregistering left the registry changed"
fi
echo "com-test: registration added $(grep -c '^> \[' "$build/test/added.txt") keys; unregistration left HKEY_CLASSES_ROOT as it found it"

$wine regsvr32 /s "$dll" >/dev/null 2>&1 || fail "regsvr32 could not register $dll"

# What the scripts work on: blank images of each family's size, folders for B: and for
# the machine's own A:, and a large design.
truncate -s 671744 "$build/test/fmc.img"
truncate -s 655360 "$build/test/zsk.img"
truncate -s 655360 "$build/test/fdr3.img"
truncate -s 737280 "$build/test/dos.img"
mkdir -p "$build/test/folder-b" "$build/test/machine-a" "$build/test/progress"
rm -f "$prefix/dosdevices/a:"
ln -s "$(realpath "$build/test/machine-a")" "$prefix/dosdevices/a:"
python3 - "$here/../../../shared/samples/Star.DST" "$build/test/big.DST" <<'PY'
import sys
header = bytearray(open(sys.argv[1], 'rb').read()[:512])
with open(sys.argv[2], 'wb') as out:
    out.write(header)
    # 60,000 stitches of 0.1 mm to the right and back.
    out.write(bytes([0x01, 0x00, 0x03, 0x02, 0x00, 0x03]) * 30000)
    out.write(bytes([0x00, 0x00, 0xF3]))
PY
