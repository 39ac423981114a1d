#!/bin/sh
# How many objects a change to a header rebuilds, from the dependencies Ninja recorded in the
# build folder (default build/; run a build first). With no header given, the headers where a
# new parameter or engine field is added: the three parts of the parameter value (run, genome and
# population statements) and the engine.
set -e
BUILD=${BUILD:-build}
if [ ! -f "$BUILD/.ninja_deps" ]; then
    echo "rebuild_count: no Ninja build in $BUILD; run 'make build' first" >&2
    exit 1
fi
[ $# -gt 0 ] || set -- src/param/run_params.h src/param/genome_params.h src/param/pop_params.h src/app/simclass.h
deps=$(mktemp)
trap 'rm -f "$deps"' EXIT
ninja -C "$BUILD" -t deps > "$deps"
for header in "$@"; do
    if [ ! -f "$header" ]; then
        echo "rebuild_count: no header $header" >&2
        exit 1
    fi
    path=$(cd "$(dirname "$header")" && pwd)/$(basename "$header")
    awk -v h="$path" '/^[^ ].*\.o:/ {obj = $1} $1 == h {print obj}' "$deps" | sort -u |
        awk -v h="$header" '
            { n++; if ($0 ~ /davok_core|\/src\//) core++; else if ($0 ~ /tests/) t++; else other++ }
            END { printf "%-28s %3d objects: %3d engine, %3d tests, %3d benchmarks and tools\n", h, n, core, t, other }'
done
