#!/usr/bin/env bash
# Installs every Debian package the build, the tests and the benchmarks use.
set -euo pipefail
packages=(build-essential cmake ccache pkg-config libomp-dev libtbb-dev libgtest-dev libgmock-dev
          libbenchmark-dev libpng-dev libjpeg-dev libfreetype-dev libharfbuzz-dev libpixman-1-dev
          liblcms2-dev libcairo2-dev libimagequant-dev libopencv-dev libvips-dev clang
          libfontconfig-dev fonts-dejavu-core librsvg2-bin)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
