#!/usr/bin/env bash
# Builds Kesto and runs its demonstration job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
exec build/kesto --quiet --config examples demo
