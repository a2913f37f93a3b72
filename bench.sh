#!/usr/bin/env bash
# Installs what is missing, builds as released, and measures the driver beside the floor of each row. One table;
# docs/performance.md says what its rows mean. On a quiet machine of two cores it takes about five minutes.
#
#   ./bench.sh [--rounds N] [--row NAME] [--json FILE] [--markdown]
#                               the table; only the rows whose name contains NAME; also as JSON; as Markdown
#   ./bench.sh --gateway [...]  the same of the gateway, beside mosquitto and a bare echo
#   ./bench.sh --panel [--rounds N] [--markdown]
#                               the pages in Chromium: how soon they show, what many changes cost them
#   ./bench.sh --micro [...]    the pure parts one by one; what follows goes to the benchmark library
#   ./bench.sh --check          counts the instructions of fixed workloads; fails when one needs over 5 % more than
#                               bench/baseline.json says
#   ./bench.sh --update-baseline
#                               writes the counts of today into that file
set -euo pipefail
caller=$PWD
cd "$(dirname "$0")"
. packaging/needs.sh

workloads=(status take report log watch describe pass)
most_growth_percent=5
baseline=bench/baseline.json
programs=build/bench/bin
# The C library picks its string functions by the processor; with these left out it picks the same ones everywhere.
plain_processor=glibc.cpu.hwcaps=-AVX2,-AVX512VL,-AVX512BW,-AVX_Fast_Unaligned_Load,-ERMS,-FSRM,-RTM,-SSSE3,-SSE4_1,-SSE4_2,-MOVBE,-BMI1,-BMI2,-LZCNT

build() {
    echo "Building ..." >&2
    cmake --preset bench >/dev/null
    cmake --build --preset bench --target "$@" -- --quiet >&2
}

# The instructions of one workload, from the count that callgrind leaves behind.
count_instructions() {
    local out=$scratch/$1.out
    GLIBC_TUNABLES=$plain_processor valgrind --quiet --tool=callgrind --callgrind-out-file="$out" --collect-atstart=no \
        --toggle-collect=counted_work "$programs/vrdx_bench_counted" "$1" 2>"$scratch/trace" || {
        echo "bench.sh: workload '$1' failed under valgrind" >&2
        return 1
    }
    awk '$1 == "totals:" { print $2; found = 1 } END { exit !found }' "$out"
}

baseline_count() {
    sed -n "s/^ *\"$1\": \([0-9]*\),\{0,1\}$/\1/p" "$baseline"
}

check() {
    local name count before failed=0
    printf '%-8s %14s %14s %8s\n' workload instructions baseline change
    for name in "${workloads[@]}"; do
        count=$(count_instructions "$name")
        before=$(baseline_count "$name")
        [ -n "$before" ] || {
            echo "bench.sh: $baseline does not know '$name'" >&2
            return 1
        }
        awk -v name="$name" -v count="$count" -v before="$before" -v most="$most_growth_percent" 'BEGIN {
            change = (count - before) * 100 / before
            grown = change > most
            printf "%-8s %14d %14d %+7.1f%%%s\n", name, count, before, change, grown ? "  GROWN" : ""
            exit grown
        }' || failed=1
    done
    return "$failed"
}

update_baseline() {
    local name count separator=''
    {
        echo '{'
        for name in "${workloads[@]}"; do
            count=$(count_instructions "$name")
            printf '%s  "%s": %s' "$separator" "$name" "$count"
            separator=$',\n'
        done
        printf '\n}\n'
    } >"$scratch/baseline"
    mv "$scratch/baseline" "$baseline"
    cat "$baseline"
}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export TMPDIR=$scratch

case "${1-}" in
-h | --help)
    sed -n '2,15s/^# \{0,1\}//p' "$0"
    ;;
--check | --update-baseline)
    need_packages "${build_packages[@]}" "${bench_packages[@]}"
    build vrdx_bench_counted
    if [ "$1" = --check ]; then check; else update_baseline; fi
    ;;
--gateway)
    shift
    need_packages "${build_packages[@]}" "${bench_packages[@]}"
    build vrdx_bench_gateway
    programs=$PWD/$programs
    cd "$caller"
    "$programs/vrdx_bench_gateway" "$@"
    ;;
--panel)
    shift
    need_packages "${build_packages[@]}" "${bench_packages[@]}"
    need_peer_commands
    need_packages chromium
    build vrdx_gateway vrdx_routedriver vrdx_route_simulator
    python3 -B bench/panel/run.py "$PWD/$programs" "$PWD/build/bench/independent_peers" "$@"
    ;;
--micro)
    shift
    need_packages "${build_packages[@]}" "${bench_packages[@]}"
    build vrdx_bench_micro
    "$programs/vrdx_bench_micro" "$@" 2>/dev/null
    ;;
*)
    need_packages "${build_packages[@]}" "${bench_packages[@]}"
    build vrdx_bench
    programs=$PWD/$programs
    cd "$caller"
    "$programs/vrdx_bench" "$@"
    ;;
esac
