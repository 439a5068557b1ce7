#!/usr/bin/env bash
# What `make demo` runs. Until the server runtime exists this is the unit suite of the
# engine built so far, shown test by test.
set -euo pipefail
build=${1:?build folder}
if [ -x "$build/cli/corvane" ] && "$build/cli/corvane" demo --help >/dev/null 2>&1; then
  if [ "$(id -u)" -ne 0 ]; then
    echo "corvane demo creates private network namespaces and needs root: run 'sudo make demo'." >&2
    exit 1
  fi
  exec "$build/cli/corvane" demo
fi
echo "The corvane demo is not built yet; running the engine's unit tests instead."
ctest --test-dir "$build" -L unit --output-on-failure
