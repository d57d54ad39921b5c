#!/usr/bin/env bash
# The whole test suite from a fresh clone: set-up, build, every test.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
cd build
ctest --output-on-failure -j"$(nproc)" --timeout 600
