#!/usr/bin/env bash
# Makes the workbook templates of samples/config from their sources in
# samples/config/templates-src with LibreOffice (headless, private profile).
# Usage: scripts/make-templates.sh
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
src="$root/samples/config/templates-src"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

convert() {  # source.fods target.xls
  timeout 120 soffice -env:UserInstallation="file://$work/profile" --headless \
    --convert-to xls:"MS Excel 97" --outdir "$work" "$1" >/dev/null 2>&1
  mv "$work/$(basename "${1%.fods}").xls" "$2"
  echo "wrote $2"
}

convert "$src/模具材料采购单.fods" "$root/samples/config/config/级进模/模具材料采购单.xls"
  cp "$root/samples/config/config/级进模/模具材料采购单.xls" "$root/samples/config/config/单冲模/"
convert "$src/模具标准件申购表.fods" "$root/samples/config/config/模具标准件申购表.xls"
