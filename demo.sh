#!/usr/bin/env bash
# Installs what is missing, builds, and shows the driver at work on a simulated router of 16 x 8. Ends by itself.
#
#   ./demo.sh           the tour
#   ./demo.sh --keep    the tour, and the driver stays up for your own commands, with a gateway for browsers and programs
set -euo pipefail
cd "$(dirname "$0")"
. packaging/needs.sh

case "${1-}" in
"" | --keep) ;;
-h | --help)
    sed -n '2,5s/^# \{0,1\}//p' "$0"
    exit 0
    ;;
*)
    echo "demo.sh: unknown argument '$1' (only --keep is known)" >&2
    exit 2
    ;;
esac

need_packages "${build_packages[@]}"
echo "Building ..."
cmake --preset demo >/dev/null
cmake --build --preset demo -- --quiet

PATH=$PWD/build/demo/bin:$PATH
if [ "${1-}" = --keep ]; then
    studio=$PWD/build/demo/studio
    mkdir -p "$studio"
else
    studio=$(mktemp -d)
fi
cd "$studio"
if vrdx_routectl studio.item ping >/dev/null 2>&1; then
    echo "A driver from an earlier ./demo.sh --keep is still up. Stop it first:" >&2
    echo "    $(command -v vrdx_routectl) $studio/studio.item exit" >&2
    exit 1
fi
driver=
gateway=

clean_up() {
    local code=$?
    [ -n "$gateway" ] && kill "$gateway" 2>/dev/null && wait "$gateway"
    [ -n "$driver" ] && kill "$driver" 2>/dev/null && wait "$driver"
    cd / && rm -rf "$studio"
    exit $code
}
trap clean_up EXIT

say() {
    printf '\n# %s\n' "$*"
}

# Shows a command the way a reader would type it, then runs it.
run() {
    local word line='$'
    for word in "$@"; do
        case $word in
        *[!A-Za-z0-9_./=,:-]*) line+=" \"$word\"" ;;
        *) line+=" $word" ;;
        esac
    done
    printf '%s\n' "$line"
    "$@"
}

# The same for a command that has to fail, which is what it is there to show.
run_refused() {
    local code=0
    run "$@" || code=$?
    printf '(exit code %d)\n' "$code"
    [ "$code" -eq 1 ]
}

# Waits until the router's status shows the text.
wait_for_status() {
    local _
    for _ in $(seq 200); do
        vrdx_routectl studio.item status 2>/dev/null | grep -q "$1" && return 0
        sleep 0.05
    done
    echo "demo.sh: the status never showed '$1'" >&2
    return 1
}

say "An item file: which backend, and what it needs to know. Output 5 will refuse every take."
cat >studio.item <<'ITEM'
driver=route_simulator
simulated inputs=16
simulated outputs=8
simulated levels=video,audio
simulated refuse outputs=5
ITEM
run cat studio.item

say "The driver: one process per router. It starts the backend, and its trace goes to standard error."
echo '$ vrdx_routedriver --file studio.item --no-autoshutdown 2>trace.txt &'
setsid vrdx_routedriver --file studio.item --no-autoshutdown 2>trace.txt </dev/null >/dev/null &
driver=$!
wait_for_status "Output 8"

say "The router, as any client sees it."
run vrdx_routectl studio.item status

say "A take: input 3 to output 1. Then one that takes audio from 4 and video from 7, and one of no source."
run vrdx_routectl studio.item route 1=3
run vrdx_routectl studio.item route 2=4,7 3=none
run vrdx_routectl studio.item status

say "What the backend was sent for the split take, and what it confirmed."
run sed -n "/from input=6/,/o1.input.video=6/p" trace.txt

say "A take that the router refuses is not confirmed, and falls back; the command says so."
run_refused vrdx_routectl studio.item route 5=9

say "A name, and takes by name, for many outputs at once."
run vrdx_routectl studio.item router-set "output.1.name=Studio A monitor"
wait_for_status "Studio A monitor"
run vrdx_routectl studio.item route "studio a=input 12" 6-8=2 --dry-run
run vrdx_routectl studio.item route "studio a=input 12" 6-8=2
run vrdx_routectl studio.item status --input 2

say "Taken back, and where the other outputs stand."
run vrdx_routectl studio.item undo
run vrdx_routectl studio.item status

# Where the gateway listens once it is ready, on the line of gateway.address. 8400 unless that is somebody else's.
start_gateway() {
    local port _
    for port in 8400 0; do
        : >gateway.address
        setsid vrdx_gateway --config gateway.toml --items . --run run --state gateway --listen "127.0.0.1:$port" --ready-fd 3 \
            3>gateway.address 2>gateway.trace </dev/null >/dev/null &
        gateway=$!
        for _ in $(seq 400); do
            [ -s gateway.address ] && return 0
            kill -0 "$gateway" 2>/dev/null || break
            sleep 0.05
        done
        kill "$gateway" 2>/dev/null || true
    done
    cat gateway.trace >&2
    return 1
}

# One of an earlier ./demo.sh --keep, whose driver was ended without it.
stop_old_gateway() {
    local pid
    pid=$(cat gateway.pid 2>/dev/null) || return 0
    [ "$(readlink "/proc/$pid/exe")" != "$(command -v vrdx_gateway)" ] || kill "$pid"
}

if [ "${1-}" = --keep ]; then
    say "The gateway: the same router by HTTP and WebSocket, to who has a token."
    stop_old_gateway
    rm -rf gateway run
    mkdir run
    ln .tavrixsock.studio.item run/studio.sock # the same socket, where the gateway looks for it
    : >gateway.toml
    vrdx_gateway token add demo --role admin --state gateway >gateway.token
    start_gateway
    echo "$gateway" >gateway.pid
    url=http://$(cat gateway.address)
    run vrdx_routectl --gateway "$url" --token-file gateway.token list
    trap - EXIT
    echo
    echo "    address  $url"
    echo "    token    $(cat gateway.token)"
    echo
    echo "    curl -H \"Authorization: Bearer \$(cat $PWD/gateway.token)\" $url/api/v1/routers/studio"
    echo "    kill \$(cat $PWD/gateway.pid)"

    say "The driver stays up. Talk to it, follow its trace, and stop it with:"
    echo "    export PATH=$PWD/../bin:\$PATH"
    echo "    cd $PWD"
    echo "    vrdx_routectl studio.item status"
    echo "    vrdx_routectl studio.item route 1=5"
    echo "    tail -f trace.txt"
    echo "    vrdx_routectl studio.item exit"
    exit 0
fi

say "The end: the driver stops its backend and leaves nothing behind."
run vrdx_routectl studio.item exit
wait "$driver"
driver=
run tail -n 9 trace.txt
run ls -A
