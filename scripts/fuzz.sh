#!/usr/bin/env bash
# Runs the fuzz targets built in build-sanitize/ (KESTO_SANITIZE_FUZZ=1
# bash scripts/sanitize.sh builds them).
#   scripts/fuzz.sh replay [SECONDS]       each target over its seeds, then (with
#                                          SECONDS) mutates them until SECONDS have
#                                          gone; what CI runs
#   scripts/fuzz.sh SECONDS [TARGET...]    each target (default: all) for SECONDS
# Seeds (the shared test data, the malformed corpus and the inputs of past
# findings under tests/hostile/data/<target>/) are gathered in
# build-sanitize/fuzz-seeds/<target>/; long runs grow
# build-sanitize/fuzz-corpus/<target>/, findings land in
# build-sanitize/fuzz-findings/; logs: build-sanitize/fuzz-<target>.log (replay),
# build-sanitize/fuzz-<target>-run.log (timed run).
set -euo pipefail
cd "$(dirname "$0")/.."
root="$(pwd)"
bin="$root/build-sanitize/tests/fuzz"
data="$root/../shared/testdata"
work="$root/build-sanitize"
[ -d "$bin" ] || { echo "fuzz: build first (KESTO_SANITIZE_FUZZ=1 bash scripts/sanitize.sh)" >&2; exit 1; }

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=0:allocator_may_return_null=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

# Seeds per target, gathered afresh each time (cheap: a few hundred small files).
seed() {
  local target="$1" dir="$work/fuzz-seeds/$1"
  rm -rf "$dir"
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
  if [ -d "$root/tests/hostile/data/$target" ]; then cp "$root/tests/hostile/data/$target"/* "$dir"/; fi
}

targets=(process gerber excellon identify odb_open)
mode="${1:-replay}"
shift || true
brief=0
if [ "$mode" = replay ] && [ $# -gt 0 ]; then brief="$1"; shift; fi
[ $# -gt 0 ] && targets=("$@")
mkdir -p "$work/fuzz-findings"
for t in "${targets[@]}"; do
  seed "$t"
  if [ "$mode" = replay ]; then
    # Each seed once, with a per-input time limit (a hang fails too); then,
    # given SECONDS, mutations of them into a throwaway corpus until then.
    # The outer timeout only guards against a replay that never ends.
    scratch="$(mktemp -d)"
    if [ "$brief" -gt 0 ]; then run=(-max_total_time="$brief" "$scratch"); else run=(-runs=0); fi
    start=$SECONDS
    (cd "$work/fuzz-findings" && timeout --kill-after=10 "$((brief + 300))" \
      "$bin/fuzz_$t" "${run[@]}" -timeout=25 -rss_limit_mb=4096 -print_final_stats=1 "$work/fuzz-seeds/$t") \
      >"$work/fuzz-$t.log" 2>&1 \
      || { tail -40 "$work/fuzz-$t.log"; rm -rf "$scratch"; echo "fuzz: $t failed (log: $work/fuzz-$t.log)" >&2; exit 1; }
    rm -rf "$scratch"
    echo "fuzz: $t: $(ls "$work/fuzz-seeds/$t" | wc -l) seeds replayed, $(grep -o 'stat::number_of_executed_units: [0-9]*' "$work/fuzz-$t.log" | grep -o '[0-9]*$') runs in $((SECONDS - start)) s"
  else
    mkdir -p "$work/fuzz-corpus/$t"
    (cd "$work/fuzz-findings" && "$bin/fuzz_$t" -max_total_time="$mode" -timeout=25 -rss_limit_mb=4096 \
      -print_final_stats=1 "$work/fuzz-corpus/$t" "$work/fuzz-seeds/$t") >"$work/fuzz-$t-run.log" 2>&1 || true
    grep -E '^#[0-9]+.*(DONE|pulse)|stat::number_of_executed_units|stat::average_exec_per_sec|cov:' "$work/fuzz-$t-run.log" | tail -3
    echo "fuzz: $t corpus $(ls "$work/fuzz-corpus/$t" | wc -l) inputs; findings: $(ls "$work/fuzz-findings" | wc -l)"
  fi
done
