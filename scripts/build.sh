#!/usr/bin/env bash
# Installs what is missing, configures and builds into build/.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
# ccache keeps the objects of earlier builds, in any clone of the repository.
launcher=()
if command -v ccache >/dev/null 2>&1; then
  export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" >/dev/null
cmake --build build -j"$(nproc)"
