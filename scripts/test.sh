#!/usr/bin/env bash
# Builds the SDK and runs every test: the plain build, the install and
# consumer checks, the AddressSanitizer + UndefinedBehaviorSanitizer build,
# the threaded tests under ThreadSanitizer, every fuzz target for a short
# time, the Windows suite under wine64, and the Python package's tests.
set -euo pipefail
cd "$(dirname "$0")/.."

# ---- Layers: no folder includes a layer above its own (cmake/layers.txt) ----
echo "== Include layers"
/usr/bin/python3 scripts/check_layers.py
# ---- end of the layer check ----

scripts/install_dependencies.sh
jobs="$(nproc)"

run_suite() {
  local preset="$1"
  shift
  echo "== Building and testing: ${preset}"
  cmake --preset "${preset}" >/dev/null
  cmake --build --preset "${preset}" -j"${jobs}"
  ctest --test-dir "build${preset:+-${preset}}" --output-on-failure -j"${jobs}" "$@"
}

echo "== Building and testing: default"
cmake --preset default >/dev/null
cmake --build --preset default -j"${jobs}"
ctest --test-dir build --output-on-failure -j"${jobs}"

# ---- Install, consumers and the Debian package (needs the default build) ----
echo "== Install tree, pkg-config and CMake consumers, Debian package"
scripts/test_install.sh build
# ---- end of install checks ----

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
run_suite asan

export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$(pwd)/tests/tsan.supp"
run_suite tsan -L threaded

# ---- GStreamer plugin: its tests ran in the suites above (CTest names
# qxcamerasrc.*); a build without GStreamer's development files would skip
# them silently, so its absence fails here.
test -f build/lib/gstreamer-1.0/libgstqxcamera.so || { echo "the qxcamera GStreamer plugin was not built" >&2; exit 1; }
# ---- end of the GStreamer plugin step

# ---- thread-safety analysis: the libraries and tools built by clang, where
# -Wthread-safety -Werror checks every lock against its annotations ----
echo "== Thread-safety analysis (clang preset)"
cmake --preset clang >/dev/null
cmake --build --preset clang -j"${jobs}"
# ---- end of the thread-safety analysis ----

# ---- fuzzing: every target for a short fixed time (clang, ASan + UBSan) ----
echo "== Fuzzing: 15 s per target"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j"${jobs}"
root="$(pwd)"
fuzz_work="$(mktemp -d)"
for fuzzer in "${root}"/build-fuzz/bin/fuzz/*_fuzzer; do
  name="$(basename "${fuzzer}" _fuzzer)"
  mkdir -p "${fuzz_work}/${name}"
  seeds=()
  [ -d "${root}/fuzz/corpus/${name}" ] && seeds=("${root}/fuzz/corpus/${name}")
  # New inputs and findings go to the scratch directory; the seeds are only read.
  (cd "${fuzz_work}" && "${fuzzer}" -max_total_time=15 -print_final_stats=1 "${fuzz_work}/${name}" "${seeds[@]}")
done
rm -rf "${fuzz_work}"
# ---- end of fuzzing ----

# --- Windows: the cross-built suite under wine64 -------------------------
echo "== Building and testing: mingw (Windows cross-build, tests under wine64)"
cmake --preset mingw >/dev/null
cmake --build --preset mingw -j"${jobs}"
ctest --test-dir build-mingw --output-on-failure -j"${jobs}"
# --- end of the Windows block ---------------------------------------------

# ---- Python package (quendral_vko): pytest against emulated cameras ----
# A build without Python's development files would skip the package
# silently, so its absence fails here.
test -d build/python/quendral_vko || { echo "the quendral_vko Python package was not built" >&2; exit 1; }
echo "== Testing: Python package"
PYTHONPATH="$(pwd)/build/python" /usr/bin/python3 -m pytest -q -p no:cacheprovider tests/python
# ---- end of Python package ----
