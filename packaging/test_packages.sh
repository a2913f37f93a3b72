#!/usr/bin/env bash
# Builds the packages and tries them on a fresh Debian 12: installed, used, upgraded and removed in a chroot, and run
# by a booted service manager. Takes a few minutes. Exit code 77: cannot run here (not root, no network, no namespaces).
set -euo pipefail
cd "$(dirname "$0")/.."
. packaging/fresh_root.sh
. packaging/package_cases.sh
. packaging/service_cases.sh
. packaging/gateway_cases.sh

skip() {
    echo "skipped: $*"
    exit 77
}

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# Runs the command until it succeeds; fails the case when it never does.
wait_for() {
    local _
    for _ in $(seq 300); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.1
    done
    fail "waited in vain for: $*"
}

# The rest is a command that has to end with the exit code.
expect_code() {
    local wanted=$1 code=0
    shift
    "$@" || code=$?
    [ "$code" -eq "$wanted" ] || fail "exit code $code instead of $wanted: $*"
}

expect_equal() {
    [ "$1" = "$2" ] || fail "'$1' instead of '$2'"
}

# A package of the same content and of a later version: $2, of the package $1.
make_later_version() {
    local unpacked=$work/later
    dpkg-deb -R "$1" "$unpacked"
    sed -i 's/^Version: .*/&+later/' "$unpacked/DEBIAN/control"
    dpkg-deb --root-owner-group -b "$unpacked" "$2" >/dev/null
    rm -rf "$unpacked"
}

install_package() {
    cp "$1" "$root/root/package.deb"
    "${inside[@]}" dpkg -i /root/package.deb
    rm "$root/root/package.deb"
}

# Stands in no condition, so that any command that fails ends the case and with it all.
run_case() {
    case=$1
    echo "--- $case"
    "$case" >"$work/case.log" 2>&1
    case=
}

clean_up() {
    local code=$? job
    set +e # all of it, whatever fails
    if [ -n "$case" ]; then
        cat "$work/case.log" >&3
        [ -z "$booted_pid" ] || in_booted journalctl --no-pager -n 30 >&3
        echo "FAILED: $case" >&3
    fi
    for job in $(jobs -p); do
        pkill -KILL -P "$job" || true
    done
    remove_root
    rm -rf "$work"
    exit "$code"
}

[ "$(id -u)" -eq 0 ] || skip "not root"
command -v debootstrap >/dev/null || skip "no debootstrap"
unshare --mount --pid --fork true 2>/dev/null || skip "no namespaces"
./package.sh
driver_package=$(echo "$PWD"/build/package/vrdx-routedriver_*.deb)
gateway_package=$(echo "$PWD"/build/package/vrdx-gateway_*.deb)
endpoint_package=$(echo "$PWD"/build/package/libvrdx-endpoint-dev_*.deb)
case=
exec 3>&1 # a case that ends it all still has its own output in the way
work=$(mktemp -d)
trap clean_up EXIT
make_later_version "$driver_package" "$work/later.deb"
make_later_version "$gateway_package" "$work/later_gateway.deb"
echo "Making a fresh root ..."
make_fresh_root || skip "debootstrap found no network, or failed"

for name in "${package_cases[@]}" "${gateway_package_cases[@]}"; do
    inside=(in_root)
    run_case "$name"
done
boot_root || skip "the packages pass; the fresh root cannot be booted here, so the service was not tried"
for name in "${service_cases[@]}" "${gateway_service_cases[@]}"; do
    inside=(in_booted)
    run_case "$name"
done
echo "packages: all passed"
