#!/usr/bin/env bash
# Builds Kesto and runs every test, then the sanitizer leg (the library and
# the hostile-input tests under the address and undefined-behaviour
# sanitizers). Prints the time of each leg; docs/hostile-input.md gives the
# budget of CI's 30 minutes on two cores.
#   KESTO_SANITIZE_LEG=0   skips the sanitizer leg
#   KESTO_SANITIZE_START   the latest elapsed second at which the leg still
#                          starts (default 1140: the leg needs about 9 of
#                          CI's 30 minutes); later, it is skipped with a note
#                          rather than letting CI overrun
set -euo pipefail
cd "$(dirname "$0")/.."
start=$SECONDS
leg() { # name, command...
  local name="$1" t=$SECONDS
  shift
  "$@"
  echo "test.sh: $name took $((SECONDS - t)) s (total $((SECONDS - start)) s)"
}
leg build bash scripts/build.sh
leg tests bash -c 'cd build && bash ../scripts/pg_test_server.sh ctest --output-on-failure -j "$(nproc)"'
latest="${KESTO_SANITIZE_START:-1140}"
if [ "${KESTO_SANITIZE_LEG:-1}" = 0 ]; then
  echo "test.sh: sanitizer leg skipped (KESTO_SANITIZE_LEG=0)"
elif [ $((SECONDS - start)) -gt "$latest" ]; then
  echo "test.sh: WARNING: sanitizer leg skipped: $((SECONDS - start)) s already spent, more than $latest s" >&2
else
  leg "sanitizer leg" bash scripts/sanitize.sh
fi
