#!/usr/bin/env bash
# Installs everything the SDK needs to build, test and run, from Debian's
# packages. This is the one list; every other script calls this one.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  clang-14 libclang-rt-14-dev
  libusb-1.0-0-dev
  libcli11-dev nlohmann-json3-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  umockdev libumockdev-dev
  g++-mingw-w64-x86-64-posix
  python3 python3-dev python3-numpy python3-pytest pybind11-dev
  python3-tifffile python3-astropy
  libstb-dev libtiff-dev libpng-dev libcfitsio-dev
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
  gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good
  doxygen graphviz dpkg-dev file
  wine64 wine
  ccache
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

if [[ $(id -u) -ne 0 ]]; then
  echo "install_dependencies: these packages are missing; run as root to install them: ${missing[*]}" >&2
  exit 1
fi

export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
