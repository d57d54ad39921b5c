#!/usr/bin/env bash
# Installs every Debian package the build, the tests and the benchmarks need.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config ccache clang clang-format
  libocct-foundation-dev libocct-modeling-data-dev libocct-modeling-algorithms-dev
  libocct-ocaf-dev libocct-data-exchange-dev libocct-visualization-dev
  libtbb-dev libgtest-dev libgmock-dev libbenchmark-dev libpugixml-dev
  python3 python3-xlrd libreoffice-calc-nogui zlib1g-dev
  chromium chromium-driver python3-selenium fonts-wqy-zenhei
  libcpp-httplib-dev nlohmann-json3-dev libjs-three
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
