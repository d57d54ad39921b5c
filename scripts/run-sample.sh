#!/usr/bin/env bash
# Installs what is missing, builds into build/, and prints the blank list of
# the shipped sample die (build/samples/die/sample_die.xbf, written by the build).
# Extra arguments go to `diebom blanks`, e.g. --format csv, --mode exact.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
exec build/cli/diebom blanks build/samples/die/sample_die.xbf "$@"
