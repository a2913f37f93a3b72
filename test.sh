#!/usr/bin/env bash
# Installs what is missing, builds as released, and runs the tests.
#
#   ./test.sh           all tests
#   ./test.sh NAME      the tests whose name matches the regular expression NAME
#   ./test.sh changed [REV]     those that what is not committed (else the last commit; else what changed since REV)
#                       can affect, the quick ones first: about a minute
#   ./test.sh sanitize [NAME]   the same under the address and undefined-behaviour sanitizers
#   ./test.sh reliability [--long]  faults, load, time and fuzzing alone, with their figures: five minutes;
#                       long: some hours
#   ./test.sh coverage  the share of lines that the tests run, by folder
#   ./test.sh valgrind  the units and the driver under memcheck: some minutes
#   ./test.sh packages  the Debian packages on a fresh Debian 12: installed, run, upgraded, removed; some minutes, as root
#   ./test.sh lint      formatting, cppcheck, clang's build and clang-tidy, instead of tests
set -euo pipefail
cd "$(dirname "$0")"
. packaging/needs.sh

jobs=$(nproc)

build() {
    local quiet=()
    [ -t 1 ] || quiet=(--quiet)
    cmake --preset "$1" >/dev/null
    cmake --build --preset "$1" -- -j "$jobs" "${quiet[@]}"
}

# In a log, thousands of lines on what went well hide the one that did not: one of each 250 shows that it goes on.
shorten() {
    if [ -t 1 ]; then
        cat
    else
        awk '/^ *Start +[0-9]+: / { next } / Passed +[0-9.]+ sec *$/ && ++passed % 250 { next } { print; fflush() }'
    fi
}

# Far more at once than there are cores: the tests of the process mostly wait. What is slowed down waits less.
run_tests() {
    local preset=$1
    shift
    local per_core=3
    [ "$preset" = release ] && per_core=7
    echo "--- tests, $preset"
    ctest --preset "$preset" -j $((jobs * per_core)) --no-tests=error "$@" | shorten
}

# What the failed tests of a preset printed, once more: thousands of lines may stand between them and the end.
tell_failed_tests() {
    awk -v most=60 '
        /^[0-9]+\/[0-9]+ Testing: / { lines = 0 }
        { line[lines++] = $0 }
        /^Test Failed\.$/ {
            for (at = lines > most ? lines - most : 0; at < lines; at++)
                print line[at]
        }' "build/$1/Testing/Temporary/LastTest.log"
}

build_and_test() {
    need_packages "${build_packages[@]}" "${test_packages[@]}"
    need_peer_commands
    build "$1"
    local filter=()
    [ -n "$2" ] && filter=(-R "$2")
    local failed=build/$1/failed_tests.txt
    rm -f "$failed"
    run_tests "$1" "${filter[@]}" && return
    echo "--- failed, $1"
    tell_failed_tests "$1" | tee "$failed"
    once_more_alone "$1"
}

# Beside hundreds of others a machine may stand still for longer than a router's second. What fails because of that
# passes alone, and is told; a fault fails again. Where more than a few failed, it was no accident.
once_more_alone() {
    local failed most=8
    failed=$(cat "build/$1/Testing/Temporary/LastTestsFailed.log")
    [ "$(wc -l <<<"$failed")" -le "$most" ] || return 1
    echo "--- once more, alone"
    ctest --preset "$1" --rerun-failed --output-on-failure || return 1
    echo "unsteady, $1: failed beside the others, passed alone:"
    echo "$failed"
}

changed() {
    need_packages "${build_packages[@]}" "${test_packages[@]}"
    [ -f build/release/.ninja_deps ] || build release
    python3 -B tests/affected_tests.py build/release release $((jobs * 3)) "$@" && return
    echo "--- failed, release"
    tell_failed_tests release
    return 1
}

lint() {
    need_packages "${build_packages[@]}" "${test_packages[@]}" "${bench_packages[@]}" "${lint_packages[@]}"
    git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
    # What it cannot parse, the compiler can: that is no finding.
    cppcheck --quiet --error-exitcode=1 --enable=warning,performance,portability --inline-suppr \
        --suppress=internalAstError --std=c++20 \
        -I . -I framework/vrdx_utils -I framework/vrdx_framework -I protocols/videohub -I protocols/sierra \
        -I packet_client -I routedriver -I routedriver/backend -I routedriver/router -I routedriver/client -I routedriver/driver \
        framework protocols packet_client routedriver gateway backends tools examples
    build clang
    git ls-files '*.cpp' | xargs -P "$jobs" -n 4 clang-tidy --quiet -p build/clang
    echo "lint: clean"
}

reliability() {
    local fuzz=(--seconds 3)
    if [ "${1-}" = --long ]; then
        export VRDX_LONG=1
        fuzz=(--seconds 600 --runs 10000000)
    fi
    need_packages "${build_packages[@]}" "${test_packages[@]}" "${fuzz_packages[@]}"
    build release
    run_tests release -L 'reliability|model|fuzz'
    sed -n 's/^figure: //p' build/release/Testing/Temporary/LastTest.log
    echo "--- fuzzing"
    fuzz/run.sh "${fuzz[@]}"
}

packages() {
    need_packages "${build_packages[@]}" "${package_packages[@]}" "${package_test_packages[@]}"
    cmake --preset package >/dev/null
    run_tests package -L package
}

coverage() {
    need_packages "${build_packages[@]}" "${test_packages[@]}"
    build coverage
    find build/coverage -name '*.gcda' -delete
    # The shares are worth seeing even when a test fails; the failure is told at the end all the same. An
    # allocation that fails inside the counting itself ends a program there, and would tell nothing of ours;
    # another user's program may not write its counts down, and says so; who builds on the installed library knows
    # nothing of what counts.
    local failed=0
    run_tests coverage -E 'FailingCalls.*/malloc|test_who_may_not_connect_is_told|Installed(Endpoint|Client).test_example_builds' ||
        failed=1
    python3 -B tests/line_coverage.py build/coverage routedriver framework protocols
    return "$failed"
}

case "${1-}" in
-h | --help)
    sed -n '2,14s/^# \{0,1\}//p' "$0"
    ;;
changed)
    changed "${@:2:1}"
    ;;
reliability)
    reliability "${2-}"
    ;;
coverage)
    coverage
    ;;
valgrind)
    need_packages "${build_packages[@]}" "${test_packages[@]}" valgrind
    build release
    tests/under_valgrind.sh build/release $((jobs * 2))
    ;;
packages)
    packages
    ;;
lint)
    lint
    ;;
sanitize)
    build_and_test sanitize "${2-}"
    ;;
*)
    build_and_test release "${1-}"
    ;;
esac
