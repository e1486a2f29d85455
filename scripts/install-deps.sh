#!/usr/bin/env bash
# Installs every Debian 12 package the project needs to build, test, fuzz,
# benchmark and take screenshots. Safe to run again: apt-get skips what is there.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config git
  qtbase5-dev qtbase5-dev-tools libqt5charts5-dev
  libboost-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  libomp-dev clang-14 libclang-rt-14-dev clang-format clang-tidy-14
  libtiff-dev libpng-dev libhdf5-dev libssl-dev
  pybind11-dev python3-dev python3-numpy python3-pytest python3-dask python3-h5py
  xvfb xauth imagemagick xdotool fonts-dejavu-core
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
