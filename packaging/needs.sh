# Sourced by the scripts at the top: installs the Debian packages named, if any of them is missing.
# A second run finds them all and asks the network for nothing.
need_packages() {
    local package missing=()
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null)" = "install ok installed" ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || {
            echo "Missing packages: ${missing[*]}. Run as root, or install sudo." >&2
            return 1
        }
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}"
    local log
    log=$(mktemp)
    if ! { "${as_root[@]}" apt-get update -qq &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
            "${missing[@]}"; } >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}

# node and npm, which run routers of others in the tests, and chromium without its windows, which shows the panel in
# them. Where there is a node, wherever it comes from, nothing is installed beside it. Nothing else waits for them:
# without them those tests are left out, and say so.
need_peer_commands() {
    command -v node >/dev/null || need_packages nodejs npm ||
        echo "Without node and npm: tests with routers of others are left out." >&2
    need_packages chromium-headless-shell || command -v chromium >/dev/null ||
        echo "Without chromium: tests of the panel are left out." >&2
}

build_packages=(g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev
    libboost1.81-dev libssl-dev libsqlite3-dev libsodium-dev libtomlplusplus-dev libnats-dev)
test_packages=(libgtest-dev libgmock-dev python3-minimal libpython3-stdlib python3-jsonschema openssl pkg-config groff-base systemd prometheus nats-server)
package_packages=(dpkg-dev file gzip)
package_test_packages=(debootstrap lintian pkg-config procps)
lint_packages=(clang clang-format clang-tidy cppcheck)
fuzz_packages=(clang libclang-rt-14-dev)
bench_packages=(redis-server mosquitto nats-server valgrind libbenchmark-dev)
