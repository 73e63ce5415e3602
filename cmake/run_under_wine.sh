#!/bin/sh
# Runs one Windows program of the cross build under wine64, unattended: a
# private Wine prefix inside the build tree (made once, without prompts,
# network or display), the build's library directory on the DLL search path,
# and a wine server that stays up between the many short test processes.
#
# Usage: run_under_wine.sh <build directory> <program.exe> [arguments...]
#        run_under_wine.sh <build directory> --start-session | --end-session
set -eu

build_dir="$1"
shift

wine_loader="${QX_WINE64:-}"
if [ -z "${wine_loader}" ]; then
  for candidate in /usr/lib/wine/wine64 "$(command -v wine64 || true)" "$(command -v wine || true)"; do
    if [ -n "${candidate}" ] && [ -x "${candidate}" ]; then
      wine_loader="${candidate}"
      break
    fi
  done
fi
if [ -z "${wine_loader}" ]; then
  echo "run_under_wine.sh: no wine64 found (set QX_WINE64)" >&2
  exit 127
fi
wine_server="$(dirname "${wine_loader}")/wineserver"
[ -x "${wine_server}" ] || wine_server="$(command -v wineserver || echo wineserver)"

export WINEPREFIX="${build_dir}/wine-prefix"
export WINEARCH=win64
export WINEDEBUG=-all
# No Mono or Gecko installers, no display, no desktop integration.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d;winex11.drv="
export DISPLAY=
export WINELOADER="${wine_loader}"
export WINESERVER="${wine_server}"
# Windows finds DLLs on PATH: the kit, its companions and the compiler's
# runtime all lie in the build's library directory.
export WINEPATH="Z:$(printf '%s' "${build_dir}/lib" | tr '/' '\\')"

# The prefix is made once; concurrent first runs wait for the one making it.
if [ ! -f "${WINEPREFIX}/.qx-ready" ]; then
  mkdir -p "${WINEPREFIX}"
  (
    flock 9
    if [ ! -f "${WINEPREFIX}/.qx-ready" ]; then
      "${wine_loader}" wineboot -i >/dev/null 2>&1 || true
      "${wine_server}" -w
      touch "${WINEPREFIX}/.qx-ready"
    fi
  ) 9>"${build_dir}/wine-prefix.lock"
fi

# A test session (ctest) keeps one server up from its first test to its
# last, so that no program ever meets a server that is just ending.
case "${1:-}" in
  --start-session)
    "${wine_server}" -p </dev/null >/dev/null 2>&1 || true
    exec "${wine_loader}" wineboot </dev/null >/dev/null 2>&1
    ;;
  --end-session)
    exec "${wine_server}" -k
    ;;
esac

# Keep the server for a minute after the last program ends, so that each
# test process does not pay for starting it again. The server and Wine's
# own background programs are started here, detached from this program's
# output: started by the test itself, they would hold its output open (and
# ctest waiting) until the server ends.
# The server's socket lies in a directory named after the prefix's device
# and inode, under /tmp/.wine-<uid> or (Debian) /tmp/wine-<random>.
server_name="server-$(stat -c '%d %i' "${WINEPREFIX}" | awk '{printf "%x-%x", $1, $2}')"
server_running=no
for socket in /tmp/.wine-"$(id -u)"/"${server_name}"/socket /tmp/wine-*/"${server_name}"/socket; do
  [ -S "${socket}" ] && server_running=yes
done
if [ "${server_running}" = no ]; then
  "${wine_server}" -p60 </dev/null >/dev/null 2>&1 || true
  "${wine_loader}" wineboot </dev/null >/dev/null 2>&1 || true
else
  "${wine_server}" -p60 </dev/null >/dev/null 2>&1 || true
fi
# Every test program prints before it does anything else, so a run that
# fails without a byte of output never reached the program's main: Wine
# could not start it (seen rarely while the server is busy with other
# programs). That run, and only that one, is made once more.
output="$(mktemp)"
errors="$(mktemp)"
trap 'rm -f "${output}" "${errors}"' EXIT
status=0
"${wine_loader}" "$@" >"${output}" 2>"${errors}" || status=$?
if [ "${status}" -ne 0 ] && [ ! -s "${output}" ] && [ ! -s "${errors}" ]; then
  echo "run_under_wine.sh: $1 ended with ${status} before printing anything; starting it again" >&2
  status=0
  "${wine_loader}" "$@" >"${output}" 2>"${errors}" || status=$?
fi
cat "${output}"
cat "${errors}" >&2
exit "${status}"
