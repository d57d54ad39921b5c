#!/usr/bin/env bash
# Builds a fuzz target with clang (libFuzzer) and runs it in one process.
# Usage: scripts/fuzz.sh config|workbook|step|part [seconds]   (default 600)
#   config    the CSV reader and the configuration's line readers
#   workbook  the .xls loader and writer
#   step      the STEP reader of the in-memory host (OpenStep)
#   part      the part-file reader (OpenPartFile), check record made valid
# The corpus grows in fuzz/corpus-NAME (not committed); crashes land there too,
# as crash-* files. The step and part targets run in libFuzzer's fork mode and
# go on after a crash (the kernel's readers crash on some damaged files, which
# is why the tool reads files in a child process); the final lines count them.
# Their seeds are a two-body sample die, written by generate_die of a normal
# build (build*/samples/generate_die).
set -euo pipefail

name="${1:-}"
seconds="${2:-600}"
root="$(cd "$(dirname "$0")/.." && pwd)"
case "$name" in
  config)
    target=fuzz_config_csv
    seeds=(-name '*.csv' -o -name '*.txt')
    options=(-dict="$root/fuzz/config/csv.dict" -max_len=8192 -jobs=1 -workers=1)
    ;;
  workbook)
    target=fuzz_workbook_xls
    seeds=(-name '*.xls')
    options=(-max_len=16384 -jobs=1 -workers=1)
    ;;
  step)
    target=fuzz_part_file_step
    seeds=(-name '*.step')
    options=(-max_len=65536 -detect_leaks=0 -fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1
             -timeout=30)
    ;;
  part)
    target=fuzz_part_file_part
    seeds=(-name '*.payload')
    options=(-max_len=32768 -detect_leaks=0 -fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1
             -timeout=30)
    ;;
  *)
    echo "usage: scripts/fuzz.sh config|workbook|step|part [seconds]" >&2
    exit 2
    ;;
esac
build="$root/build-fuzz"
corpus="$root/fuzz/corpus-$name"

CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DDIEBOM_FUZZ=ON >/dev/null
cmake --build "$build" --target "$target" -j2

mkdir -p "$corpus"
# Seed with the shipped configuration and templates, or a small sample die.
if [ -z "$(ls -A "$corpus")" ]; then
  case "$name" in
    step|part)
      generate="$(ls "$root"/build*/samples/generate_die 2>/dev/null | head -1)"
      if [ -z "$generate" ]; then
        echo "fuzz.sh: build generate_die first (cmake --build BUILD --target generate_die)" >&2
        exit 1
      fi
      "$generate" "$corpus" --bodies 2 --name seed
      # A part file's contents without its check record (the target adds one).
      head -c -32 "$corpus/seed.xbf" > "$corpus/seed.payload"
      find "$corpus" -type f -not \( "${seeds[@]}" \) -delete
      ;;
    *)
      find "$root/samples/config" -type f \( "${seeds[@]}" \) -exec cp {} "$corpus/" \;
      ;;
  esac
fi

cd "$corpus"
if [ "$name" = step ] || [ "$name" = part ]; then
  target_dir="$build/fuzz/part_file"
else
  target_dir="$build/fuzz/$name"
fi
exec "$target_dir/$target" "$corpus" "${options[@]}" \
  -rss_limit_mb=2048 -max_total_time="$seconds" -print_final_stats=1
