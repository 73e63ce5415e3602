#!/usr/bin/env bash
# The camera rules: matched to the family's vendor id, ordered before the
# seat rules, and a usbfs memory command that udev can run as written.
set -euo pipefail
rules="$1"
vendor_source="$2"
failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# The vendor id the device module filters on, in udev's lower-case hex.
vendor_decimal="$(sed -n 's/.*qv_vendor_id = \([0-9]*\);.*/\1/p' "${vendor_source}")"
vendor="$(printf '%04x' "${vendor_decimal}")"
grep -q "ATTR{idVendor}!=\"${vendor}\", GOTO=" "${rules}" || fail "rules do not match vendor ${vendor}"

# "uaccess" only works when set before 73-seat-late.rules.
[[ "$(basename "${rules}")" < "73-seat-late.rules" ]] || fail "$(basename "${rules}") sorts after the seat rules"
for wanted in 'TAG+="uaccess"' 'MODE="0660", GROUP="plugdev"' 'ATTR{power/control}="on"' 'SYMLINK+="quendral_vko/$attr{serial}"'; do
  grep -qF "${wanted}" "${rules}" || fail "rules lack ${wanted}"
done

# The RUN command as udev hands it to the shell: "$$" becomes "$". A single
# "$" or "%" would be one of udev's own substitutions and is an error here.
run="$(sed -n 's/.*RUN+="\/bin\/sh -c '"'"'\(.*\)'"'"'"$/\1/p' "${rules}")"
[[ -n "${run}" ]] || fail "no RUN+=\"/bin/sh -c '...'\" rule found"
if sed 's/\$\$//g' <<<"${run}" | grep -q '[$%]'; then
  fail "RUN command holds a \$ or % that udev would substitute: ${run}"
fi
command="${run//\$\$/\$}"
grep -q '/sys/module/usbcore/parameters/usbfs_memory_mb' <<<"${command}" || fail "RUN command does not name usbfs_memory_mb"

sysfs="$(mktemp -d)"
trap 'rm -rf "${sysfs}"' EXIT
parameter="${sysfs}/usbfs_memory_mb"
test_command="${command//\/sys\/module\/usbcore\/parameters\/usbfs_memory_mb/${parameter}}"

# initial value ("-" for no file) | value afterwards ("-" for still no file)
while IFS='|' read -r before after; do
  rm -f "${parameter}"
  [[ "${before}" == "-" ]] || echo "${before}" >"${parameter}"
  if ! /bin/sh -c "${test_command}" 2>/dev/null; then
    fail "RUN command failed with '${before}'"
  fi
  actual="-"
  [[ -e "${parameter}" ]] && actual="$(cat "${parameter}")"
  [[ "${actual}" == "${after}" ]] || fail "'${before}' became '${actual}', expected '${after}'"
done <<'TABLE'
16|1000
999|1000
1000|1000
4096|4096
0|0
-|-
|
abc|abc
-5|-5
TABLE

# A parameter that cannot be written leaves the command successful.
echo 16 >"${parameter}"
chmod 444 "${parameter}"
test_readonly="${test_command//> ${parameter}/> ${sysfs}/missing_dir/x}"
/bin/sh -c "${test_readonly}" 2>/dev/null || fail "RUN command fails when the parameter cannot be written"

((failures == 0)) || exit 1
echo "udev rules: all checks passed"
