#!/usr/bin/env bash
# Builds the SDK and runs the demo on an emulated camera.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_dependencies.sh
cmake --preset default >/dev/null
cmake --build --preset default -j"$(nproc)"

export QX_EMULATED_CAMERAS="${QX_EMULATED_CAMERAS:-1}"
echo "== Cameras (QX_EMULATED_CAMERAS=${QX_EMULATED_CAMERAS})"
build/bin/qx-camera list
