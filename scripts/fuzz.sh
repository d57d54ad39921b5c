#!/usr/bin/env bash
# Builds a fuzz target with clang (libFuzzer) and runs it in one process.
# Usage: scripts/fuzz.sh config|workbook [seconds]   (default 600)
#   config    the CSV reader and the configuration's line readers
#   workbook  the .xls loader and writer
# The corpus grows in fuzz/corpus-NAME (not committed); crashes land there too,
# as crash-* files.
set -euo pipefail

name="${1:-}"
seconds="${2:-600}"
root="$(cd "$(dirname "$0")/.." && pwd)"
case "$name" in
  config)
    target=fuzz_config_csv
    seeds=(-name '*.csv' -o -name '*.txt')
    options=(-dict="$root/fuzz/config/csv.dict" -max_len=8192)
    ;;
  workbook)
    target=fuzz_workbook_xls
    seeds=(-name '*.xls')
    options=(-max_len=16384)
    ;;
  *)
    echo "usage: scripts/fuzz.sh config|workbook [seconds]" >&2
    exit 2
    ;;
esac
build="$root/build-fuzz"
corpus="$root/fuzz/corpus-$name"

CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DDIEBOM_FUZZ=ON >/dev/null
cmake --build "$build" --target "$target" -j2

mkdir -p "$corpus"
# Seed with the shipped configuration and templates.
if [ -z "$(ls -A "$corpus")" ]; then
  find "$root/samples/config" -type f \( "${seeds[@]}" \) -exec cp {} "$corpus/" \;
fi

cd "$corpus"
exec "$build/fuzz/$name/$target" "$corpus" -jobs=1 -workers=1 "${options[@]}" \
  -rss_limit_mb=2048 -max_total_time="$seconds" -print_final_stats=1
