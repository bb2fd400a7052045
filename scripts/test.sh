#!/usr/bin/env bash
# Builds Kesto and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
cd build
bash ../scripts/pg_test_server.sh ctest --output-on-failure -j "$(nproc)"
