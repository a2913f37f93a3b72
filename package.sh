#!/usr/bin/env bash
# Installs what is missing, builds the release, and makes the Debian packages of the driver, of the gateway, and of the
# libraries for authors of backend and client programs. Their paths are the last lines.
set -euo pipefail
cd "$(dirname "$0")"
. packaging/needs.sh

if [ $# -gt 0 ]; then
    sed -n '2,3s/^# \{0,1\}//p' "$0"
    [ "$1" = -h ] || [ "$1" = --help ] || exit 2
    exit 0
fi

need_packages "${build_packages[@]}" "${package_packages[@]}"
# The same source makes the same packages.
if [ -z "${SOURCE_DATE_EPOCH-}" ]; then
    SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || date +%s)
    export SOURCE_DATE_EPOCH
fi
echo "Building ..."
cmake --preset package >/dev/null
cmake --build --preset package -- --quiet
rm -f build/package/*.deb
log=build/package/cpack.log
(cd build/package && cpack) >"$log" 2>&1 || {
    cat "$log" >&2
    exit 1
}
ls -1 "$PWD"/build/package/*.deb
