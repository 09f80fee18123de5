#!/usr/bin/env bash
# Runs every fuzz target for FUZZ_SECONDS (60 by default) each, one after another on
# one process, starting from the seeds, the corpus of earlier runs and tests/corpus/.
# Stops at the first finding and prints how to reproduce it.
#   FUZZ_SECONDS=600 FUZZ_TARGETS="fmc dos" fuzz/run.sh
set -u
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-60}
targets=${FUZZ_TARGETS:-"formats fmc fdr3 zsk dos emulators lzh"}
build=${FUZZ_BUILD:-build-fuzz}
jobs=${JOBS:-2}
samples=${FUZZ_SAMPLES:-../shared/samples}

CXX=${FUZZ_CXX:-clang++} cmake -S fuzz -B "$build" >/dev/null || exit 1
cmake --build "$build" -j "$jobs" || exit 1
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null && cmake --build build -j "$jobs" --target tavlin-cli || exit 1

# Disc seeds: the directory and table area of images the tavlin command makes, empty,
# with one, two and three designs, and with one deleted from between two others.
# The offsets and lengths are the targets' own (fuzz/entries.h, AreaOf).
area() {
  case "$1" in
    fmc) echo "16384 8192" ;;
    fdr3) echo "327680 8192" ;;
    zsk) echo "0 12288" ;;
    dos) echo "0 7168" ;;
  esac
}
disc_seeds() {
  local family=$1 out=$2 tmp
  tmp=$(mktemp -d)
  local tavlin=build/tavlin
  local designs=() f i count d
  for f in "$samples"/Star.DST "$samples"/shamrockin.dst "$samples"/shamrockin.t01; do
    [ -f "$f" ] && designs+=("$f")
  done
  read -r offset length < <(area "$family")
  for count in 0 1 2 3; do
    [ "$count" -eq 0 ] || [ ${#designs[@]} -gt 0 ] || break
    local made=$family
    [ "$family" = dos ] && made=dos720
    "$tavlin" disc format "$tmp/disc.img" --family "$made" --force >/dev/null 2>&1 || continue
    for ((i = 0; i < count; i++)); do
      local d=${designs[$((i % ${#designs[@]}))]}
      local name=()
      case "$family" in
        dos) name=(--as "SEED$i.DST") ;;
        fdr3) name=(--name "SEED$i") ;;
      esac
      "$tavlin" disc write "$tmp/disc.img" "$d" --family "$family" "${name[@]}" >/dev/null 2>&1
    done
    tail -c +"$((offset + 1))" "$tmp/disc.img" | head -c "$length" >"$out/tavlin-$count"
  done
  # Three designs, the middle one deleted.
  if "$tavlin" disc delete "$tmp/disc.img" --family "$family" --line 1 >/dev/null 2>&1; then
    tail -c +"$((offset + 1))" "$tmp/disc.img" | head -c "$length" >"$out/tavlin-deleted"
  fi
  rm -rf "$tmp"
}

# Emulator seeds: the HFE of an empty and of a written image of each family (byte 0
# ahead), and the IMG.CFG the command writes for them, alone and merged (byte 1 ahead).
emulator_seeds() {
  local out=$1 tmp family
  tmp=$(mktemp -d)
  for family in fmc fdr3 zsk; do
    local image="$tmp/disc.$family.img"
    build/tavlin disc format "$image" --family "$family" --force >/dev/null 2>&1 || continue
    build/tavlin disc export-hfe "$image" "$tmp/empty.hfe" --force >/dev/null 2>&1 &&
      { printf '\0'; cat "$tmp/empty.hfe"; } >"$out/hfe-empty-$family"
    build/tavlin disc write "$image" "$samples/Star.DST" --family "$family" --name STAR >/dev/null 2>&1
    build/tavlin disc export-hfe "$image" "$tmp/star.hfe" --force >/dev/null 2>&1 &&
      { printf '\0'; cat "$tmp/star.hfe"; } >"$out/hfe-star-$family"
    build/tavlin disc emulator-config "$image" --config "$tmp/IMG.CFG" >/dev/null 2>&1
  done
  [ -f "$tmp/IMG.CFG" ] && { printf '\1'; cat "$tmp/IMG.CFG"; } >"$out/imgcfg-three"
  rm -rf "$tmp"
}

mkdir -p "$build/findings" "$build/logs"
summary="$build/logs/summary.txt"
: >"$summary"
for t in $targets; do
  seeds="$build/seeds/$t"
  corpus="$build/corpus/$t"
  mkdir -p "$seeds" "$corpus" "tests/corpus/$t"
  if [ "$t" = formats ]; then
    "$build/fuzz-seeds" "$samples" "$seeds" >/dev/null || exit 1
    dict=fuzz/formats.dict
    maxlen=32768
  elif [ "$t" = lzh ]; then
    # The seeds are the sample streams kept in tests/corpus/lzh.
    dict=fuzz/lzh.dict
    maxlen=8192
  elif [ "$t" = emulators ]; then
    emulator_seeds "$seeds"
    dict=fuzz/emulators.dict
    maxlen=2200000
  else
    disc_seeds "$t" "$seeds"
    dict=fuzz/discs.dict
    maxlen=12288
  fi
  log="$build/logs/$t.log"
  echo "fuzz-$t: $seconds s (log: $log)"
  "$build/fuzz-$t" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -malloc_limit_mb=256 \
    -max_len="$maxlen" -dict="$dict" -print_final_stats=1 -artifact_prefix="$build/findings/$t-" \
    "$corpus" "$seeds" "tests/corpus/$t" >"$log" 2>&1
  status=$?
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -1 | cut -d' ' -f2)
  ft=$(grep -o 'ft: [0-9]*' "$log" | tail -1 | cut -d' ' -f2)
  units=$(ls "$corpus" | wc -l)
  printf '%-8s %6ss  executions %-10s coverage %-6s features %-6s corpus %s\n' \
    "$t" "$seconds" "${execs:-?}" "${cov:-?}" "${ft:-?}" "$units" | tee -a "$summary"
  if [ $status -ne 0 ]; then
    artifact=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log" | tail -1)
    echo
    grep -m1 -E 'ERROR|runtime error|deadly signal|timeout|out-of-memory|leak' "$log"
    echo "fuzz-$t found something: see $log"
    if [ -n "$artifact" ]; then
      echo "reproduce: $build/fuzz-$t $artifact"
      echo "once fixed, keep it: cp $artifact tests/corpus/$t/"
    fi
    exit 1
  fi
done
echo "no finding; per target: $summary"
