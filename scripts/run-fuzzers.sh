#!/usr/bin/env bash
# Runs every fuzz target in the given build folder for a bounded time, starting from its
# seed corpus in fuzz/corpus/<target>/. New inputs go to a scratch copy, never to the
# committed corpus. Fails when a target finds a crash. With a third argument each target runs
# that many inputs instead (the seconds, when not 0, still bound it).
set -euo pipefail
build=${1:?build folder}
seconds=${2:-20}
runs=${3:-}
limits=(-max_total_time="$seconds")
[ -n "$runs" ] && limits+=(-runs="$runs" -print_final_stats=1)
root=$(cd "$(dirname "$0")/.." && pwd)
# The file targets write, load and save a scratch file per input; on a memory file system
# their fsyncs cost nothing, which makes them about ten times faster.
if [ -d /dev/shm ] && [ -w /dev/shm ]; then
  export TMPDIR=/dev/shm
fi
for source in "$root"/fuzz/*_fuzz.cpp; do
  [ -e "$source" ] || continue
  name=$(basename "$source" .cpp)
  work="$root/fuzz/corpus-work/$name"
  rm -rf "$work"; mkdir -p "$work"
  cp -r "$root/fuzz/corpus/$name/." "$work/" 2>/dev/null || true
  if [ -z "$runs" ]; then bound="${seconds}s"
  elif [ "$seconds" = 0 ]; then bound="$runs inputs"
  else bound="$runs inputs or ${seconds}s"; fi
  echo "fuzz: $name for $bound"
  "$build/fuzz/$name" "${limits[@]}" -timeout=5 -rss_limit_mb=2048 \
      -artifact_prefix="$root/fuzz/corpus-work/$name-" "$work" 2>"$root/fuzz/corpus-work/$name.log" \
    || { tail -n 40 "$root/fuzz/corpus-work/$name.log"; echo "fuzz: $name found a failure" >&2; exit 1; }
  grep -E '^Done|^#[0-9]+.*DONE' "$root/fuzz/corpus-work/$name.log" | tail -n 1 || true
done
