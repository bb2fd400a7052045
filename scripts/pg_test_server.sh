#!/usr/bin/env bash
# Runs a command beside a throwaway PostgreSQL server, so that the job
# database tests run against PostgreSQL as well as SQLite:
#
#   bash scripts/pg_test_server.sh ctest --output-on-failure
#
# The server lives in a temporary folder, listens only on a socket there, and
# is stopped and removed when the command ends. The command sees the
# connection string in KESTO_TEST_PG. Where no server can be started, the
# command runs all the same and those tests say they were skipped.
set -uo pipefail


bindir=""
for d in /usr/lib/postgresql/*/bin; do
  [ -x "$d/initdb" ] && [ -x "$d/pg_ctl" ] && bindir="$d"
done
if [ -z "$bindir" ] && command -v initdb >/dev/null && command -v pg_ctl >/dev/null; then
  bindir="$(dirname "$(command -v initdb)")"
fi
if [ -z "$bindir" ]; then
  echo "pg_test_server: no PostgreSQL server installed (initdb, pg_ctl); the PostgreSQL half of the job database tests is skipped" >&2
  exec "$@"
fi

dir="$(mktemp -d /tmp/kesto-pg.XXXXXX)"
as_server=()
if [ "$(id -u)" -eq 0 ]; then
  # The server refuses to run as root.
  if id postgres >/dev/null 2>&1 && command -v runuser >/dev/null; then
    chown postgres "$dir"
    as_server=(runuser -u postgres --)
  else
    echo "pg_test_server: running as root without a postgres user; the PostgreSQL half of the job database tests is skipped" >&2
    rmdir "$dir"
    exec "$@"
  fi
fi

stop() {
  "${as_server[@]}" "$bindir/pg_ctl" -D "$dir/data" -m immediate stop >/dev/null 2>&1
  rm -rf "$dir"
}

if ! "${as_server[@]}" "$bindir/initdb" -D "$dir/data" -U kesto -A trust -E UTF8 --no-sync >"$dir/initdb.log" 2>&1 ||
   ! "${as_server[@]}" "$bindir/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
       -o "-k $dir -c listen_addresses='' -p 5432 -F -c max_connections=50" start >/dev/null 2>&1; then
  echo "pg_test_server: the server did not start:" >&2
  tail -5 "$dir/initdb.log" "$dir/server.log" 2>/dev/null >&2
  stop
  echo "pg_test_server: the PostgreSQL half of the job database tests is skipped" >&2
  exec "$@"
fi
trap stop EXIT
export KESTO_TEST_PG="host=$dir port=5432 user=kesto dbname=postgres"
echo "pg_test_server: PostgreSQL running for the tests ($KESTO_TEST_PG)" >&2
"$@"
