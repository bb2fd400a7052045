#!/usr/bin/env bash
# The sanitizer leg: builds the library, the engine, adaptor and hostile-input
# tests and the fuzz targets with clang under the address and undefined-
# behaviour sanitizers into build-sanitize/, runs those tests, then replays
# each fuzz target over its seeds (the shared test data and the malformed
# corpus). Any report fails the leg.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs="${KESTO_JOBS:-$(nproc)}"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S . -B build-sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-gline-tables-only -O1" \
  -DCMAKE_CXX_COMPILER=clang++ "${launcher[@]}" \
  -DKESTO_SANITIZE=ON -DKESTO_FUZZ=ON -DKESTO_BENCH=OFF \
  -DKESTO_TEST_FOLDERS="adaptor;engine;hostile" >/dev/null
cmake --build build-sanitize -j "$jobs"

export ASAN_OPTIONS="detect_leaks=0:abort_on_error=1:allocator_may_return_null=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
(cd build-sanitize && ctest --output-on-failure -j "$jobs")
bash scripts/fuzz.sh replay
