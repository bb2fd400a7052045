#!/usr/bin/env bash
# Builds Kesto and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
cd build
ctest --output-on-failure -j "$(nproc)"
cd ..
# The sanitizer leg: the engine, adaptor and hostile-input tests and the fuzz
# seeds under the address and undefined-behaviour sanitizers.
[ "${KESTO_SKIP_SANITIZE:-0}" = 1 ] || bash scripts/sanitize.sh
