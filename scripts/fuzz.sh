#!/usr/bin/env bash
# Runs the fuzz targets built in build-sanitize/ (KESTO_SANITIZE_FUZZ=1
# bash scripts/sanitize.sh builds them).
#   scripts/fuzz.sh replay                 each target once over its seeds
#   scripts/fuzz.sh SECONDS [TARGET...]    each target (default: all) for SECONDS
# Corpora grow under build-sanitize/fuzz-corpus/<target>/, findings land in
# build-sanitize/fuzz-findings/.
set -euo pipefail
cd "$(dirname "$0")/.."
root="$(pwd)"
bin="$root/build-sanitize/tests/fuzz"
data="$root/../shared/testdata"
work="$root/build-sanitize"
[ -d "$bin" ] || { echo "fuzz: build first (KESTO_SANITIZE_FUZZ=1 bash scripts/sanitize.sh)" >&2; exit 1; }

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=0:allocator_may_return_null=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

# Seeds per target, copied once into the target's corpus.
seed() {
  local target="$1" dir="$work/fuzz-corpus/$1"
  [ -d "$dir" ] && return
  mkdir -p "$dir"
  case "$target" in
    process)
      cp "$data"/malformed/requests/* "$dir"/
      printf '%s' '{"func":"ADD_LINE","paras":[{"job":"j"},{"step":"s"},{"layers":["l"]},{"start_x":1},{"end_x":2}]}' >"$dir/add-line"
      printf '%s' '{"func":"SELECT_FEATURES","paras":{"job":"j","step":"s","layer":"l"}}' >"$dir/select" ;;
    gerber)
      cp "$data"/malformed/gerber/* "$dir"/
      find "$data/gerber" -name '*.gbr' -size -64k -exec cp {} "$dir"/ \; ;;
    excellon)
      cp "$data"/malformed/excellon/* "$dir"/
      find "$data/gerber" \( -name '*.drl' -o -name '*.xln' -o -name '*.txt' \) -size -64k -exec cp {} "$dir"/ \; ;;
    identify)
      cp "$data"/malformed/gerber/* "$data"/malformed/excellon/* "$dir"/
      find "$data/gerber" -type f -size -16k -exec cp {} "$dir"/ \; ;;
    odb_open)
      # A small real job archive: the sample job's matrix and one layer.
      local tmp; tmp="$(mktemp -d)"
      tar -xzf "$data/odb/sample_design.tgz" -C "$tmp"
      local job; job="$(ls "$tmp")"
      (cd "$tmp" && tar -czf "$dir/small.tgz" "$job/matrix" "$job/misc" \
        "$(cd "$tmp" && find "$job/steps" -path '*/layers/*/features*' | head -1)" 2>/dev/null || true)
      rm -rf "$tmp" ;;
  esac
}

targets=(process gerber excellon identify odb_open)
mode="${1:-replay}"
shift || true
[ $# -gt 0 ] && targets=("$@")
mkdir -p "$work/fuzz-findings"
for t in "${targets[@]}"; do
  seed "$t"
  if [ "$mode" = replay ]; then
    # Each seed once, with a per-input time limit: a hang fails the leg too.
    "$bin/fuzz_$t" -runs=0 -timeout=25 -rss_limit_mb=4096 "$work/fuzz-corpus/$t" 2>"$work/fuzz-$t.log" \
      || { tail -40 "$work/fuzz-$t.log"; echo "fuzz: $t failed over its seeds" >&2; exit 1; }
    echo "fuzz: $t replayed $(ls "$work/fuzz-corpus/$t" | wc -l) seeds"
  else
    (cd "$work/fuzz-findings" && "$bin/fuzz_$t" -max_total_time="$mode" -timeout=25 -rss_limit_mb=4096 \
      -print_final_stats=1 "$work/fuzz-corpus/$t") >"$work/fuzz-$t.log" 2>&1 || true
    grep -E '^#[0-9]+.*(DONE|pulse)|stat::number_of_executed_units|cov:' "$work/fuzz-$t.log" | tail -2
  fi
done
