#!/usr/bin/env bash
# Full DISCOVER-OFFER-REQUEST-ACK exchanges per second through the real corvane binary,
# between two private network namespaces joined by a veth pair, for 1,000 and 10,000
# simulated clients (bench/dora_load.py). The server saves the whole lease file after every
# change, so each size runs three times: with the lease file on the disk, on tmpfs, and with
# no saving at all (a directory stands at the lease file's path, so the server cannot read
# it and keeps its leases in memory only); the gap to the last is what saving costs. Every
# run is bounded in clients and in time; all traffic stays between the two namespaces,
# which are removed at the end.
set -euo pipefail
build=${1:?build folder}
root=$(cd "$(dirname "$0")/.." && pwd)
corvane=$(cd "$build" && pwd)/cli/corvane
python=/usr/bin/python3
sizes=${DORA_BENCH_SIZES:-1000 10000}
run_seconds=${DORA_BENCH_SECONDS:-150}

if [ "$(id -u)" -ne 0 ]; then
  echo "dora_load_bench: skipped; it creates network namespaces and needs root (sudo make bench)."
  exit 0
fi
if [ ! -x "$corvane" ]; then
  echo "dora_load_bench: skipped; $corvane is not built." >&2
  exit 0
fi

tag=cvbench-$$
server_ns=$tag-server
client_ns=$tag-client
disk=$(mktemp -d "$(cd "$build" && pwd)/.dora-bench-XXXXXX")
memory=$(mktemp -d /dev/shm/corvane-dora-bench-XXXXXX)
server_pid=

cleanup() {
  if [ -n "$server_pid" ]; then
    kill -KILL "$server_pid" 2>/dev/null || true
    wait "$server_pid" 2>/dev/null || true
  fi
  ip netns delete "$client_ns" 2>/dev/null || true
  ip netns delete "$server_ns" 2>/dev/null || true
  rm -rf "$disk" "$memory"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

ip netns add "$server_ns"
ip netns add "$client_ns"
ip -n "$server_ns" link add bench-srv type veth peer name bench-cli netns "$client_ns"
ip -n "$server_ns" address add 192.168.64.1/18 dev bench-srv
for ns in "$server_ns" "$client_ns"; do ip -n "$ns" link set lo up; done
ip -n "$server_ns" link set bench-srv up
ip -n "$client_ns" link set bench-cli up

# One run: a fresh lease file in $2, $1 clients; prints one result line.
measure() {
  local clients=$1 folder=$2 label=$3
  rm -rf "${folder:?}"/*
  if [ "$label" = "not saved" ]; then
    mkdir "$folder/leases.json"
  fi
  HOME=$folder XDG_CONFIG_HOME=$folder/config XDG_DATA_HOME=$folder/data \
    XDG_STATE_HOME=$folder/state \
    ip netns exec "$server_ns" "$corvane" serve --interface bench-srv --virtual --no-presence \
    --server-ip 192.168.64.1 --prefix 18 --range 192.168.64.10-192.168.127.250 --lease 1h \
    --lease-file "$folder/leases.json" --log-dir "$folder/logs" >"$folder/server.out" 2>&1 &
  server_pid=$!
  for _ in $(seq 100); do
    grep -q "  START " "$folder/server.out" 2>/dev/null && break
    sleep 0.1
  done
  if ! grep -q "  START " "$folder/server.out"; then
    echo "dora_load_bench: the server did not start:" >&2
    cat "$folder/server.out" >&2
    exit 1
  fi
  local result
  result=$(ip netns exec "$client_ns" timeout $((run_seconds + 30)) "$python" \
    "$root/bench/dora_load.py" --interface bench-cli --clients "$clients" --window 64 \
    --seconds "$run_seconds")
  kill -TERM "$server_pid"
  wait "$server_pid" || true
  server_pid=
  local size=0
  if [ -f "$folder/leases.json" ]; then
    size=$(stat -c %s "$folder/leases.json")
  fi
  "$python" - "$result" "$label" "$size" <<'EOF'
import json, sys
result, label, size = json.loads(sys.argv[1]), sys.argv[2], int(sys.argv[3])
print(f"{result['clients']:>6} clients  lease file {label:<9}  "
      f"{result['exchanges_per_second']:>8.1f} DORA/s  "
      f"median {result['median_exchange_ms']} ms  completed {result['completed']}  "
      f"failed {result['failed']}  unfinished {result['unfinished']}  "
      f"in {result['seconds']} s  final file {size / 1e6:.2f} MB")
EOF
}

for clients in $sizes; do
  measure "$clients" "$disk" "on disk"
  measure "$clients" "$memory" "on tmpfs"
  measure "$clients" "$memory" "not saved"
done
