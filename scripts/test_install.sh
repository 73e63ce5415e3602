#!/usr/bin/env bash
# Checks the SDK as its users receive it, from a built tree (default build/):
#  1. installs it to a staging prefix and checks every installed library and
#     program with readelf: a SONAME with the ABI major, and a run path that
#     only ever starts at $ORIGIN, never an absolute or empty entry;
#  2. outside the source tree, builds the README's C example against the
#     staged SDK through pkg-config and through find_package, and runs both
#     on an emulated camera;
#  3. moves the staged SDK elsewhere and runs qx-camera from there;
#  4. builds the Debian package and checks its file list, its dependencies,
#     and that the SDK unpacked from it runs.
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir="$(pwd)"
build_dir="$(cd "${1:-build}" && pwd)"

work="$(mktemp -d /tmp/qx-install-test.XXXXXX)"
trap 'rm -rf "${work}"' EXIT
stage="${work}/stage"
failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

libdir="$(sed -n 's/^CMAKE_INSTALL_LIBDIR:PATH=//p' "${build_dir}/CMakeCache.txt")"
bindir="$(sed -n 's/^CMAKE_INSTALL_BINDIR:PATH=//p' "${build_dir}/CMakeCache.txt")"
libraries=(quendral_vko_camera_sdk quendral_vko_camera_emulator quendral_vko_usb_hotplug_monitor
  quendral_vko_ralto_camera_device quendral_vko_logger)

echo "== Installing to a staging prefix"
cmake --install "${build_dir}" --prefix "${stage}" >/dev/null

# check_elf <file> <expected SONAME or ""> <tree root>: the dynamic section
# names no directory of the build or source tree, and every run path entry
# starts at $ORIGIN and stays inside <tree root>.
check_elf() {
  local file="$1" soname="$2" root="$3" dynamic runpath entry resolved
  dynamic="$(readelf -d "${file}")"
  if grep -qF -e "${build_dir}" -e "${source_dir}" <<<"${dynamic}"; then
    fail "${file} names the build or source tree: $(grep -F -e "${build_dir}" -e "${source_dir}" <<<"${dynamic}")"
  fi
  if grep -q '(RPATH)' <<<"${dynamic}"; then
    fail "${file} carries an RPATH instead of a RUNPATH"
  fi
  if [[ -n "${soname}" ]] && ! grep -q "Library soname: \[${soname}\]" <<<"${dynamic}"; then
    fail "${file} lacks the SONAME ${soname}"
  fi
  runpath="$(sed -n 's/.*Library runpath: \[\(.*\)\]/\1/p' <<<"${dynamic}")"
  [[ -n "${runpath}" ]] || { fail "${file} has no run path"; return; }
  IFS=: read -r -a entries <<<"${runpath}:"
  for entry in "${entries[@]}"; do
    if [[ "${entry}" != '$ORIGIN' && "${entry}" != '$ORIGIN/'* ]]; then
      fail "${file}: run path entry '${entry}' does not start at \$ORIGIN"
      continue
    fi
    resolved="$(realpath -m "$(dirname "${file}")/${entry#\$ORIGIN}")"
    [[ "${resolved}" == "${root}"* ]] || fail "${file}: run path '${entry}' leaves ${root}"
  done
}

echo "== Checking run paths and SONAMEs (install tree and build tree)"
abi="$(sed -n 's/^CMAKE_PROJECT_VERSION_MAJOR:STATIC=//p' "${build_dir}/CMakeCache.txt")"
for library in "${libraries[@]}"; do
  for tree in "${stage}/${libdir}" "${build_dir}/lib"; do
    file="$(readlink -f "${tree}/lib${library}.so")"
    [[ -f "${file}" ]] || { fail "lib${library}.so missing from ${tree}"; continue; }
    check_elf "${file}" "lib${library}.so.${abi}" "${tree%/lib*}"
  done
  [[ -L "${stage}/${libdir}/lib${library}.so.${abi}" ]] || fail "lib${library}.so.${abi} link missing"
done
check_elf "${stage}/${bindir}/qx-camera" "" "${stage}"
check_elf "${build_dir}/bin/qx-camera" "" "${build_dir}"
# Nothing else that was installed may be an ELF file unchecked.
while IFS= read -r -d '' file; do
  if [[ "$(head -c 4 "${file}")" == $'\x7fELF' ]]; then
    case "${file}" in
      */bin/qx-camera | */lib*.so.*.*.*) ;;
      *) check_elf "${file}" "" "${stage}" ;;
    esac
  fi
done < <(find "${stage}" -type f -print0)

# The README's C example, taken from the README itself so that the two
# cannot drift apart.
mkdir -p "${work}/example"
awk '/^## Using the SDK from C/ { section = 1 }
     section && /^```c$/ { copying = 1; next }
     copying && /^```$/ { exit }
     copying' README.md >"${work}/example/first_camera.c"
[[ -s "${work}/example/first_camera.c" ]] || fail "no C example found in README.md"

# run_example <program>: five frames from an emulated camera.
run_example() {
  local output
  if ! output="$(cd "${work}" && QX_EMULATED_CAMERAS=1 timeout 60 "$1" 2>&1)"; then
    fail "$1 failed: ${output}"
  elif [[ "$(grep -c '^frame .*pixels' <<<"${output}")" != 5 ]]; then
    fail "$1 did not report five frames: ${output}"
  fi
}

echo "== Building the README example with pkg-config"
export PKG_CONFIG_PATH="${stage}/${libdir}/pkgconfig"
[[ "$(pkg-config --variable=prefix quendral_vko_camera_sdk)" == "${stage}" ]] ||
  fail "pkg-config prefix is not the install prefix"
grep -q '^libdir=${exec_prefix}/'"${libdir}"'$' "${PKG_CONFIG_PATH}/quendral_vko_camera_sdk.pc" ||
  fail "pkg-config libdir is not \${exec_prefix}/${libdir}"
pkg-config --libs quendral_vko_camera_sdk | grep -q usb && fail "libusb leaks into pkg-config --libs"
pkg-config --static --libs quendral_vko_camera_sdk | grep -q -- -lusb-1.0 ||
  fail "libusb missing from Requires.private"
cc -std=c11 -Wall -Wextra -Werror "${work}/example/first_camera.c" -o "${work}/example/with_pkg_config" \
  $(pkg-config --cflags --libs quendral_vko_camera_sdk) \
  -Wl,-rpath,"$(pkg-config --variable=libdir quendral_vko_camera_sdk)"
run_example "${work}/example/with_pkg_config"

echo "== Building the README example with find_package"
mkdir -p "${work}/cmake_consumer"
cp "${work}/example/first_camera.c" "${work}/cmake_consumer/"
cat >"${work}/cmake_consumer/CMakeLists.txt" <<'EOF'
cmake_minimum_required(VERSION 3.16)
project(first_camera C)
find_package(QuendralVkoCameraSdk 0.1 CONFIG REQUIRED)
# No release of another ABI major may satisfy a request.
find_package(QuendralVkoCameraSdk 99 CONFIG QUIET)
if(QuendralVkoCameraSdk_FOUND)
  message(FATAL_ERROR "a request for major version 99 was accepted")
endif()
find_package(QuendralVkoCameraSdk 0.1 CONFIG REQUIRED)
# The SDK's own dependencies stay its own.
get_target_property(interface QuendralVkoCameraSdk::sdk INTERFACE_LINK_LIBRARIES)
if(interface)
  message(FATAL_ERROR "QuendralVkoCameraSdk::sdk passes on ${interface}")
endif()
add_executable(first_camera first_camera.c)
target_compile_options(first_camera PRIVATE -Wall -Wextra -Werror)
target_link_libraries(first_camera PRIVATE QuendralVkoCameraSdk::sdk)
EOF
cmake -S "${work}/cmake_consumer" -B "${work}/cmake_consumer/build" -DCMAKE_PREFIX_PATH="${stage}" >/dev/null
cmake --build "${work}/cmake_consumer/build" >/dev/null
run_example "${work}/cmake_consumer/build/first_camera"

echo "== Running a moved copy"
mv "${stage}" "${work}/moved"
QX_EMULATED_CAMERAS=2 "${work}/moved/${bindir}/qx-camera" list | grep -qx QV10000002 ||
  fail "qx-camera moved out of its install prefix does not find its libraries"

echo "== Building and checking the Debian package"
(cd "${work}" && cpack -G DEB --config "${build_dir}/CPackConfig.cmake" -B "${work}/package" >/dev/null)
deb="$(ls "${work}"/package/*.deb)"
contents="$(dpkg-deb -c "${deb}" | awk '{ print $6 }' | sed 's|^\./|/|')"
for expected in \
  "/usr/${libdir}/libquendral_vko_camera_sdk.so.0.1.0" \
  "/usr/${libdir}/libquendral_vko_usb_hotplug_monitor.so" \
  "/usr/${libdir}/libquendral_vko_ralto_camera_device.so" \
  "/usr/${libdir}/libquendral_vko_logger.so" \
  "/usr/${libdir}/libquendral_vko_camera_emulator.so.0" \
  "/usr/${libdir}/pkgconfig/quendral_vko_camera_sdk.pc" \
  "/usr/${libdir}/cmake/QuendralVkoCameraSdk/QuendralVkoCameraSdkConfig.cmake" \
  "/usr/${libdir}/cmake/QuendralVkoCameraSdk/QuendralVkoCameraSdkConfigVersion.cmake" \
  "/usr/include/quendral_vko_camera_sdk/quendral_vko_camera_sdk.h" \
  "/usr/bin/qx-camera" \
  "/usr/lib/udev/rules.d/70-quendral-vko-camera.rules" \
  "/usr/share/doc/quendral_vko_camera_sdk/README.md" \
  "/usr/share/doc/quendral_vko_camera_sdk/html/index.html"; do
  grep -qx -- "${expected}" <<<"${contents}" || fail "package lacks ${expected}"
done
grep -v -e '^/usr/' -e '^/$' <<<"${contents}" && fail "package installs outside /usr"
depends="$(dpkg-deb -f "${deb}" Depends)"
for dependency in libusb-1.0-0 libc6 libstdc++6 libgcc-s1; do
  grep -q "\b${dependency}\b" <<<"${depends}" || fail "package does not depend on ${dependency}: ${depends}"
done
dpkg-deb -x "${deb}" "${work}/unpacked"
grep -qx 'prefix=/usr' "${work}/unpacked/usr/${libdir}/pkgconfig/quendral_vko_camera_sdk.pc" ||
  fail "the package's pkg-config file does not name /usr"
QX_EMULATED_CAMERAS=1 "${work}/unpacked/usr/bin/qx-camera" list | grep -qx QV10000001 ||
  fail "qx-camera from the package does not run"

if ((failures > 0)); then
  echo "== ${failures} install check(s) failed" >&2
  exit 1
fi
echo "== Install, consumers and package: all checks passed"
