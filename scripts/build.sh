#!/usr/bin/env bash
# Configures and builds Kesto into build/ (library, host, tests, benchmarks;
# KESTO_BENCH=OFF leaves the benchmarks out).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKESTO_BENCH="${KESTO_BENCH:-ON}" >/dev/null
cmake --build build -j "$(nproc)"
