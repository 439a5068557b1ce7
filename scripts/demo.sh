#!/usr/bin/env bash
# What `make demo` runs: `corvane demo`, a real DHCP client (busybox udhcpc) getting an
# address from Corvane across a virtual cable between two private network namespaces. The
# demo needs root to create the namespaces; it runs for 40 seconds, long enough for the
# one-minute lease to be renewed once, and removes everything it created when it ends.
set -euo pipefail
build=${1:?build folder}
seconds=${DEMO_SECONDS:-40}
if [ "$(id -u)" -ne 0 ]; then
  echo "corvane demo creates private network namespaces and needs root. Run it with: sudo make demo" >&2
  echo "(or, once built: sudo $build/cli/corvane demo --seconds $seconds)" >&2
  exit 1
fi
exec "$build/cli/corvane" demo --seconds "$seconds"
