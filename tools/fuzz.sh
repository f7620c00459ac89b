#!/bin/sh
# Runs every fuzz target of a build for some seconds, from its seeds and from what earlier runs found.
#
#   tools/fuzz.sh BUILD_DIR SECONDS
#
# A single allocation above 64 MiB counts as a failure: sizes in a file must be checked before they are believed.
# The corpus grows in BUILD_DIR/corpus/NAME; inputs that fail are left in BUILD_DIR/failures.
set -eu
top=$(cd "$(dirname "$0")/.." && pwd)
build=$1
export FUZZ_SECONDS="$2"

targets=$(find "$build/bin" -name '*_fuzz' -type f -perm -u+x | sort)
[ -n "$targets" ] || { echo "fuzz: $build has no target"; exit 1; }
mkdir -p "$build/failures" "$build/logs"
export top build

run_one='
name=$(basename "$1" _fuzz)
seeds="$top/fuzz/seeds/$name"
corpus="$build/corpus/$name"
log="$build/logs/$name.log"
mkdir -p "$corpus"
set -- "$1" -max_total_time="$FUZZ_SECONDS" -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=64 -print_final_stats=1 \
  -artifact_prefix="$build/failures/$name-" "$corpus"
[ ! -d "$seeds" ] || set -- "$@" "$seeds"
if "$@" >"$log" 2>&1; then result=ok; else result=FAILED; fi
printf "%-24s %-6s %9s runs, %5s inputs kept\n" "$name" "$result" \
  "$(sed -n "s/^stat::number_of_executed_units: *//p" "$log")" "$(find "$corpus" -type f | wc -l)"
if [ "$result" = FAILED ]; then
  tail -n 40 "$log"
  exit 1
fi'
status=0
printf '%s\n' "$targets" | xargs -P "$(nproc)" -I{} sh -c "$run_one" fuzz {} || status=1
[ $status -eq 0 ] || echo "fuzz: failing inputs are in $build/failures"
exit $status
