#!/usr/bin/env bash
# Builds the .xls loader's fuzz target with clang and runs it, one process.
# Usage: scripts/fuzz-workbook.sh [seconds]   (default 600)
# The corpus grows in fuzz/corpus-workbook (not committed); crashes land there
# too, as crash-* files.
set -euo pipefail

seconds="${1:-600}"
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build-fuzz-wb"
corpus="$root/fuzz/corpus-workbook"

CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DDIEBOM_FUZZ=ON >/dev/null
cmake --build "$build" --target fuzz_workbook_xls -j2

mkdir -p "$corpus"
# Seed with the shipped templates.
if [ -z "$(ls -A "$corpus")" ]; then
  find "$root/samples/config" -type f -name '*.xls' -exec cp {} "$corpus/" \;
fi

cd "$corpus"
exec "$build/fuzz/workbook/fuzz_workbook_xls" "$corpus" -jobs=1 -workers=1 \
  -max_len=16384 -rss_limit_mb=2048 -max_total_time="$seconds" -print_final_stats=1
