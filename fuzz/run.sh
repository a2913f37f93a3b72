#!/usr/bin/env bash
# Builds the fuzz targets with clang and runs them one after the other, each on a copy of its corpus.
#
#   fuzz/run.sh [--seconds N] [--runs N] [--keep DIRECTORY] [TARGET ...]
#
#   --seconds N        of each target (15 when neither is given)
#   --runs N           executions of each target; with both, whichever comes first ends it
#   --keep DIRECTORY   leaves the grown corpora and the findings there
#
# One line per target. The exit code is 1 when one of them found something; its input is then shown in base64.
set -euo pipefail
cd "$(dirname "$0")/.."
. packaging/needs.sh

amount=()
kept=
targets=()
while [ $# -gt 0 ]; do
    case "$1" in
    --seconds | --runs | --keep)
        [ $# -ge 2 ] || { echo "$1 needs a value" >&2; exit 2; }
        case "$1" in
        --seconds) amount+=("-max_total_time=$2") ;;
        --runs) amount+=("-runs=$2") ;;
        --keep) kept=$2 ;;
        esac
        shift 2
        ;;
    -h | --help)
        sed -n '2,10s/^# \{0,1\}//p' "$0"
        exit 0
        ;;
    -*)
        echo "Unknown switch $1" >&2
        exit 2
        ;;
    *)
        targets+=("$1")
        shift
        ;;
    esac
done
[ ${#amount[@]} -eq 0 ] && amount=(-max_total_time=15)
if [ ${#targets[@]} -eq 0 ]; then
    for source in fuzz/*_target.cpp; do
        target=${source#fuzz/}
        targets+=("${target%_target.cpp}")
    done
fi

# Texts stay as short as they can be while they still reach the limits of the reader.
longest_input() {
    case "$1" in
    item_file) echo 2500 ;;
    name_value_file) echo 9000 ;;
    packet_server | packet_client | client_picture | status_reply) echo 4000 ;;
    route_request) echo 200 ;;
    *) echo 1500 ;;
    esac
}

# The last count that the fuzzer told, and how many of them it did in a second.
figures() {
    awk '/stat::number_of_executed_units/ { n = $2 } /stat::average_exec_per_sec/ { s = $2 }
         END { printf "%12d executions %8d/s", n, s }' "$1"
}

need_packages "${build_packages[@]}" "${fuzz_packages[@]}"
build=${VRDX_FUZZ_BUILD:-build/fuzz}
cmake --preset fuzz -B "$build" >/dev/null
cmake --build "$build" --target "${targets[@]/#/fuzz_}" -- --quiet

# Files that are synced again and again are quickest in memory.
place=${TMPDIR:-/tmp}
[ -w /dev/shm ] && place=/dev/shm
work=$(mktemp -d "$place/vrdx_fuzz_run.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/tmp" "$work/findings"

failed=0
for target in "${targets[@]}"; do
    cp -r "fuzz/corpus/$target" "$work/corpus"
    found=none
    if ! TMPDIR="$work/tmp" "$build/bin/fuzz_$target" "${amount[@]}" -max_len="$(longest_input "$target")" \
        -timeout=25 -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$work/findings/$target-" \
        "$work/corpus" >"$work/log" 2>&1; then
        found="see below"
        failed=1
    fi
    printf '%-18s %s  findings: %s\n' "$target" "$(figures "$work/log")" "$found"
    if [ "$found" != none ]; then
        tail -n 40 "$work/log"
    fi
    if [ -n "$kept" ]; then
        mkdir -p "$kept/$target"
        cp -r "$work/corpus/." "$kept/$target/"
    fi
    rm -rf "$work/corpus"
done
if [ -n "$kept" ] && [ $failed -ne 0 ]; then
    cp -r "$work/findings" "$kept/"
fi
exit $failed
