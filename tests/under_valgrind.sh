#!/usr/bin/env bash
# Runs the unit tests under valgrind, and the tests of the process against a driver under valgrind: no use of memory that is
# not its own, none lost, no descriptor left open. Left out is what needs a quick or a small process, or one that
# valgrind lets abort.
#
#   tests/under_valgrind.sh BUILD_DIRECTORY [JOBS]
set -euo pipefail
build=$(realpath "$1")
jobs=${2:-$(nproc)}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

memcheck="valgrind --quiet --leak-check=full --errors-for-leak-kinds=definite,indirect --error-exitcode=99"
memcheck="$memcheck --child-silent-after-fork=yes"
left_out='Flood\.|BackendIsStartedWithACleanSlate|NineteenSignals|TwentiethSignal'

for program in framework_tests router_tests backend_tests client_tests driver_tests; do
    if $memcheck "$build/bin/$program" >"$work/out" 2>&1; then
        printf '%-18s %s\n' "$program" "$(tail -n 1 "$work/out")"
    else
        echo "$program:"
        tail -n 60 "$work/out"
        failed=1
    fi
done

# In place of the driver. Of each valgrind writes what it saw, and which descriptors were open at the end.
cat >"$work/driver" <<END
#!/bin/sh
exec $memcheck --track-fds=yes --log-file=$work/said.%p "$build/bin/vrdx_routedriver" "\$@"
END
chmod +x "$work/driver"
VRDX_TEST_DRIVER=$work/driver ctest --test-dir "$build" -L process -E "$left_out" -j "$jobs" --output-on-failure || failed=1

# Open to the end on purpose: what the trace is written to, and whom the watchdog tells; the item and the socket of a start
# that was given up.
descriptors_left() {
    awk '/ Open file descriptor | Open AF_/ { opened = $0; next }
         opened == "" { next }
         /inherited from parent/ { opened = ""; next }
         / by 0x/ { if ($0 !~ /choose_target|vrdx_watchdog_begin|metadata_v4_context|comm_socket_v4_create_server|open_event_set/)
                        print opened "\n" $0
                    opened = "" }' "$1"
}

drivers=0
for said in "$work"/said.*; do
    drivers=$((drivers + 1))
    if grep -qE 'Invalid|uninitialised|(definitely|indirectly) lost' "$said" || [ -n "$(descriptors_left "$said")" ]; then
        cat "$said"
        failed=1
    fi
done
echo "$drivers drivers ran under valgrind"
exit "$failed"
