#!/usr/bin/env bash
# Runs every fuzz target for the given number of seconds (default 60), one
# after the other, from its committed seed corpus and regression inputs.
# Builds the targets first in build-fuzz (clang, libFuzzer, ASan+UBSan).
#
#   fuzz/run.sh [seconds] [target...]
#
# New coverage is kept in build-fuzz/corpus/<target>/ (not committed). A
# finding stops that target and leaves its input as
# build-fuzz/findings/<target>/crash-*, leak-*, timeout-* or oom-*; the
# script then exits non-zero. Add each finding, once understood, to
# fuzz/regressions/<target>/ so that the normal test run replays it.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(dataset file dicomdir pdu association codec)

build=build-fuzz
if [ ! -f "$build/CMakeCache.txt" ]; then
    CC=clang CXX=clang++ cmake -S . -B "$build" -DBRENIK3_FUZZ=ON -DBRENIK3_TESTS=OFF \
        -DBRENIK3_TOOLS=OFF -DBRENIK3_BENCHMARKS=OFF >/dev/null
fi
cmake --build "$build" -j2 --target "${targets[@]/#/fuzz_}"

failed=()
for target in "${targets[@]}"; do
    work="$build/corpus/$target"
    findings="$build/findings/$target"
    mkdir -p "$work" "$findings"
    echo "== fuzz_$target for ${seconds}s"
    # Leak checks stay on; -rss_limit_mb and -timeout turn unbounded
    # allocation and hangs into findings too.
    inputs=("$work" "fuzz/corpus/$target")
    # Only targets that have had findings have a regressions folder.
    [ -d "fuzz/regressions/$target" ] && inputs+=("fuzz/regressions/$target")
    if ! "$build/fuzz/fuzz_$target" "${inputs[@]}" \
        -max_total_time="$seconds" -max_len=65536 -timeout=20 -rss_limit_mb=2048 \
        -artifact_prefix="$findings/" -print_final_stats=1 2>"$build/findings/$target.log"; then
        failed+=("$target")
        grep -E 'ERROR|runtime error|SUMMARY|Test unit written' "$build/findings/$target.log" | head -20 || true
    fi
    grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb)|DONE' "$build/findings/$target.log" || true
done

if [ ${#failed[@]} -gt 0 ]; then
    echo "findings in: ${failed[*]} (inputs under $build/findings/)"
    exit 1
fi
echo "no findings"
