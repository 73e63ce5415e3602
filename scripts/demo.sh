#!/usr/bin/env bash
# Builds the SDK and runs the demo on emulated cameras: list them, show one,
# and stream frames from it, saving the last frame as an image.
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
build/bin/qx-camera stream --frames 150 --save build/demo_last_frame.pgm
