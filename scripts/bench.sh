#!/usr/bin/env bash
# Builds and runs every benchmark (separate from the tests).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
for b in $(find build/bench -maxdepth 2 -type f -executable -name '*_bench' | sort); do
  echo "== $b"
  "$b" "$@"
done
