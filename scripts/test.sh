#!/usr/bin/env bash
# Builds Kesto and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
cd build
bash ../scripts/pg_test_server.sh ctest --output-on-failure -j "$(nproc)"
cd ..
# The sanitizer leg (the engine, adaptor and hostile-input tests and the fuzz
# seeds under the address and undefined-behaviour sanitizers) runs when
# KESTO_SANITIZE_LEG=1; it is not yet timed inside CI's budget.
if [ "${KESTO_SANITIZE_LEG:-0}" = 1 ]; then bash scripts/sanitize.sh; fi
