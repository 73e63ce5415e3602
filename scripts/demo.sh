#!/usr/bin/env bash
# Builds the SDK and runs the demo on emulated cameras: list them, show one,
# stream from it, and save its moving bars as a TIFF, a FITS and a PNG file.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_dependencies.sh
cmake --preset default >/dev/null
cmake --build --preset default -j"$(nproc)"

export QX_EMULATED_CAMERAS="${QX_EMULATED_CAMERAS:-$(pwd)/docs/examples/demo_cameras.json}"
echo "== Cameras (QX_EMULATED_CAMERAS=${QX_EMULATED_CAMERAS})"
build/bin/qx-camera list
echo "== The first camera"
build/bin/qx-camera info
echo "== Streaming"
build/bin/qx-camera stream --frames 150
echo "== Saving the moving bars"
mkdir -p build/demo
build/bin/qx-camera snap -o build/demo/moving_bars.tif
build/bin/qx-camera snap -o build/demo/moving_bars.fits
build/bin/qx-camera snap -o build/demo/moving_bars.png
echo "The images are in $(pwd)/build/demo: moving_bars.tif, moving_bars.fits and moving_bars.png"

# ---- Python package: install it where Debian's python3 finds it ----
if [ -d build/python/quendral_vko ]; then
  echo "== Installing the Python package (quendral_vko) under /usr/local"
  # The libraries it loads (runtime component, where the build has one) and the package.
  for component in Runtime python; do
    cmake --install build --prefix /usr/local --component "${component}" >/dev/null
  done
  /usr/bin/python3 -c "import quendral_vko; print('quendral_vko imports from', quendral_vko.__file__)"
fi
# ---- end of Python package ----
