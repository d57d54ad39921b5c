#!/usr/bin/env bash
# Builds the configuration reader's fuzz target with clang and runs it.
# Usage: scripts/fuzz-config.sh [seconds]   (default 600)
# The corpus grows in fuzz/corpus-config (not committed); crashes land there
# too, as crash-* files.
set -euo pipefail

seconds="${1:-600}"
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build-fuzz-config"
corpus="$root/fuzz/corpus-config"

CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DDIEBOM_FUZZ=ON >/dev/null
cmake --build "$build" --target fuzz_config_csv -j2

mkdir -p "$corpus"
# Seed with the shipped configuration tables.
if [ -z "$(ls -A "$corpus")" ]; then
  find "$root/samples/config" -type f \( -name '*.csv' -o -name '*.txt' \) \
    -exec cp {} "$corpus/" \; 2>/dev/null || true
fi

cd "$corpus"
exec "$build/fuzz/config/fuzz_config_csv" "$corpus" \
  -dict="$root/fuzz/config/csv.dict" -max_len=8192 -rss_limit_mb=2048 \
  -max_total_time="$seconds" -print_final_stats=1
