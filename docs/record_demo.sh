#!/usr/bin/env bash
# Records what ./demo.sh prints into docs/demo.txt, and puts an excerpt of it into the README.
#
#   docs/record_demo.sh           runs the demo and records it
#   docs/record_demo.sh --check   only says whether the README shows the excerpt of the recording there is
set -euo pipefail
cd "$(dirname "$0")/.."

recording=docs/demo.txt
# What differs from run to run: what is installed and built on the way, numbers of processes, addresses.
without_the_passing() {
    sed -E -e '/^(Installing |Building )/d' \
        -e 's/^(Reaped ident proc) [0-9]+$/\1 N/' -e 's/, pid [0-9]+/, pid N/' -e 's/0x[0-9a-f]+/0xN/' \
        -e "s#$PWD#.#g" | sed -e '/./,$!d'
}

# The README with these steps of the recording between its marks.
readme_with_excerpt() {
    [ "$(grep -c '^<!-- recording \(begins\|ends\)' README.md)" -eq 2 ] || {
        echo "README.md has lost the marks of the recording" >&2
        return 1
    }
    sed '/^<!-- recording begins/q' README.md
    echo '```'
    awk -v RS= '/^# A take: input/ || /^# A take that the router/ || /^# A name/ { print gap $0; gap = "\n" }' "$recording"
    echo '```'
    sed -n '/^<!-- recording ends/,$p' README.md
}

case "${1-}" in
"")
    ./demo.sh </dev/null 2>&1 | without_the_passing >"$recording.new"
    mv "$recording.new" "$recording"
    readme_with_excerpt >README.md.new
    mv README.md.new README.md
    ;;
--check)
    readme_with_excerpt | cmp -s - README.md || {
        echo "README.md does not show what $recording says; run docs/record_demo.sh" >&2
        exit 1
    }
    ;;
*)
    sed -n '2,5s/^# \{0,1\}//p' "$0"
    [ "$1" = -h ] || [ "$1" = --help ] || exit 2
    ;;
esac
