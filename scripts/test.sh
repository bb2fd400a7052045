#!/usr/bin/env bash
# Builds Kesto and runs every test, then the sanitizer leg (the library, the
# hostile-input tests and the fuzz targets' seed replay under the address
# and undefined-behaviour sanitizers, scripts/sanitize.sh). Prints the time
# of each leg; docs/hostile-input.md gives the
# budget of CI's 30 minutes on two cores.
#   KESTO_SANITIZE_LEG=0   skips the sanitizer leg
#   KESTO_SANITIZE_START   the latest elapsed second at which the leg still
#                          starts (default 1140: the leg needs about 9 of
#                          CI's 30 minutes); later, it is skipped with a note
#                          rather than letting CI overrun
#   KESTO_CI_BUDGET        seconds the whole run may take (default 1680, two
#                          minutes inside CI's 30); a sanitizer leg still
#                          running then is stopped with a WARNING. A
#                          sanitizer report or a failing test fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
start=$SECONDS
leg() { # name, command...
  local name="$1" t=$SECONDS
  shift
  "$@"
  echo "test.sh: $name took $((SECONDS - t)) s (total $((SECONDS - start)) s)"
}
# CI builds without the benchmarks (about two minutes of a cold build);
# KESTO_BENCH=ON builds them too.
leg build env KESTO_BENCH="${KESTO_BENCH:-OFF}" bash scripts/build.sh
leg tests bash -c 'cd build && bash ../scripts/pg_test_server.sh ctest --output-on-failure -j "$(nproc)"'
latest="${KESTO_SANITIZE_START:-1140}"
if [ "${KESTO_SANITIZE_LEG:-1}" = 0 ]; then
  echo "test.sh: sanitizer leg skipped (KESTO_SANITIZE_LEG=0)"
elif [ $((SECONDS - start)) -gt "$latest" ]; then
  echo "test.sh: WARNING: sanitizer leg skipped: $((SECONDS - start)) s already spent, more than $latest s" >&2
else
  budget="${KESTO_CI_BUDGET:-1680}"
  t=$SECONDS
  rc=0
  timeout --kill-after=20 "$((budget - (SECONDS - start)))" bash scripts/sanitize.sh || rc=$?
  if [ "$rc" = 124 ] || [ "$rc" = 137 ]; then
    echo "test.sh: WARNING: sanitizer leg stopped after $((SECONDS - t)) s at the ${budget} s budget" >&2
  elif [ "$rc" != 0 ]; then
    exit "$rc"
  else
    echo "test.sh: sanitizer leg took $((SECONDS - t)) s (total $((SECONDS - start)) s)"
  fi
fi
