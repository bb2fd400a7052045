#!/usr/bin/env bash
# The sanitizer leg: builds the library and the hostile-input tests (every
# export sent bad requests, every malformed file and request of the shared
# corpus) with clang under the address and undefined-behaviour sanitizers
# into build-sanitize/ and runs them. Any report fails the leg. CI runs it
# through scripts/test.sh; docs/hostile-input.md gives its time budget.
# The fuzz targets are built too and each is replayed over its seeds (every
# past finding among them), then fuzzed briefly:
#   KESTO_SANITIZE_FUZZ=0   leaves the fuzz targets out
#   KESTO_FUZZ_SECONDS=S    seconds each target runs, seeds included (default
#                           10; 0: the seeds only)
#   KESTO_FUZZ_COVERED      folders whose objects carry the fuzzer's coverage
#                           (default "adaptor;engine/formats;engine/store": the
#                           rest is compiled as without fuzz targets); set it
#                           empty for coverage of every object, as long runs of
#                           scripts/fuzz.sh on a quiet machine want
set -euo pipefail
cd "$(dirname "$0")/.."
jobs="${KESTO_JOBS:-$(nproc)}"
fuzz="${KESTO_SANITIZE_FUZZ:-1}"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S . -B build-sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-gline-tables-only -O1" \
  -DCMAKE_CXX_COMPILER=clang++ "${launcher[@]}" \
  -DKESTO_SANITIZE=ON -DKESTO_FUZZ="$([ "$fuzz" = 1 ] && echo ON || echo OFF)" -DKESTO_BENCH=OFF \
  -DKESTO_FUZZ_COVERED="${KESTO_FUZZ_COVERED-adaptor;engine/formats;engine/store}" \
  -DKESTO_TEST_FOLDERS="hostile" >/dev/null
cmake --build build-sanitize -j "$jobs"

export ASAN_OPTIONS="detect_leaks=0:abort_on_error=1:allocator_may_return_null=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
(cd build-sanitize && ctest --output-on-failure -j "$jobs")
if [ "$fuzz" = 1 ]; then bash scripts/fuzz.sh replay "${KESTO_FUZZ_SECONDS:-10}"; fi
