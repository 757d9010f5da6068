#!/usr/bin/env bash
# Rebuilds the seed corpora under fuzz/corpus/ from data the library itself
# writes (fuzz/make_seeds.cpp). Uses the fuzz build (build-fuzz), configuring
# it when needed; the old corpora are replaced.
#
#   fuzz/make-seeds.sh
set -euo pipefail
cd "$(dirname "$0")/.."

build=build-fuzz
if [ ! -f "$build/CMakeCache.txt" ]; then
    CC=clang CXX=clang++ cmake -S . -B "$build" -DBRENIK3_FUZZ=ON -DBRENIK3_TESTS=OFF \
        -DBRENIK3_TOOLS=OFF -DBRENIK3_BENCHMARKS=OFF >/dev/null
fi
cmake --build "$build" -j2 --target fuzz_make_seeds
rm -rf fuzz/corpus
"$build/fuzz/fuzz_make_seeds" fuzz/corpus
