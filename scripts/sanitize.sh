#!/usr/bin/env bash
# The sanitizer leg: builds the library and the hostile-input tests (every
# export sent bad requests, every malformed file and request of the shared
# corpus) with clang under the address and undefined-behaviour sanitizers
# into build-sanitize/ and runs them. Any report fails the leg. CI runs it
# through scripts/test.sh; docs/hostile-input.md gives its time budget.
#   KESTO_SANITIZE_FUZZ=1   also builds the fuzz targets (libFuzzer) and
#                           replays each over its seeds, as scripts/fuzz.sh
#                           needs
#   KESTO_FUZZ_SECONDS=S    then fuzzes each target from its seeds until S
#                           seconds have gone (default 0: the seeds only)
#   KESTO_FUZZ_COVERED="adaptor;engine/formats"
#                           gives only these folders the fuzzer's coverage
#                           (default: every object)
set -euo pipefail
cd "$(dirname "$0")/.."
jobs="${KESTO_JOBS:-$(nproc)}"
fuzz="${KESTO_SANITIZE_FUZZ:-0}"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S . -B build-sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-gline-tables-only -O1" \
  -DCMAKE_CXX_COMPILER=clang++ "${launcher[@]}" \
  -DKESTO_SANITIZE=ON -DKESTO_FUZZ="$([ "$fuzz" = 1 ] && echo ON || echo OFF)" -DKESTO_BENCH=OFF \
  -DKESTO_FUZZ_COVERED="${KESTO_FUZZ_COVERED:-}" \
  -DKESTO_TEST_FOLDERS="hostile" >/dev/null
cmake --build build-sanitize -j "$jobs"

export ASAN_OPTIONS="detect_leaks=0:abort_on_error=1:allocator_may_return_null=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
(cd build-sanitize && ctest --output-on-failure -j "$jobs")
if [ "$fuzz" = 1 ]; then bash scripts/fuzz.sh replay "${KESTO_FUZZ_SECONDS:-0}"; fi
