#!/usr/bin/env bash
# The main job on the shipped sample die: installs what is missing, builds into
# build/, runs the material BOM of build/samples/die/sample_die.xbf (written by
# the build) with the sample header, prints the material tree, and writes the
# purchase workbook into build/sample-bom/sample_die/ (a new file each run:
# sample_die材料BOM.xls, then -1, -2, ...).
# Extra arguments go to `diebom bom`, e.g. --format csv, --same-body, --reorder.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
mkdir -p build/sample-bom
exec build/cli/diebom bom build/samples/die/sample_die.xbf \
  --header samples/sample_header.csv --out build/sample-bom "$@"
