#!/usr/bin/env bash
# Runs every benchmark binary in the given build folder and prints their reports.
set -euo pipefail
build=${1:?build folder}
root=$(cd "$(dirname "$0")/.." && pwd)
for source in "$root"/bench/*_bench.cpp; do
  [ -e "$source" ] || continue
  name=$(basename "$source" .cpp)
  echo "== $name"
  "$build/bench/$name" --benchmark_min_time=0.2
done
for script in "$root"/bench/*_bench.sh; do
  [ -e "$script" ] || continue
  echo "== $(basename "$script" .sh)"
  bash "$script" "$build"
done
