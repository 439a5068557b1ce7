#!/usr/bin/env bash
# DORA exchanges per second of corvane serve against Kea's kea-dhcp4 (memfile, persist on),
# driven by Kea's perfdhcp, side by side in one run: two private network namespaces joined by
# a veth pair, server pinned to CPU 0 and generator to CPU 1, servers alternated for each
# client count and rate. perfdhcp's own packets carry giaddr like a relay, which a server for
# directly attached devices drops, so it runs in template mode with client-built DISCOVER
# and REQUEST templates (giaddr 0, hops 0, broadcast flag set); since its socket is bound to
# its own address and port 67, one nftables rule in its namespace turns the replies to
# 255.255.255.255:68 into replies to that address and port. Every run is bounded by PERF_SECONDS
# (8 s); PERF_CLIENTS, PERF_RATES and PERF_ROUNDS make longer runs. All traffic stays in the
# two namespaces, which are removed at the end with every process started here.
set -euo pipefail
build=${1:?build folder}
corvane=$(cd "$build" && pwd)/cli/corvane
seconds=${PERF_SECONDS:-8}
client_counts=${PERF_CLIENTS:-1000 10000}
rates=${PERF_RATES:-0 10000}
rounds=${PERF_ROUNDS:-1}

if [ "$(id -u)" -ne 0 ]; then
  echo "perfdhcp_bench: skipped; it creates network namespaces and needs root (sudo make bench)."
  exit 0
fi
for program in perfdhcp kea-dhcp4 nft taskset; do
  if ! command -v "$program" >/dev/null; then
    echo "perfdhcp_bench: skipped; $program is missing (scripts/install-deps.sh installs it)."
    exit 0
  fi
done
if [ ! -x "$corvane" ]; then
  echo "perfdhcp_bench: skipped; $corvane is not built." >&2
  exit 0
fi

tag=cvperf-$$
server_ns=$tag-server
client_ns=$tag-client
work=$(mktemp -d /tmp/corvane-perfdhcp-XXXXXX)
server_pid=

cleanup() {
  if [ -n "$server_pid" ]; then
    kill -KILL "$server_pid" 2>/dev/null || true
    wait "$server_pid" 2>/dev/null || true
  fi
  ip netns delete "$client_ns" 2>/dev/null || true
  ip netns delete "$server_ns" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

ip netns add "$server_ns"
ip netns add "$client_ns"
ip -n "$server_ns" link add perf-srv type veth peer name perf-cli netns "$client_ns"
ip -n "$server_ns" address add 192.168.64.1/18 dev perf-srv
ip -n "$client_ns" address add 192.168.64.2/18 dev perf-cli
for ns in "$server_ns" "$client_ns"; do ip -n "$ns" link set lo up; done
ip -n "$server_ns" link set perf-srv up
ip -n "$client_ns" link set perf-cli up
ip netns exec "$client_ns" nft -f - <<'NFT'
table ip perfbench {
  chain prerouting {
    type nat hook prerouting priority dstnat;
    ip daddr 255.255.255.255 udp dport 68 dnat to 192.168.64.2:67
  }
}
NFT

# The two templates: BOOTP header with xid at 4, the broadcast flag, chaddr from 28 (perfdhcp
# varies its bytes up to offset 33), then the options; the REQUEST's server identifier
# option starts at 243 and its requested address option at 249.
/usr/bin/python3 - "$work" <<'PY'
import sys
folder = sys.argv[1]
def message(options):
    header = bytes([1, 1, 6, 0]) + bytes(4) + bytes(2) + bytes([0x80, 0]) + bytes(16)
    header += bytes([0x02, 0x50, 0, 0, 0, 0]) + bytes(10) + bytes(192) + bytes([99, 130, 83, 99])
    body = header + options + bytes([255])
    return body + bytes(max(0, 300 - len(body)))
discover = message(bytes([53, 1, 1, 55, 3, 1, 3, 6]))
request = message(bytes([53, 1, 3, 54, 4, 192, 168, 64, 1, 50, 4, 0, 0, 0, 0, 55, 3, 1, 3, 6]))
assert request[243] == 54 and request[249] == 50
for name, packet in (("discover", discover), ("request", request)):
    with open(f"{folder}/{name}.hex", "w") as out:
        out.write(packet.hex())
PY

cat >"$work/kea.json" <<KEA
{"Dhcp4": {
  "interfaces-config": {"interfaces": ["perf-srv"], "dhcp-socket-type": "raw"},
  "lease-database": {"type": "memfile", "persist": true, "lfc-interval": 0,
                     "name": "$work/kea/leases4.csv"},
  "valid-lifetime": 3600,
  "subnet4": [{"id": 1, "subnet": "192.168.64.0/18",
               "pools": [{"pool": "192.168.64.10 - 192.168.127.250"}]}],
  "loggers": [{"name": "kea-dhcp4", "severity": "ERROR",
               "output_options": [{"output": "$work/kea/kea.log"}]}]
}}
KEA

start_server() {
  local server=$1
  rm -rf "$work/state" "$work/kea"
  mkdir -p "$work/state" "$work/kea"
  case $server in
  kea)
    KEA_PIDFILE_DIR=$work/kea KEA_LOCKFILE_DIR=$work/kea \
      ip netns exec "$server_ns" taskset -c 0 kea-dhcp4 -c "$work/kea.json" \
      >"$work/server.out" 2>&1 &
    server_pid=$!
    sleep 1.5
    ;;
  corvane*)
    local sync=()
    [ "$server" = "corvane-sync" ] && sync=(--sync)
    HOME=$work/state XDG_CONFIG_HOME=$work/state/config XDG_DATA_HOME=$work/state/data \
      XDG_STATE_HOME=$work/state/state \
      ip netns exec "$server_ns" taskset -c 0 "$corvane" serve --interface perf-srv --virtual \
      --force --no-presence --server-ip 192.168.64.1 --prefix 18 \
      --range 192.168.64.10-192.168.127.250 --lease 1h "${sync[@]}" \
      --lease-file "$work/state/leases.json" --log-dir "$work/state/logs" \
      >"$work/serve.log" 2>"$work/server.out" &
    server_pid=$!
    sleep 1.5
    ;;
  esac
  if ! kill -0 "$server_pid" 2>/dev/null; then
    echo "perfdhcp_bench: $server did not start:" >&2
    cat "$work/server.out" >&2
    exit 1
  fi
}

stop_server() {
  [ -n "${PERF_DEBUG:-}" ] && { grep -v "RX DISC" "$work/serve.log" | head -5 >&2; cat "$work/server.out" >&2; } || true
  kill -TERM "$server_pid" 2>/dev/null || true
  for _ in $(seq 50); do kill -0 "$server_pid" 2>/dev/null || break; sleep 0.1; done
  kill -KILL "$server_pid" 2>/dev/null || true
  wait "$server_pid" 2>/dev/null || true
  server_pid=
}

# CPU time (user and system, all threads) the server has used so far, in clock ticks.
server_ticks() {
  awk '{print $14 + $15}' "/proc/$server_pid/stat" 2>/dev/null || echo 0
}

# One perfdhcp run against the running server; prints "rate drops% avg_ms cpu_us", the last
# being the server's CPU time per completed exchange: on two cores the generator saturates
# its own core first, so the servers' cost per exchange tells them apart where the rate
# cannot.
drive() {
  local clients=$1 rate=$2
  local rate_flag=()
  [ "$rate" != 0 ] && rate_flag=(-r "$rate")
  local ticks_before ticks_after
  ticks_before=$(server_ticks)
  ip netns exec "$client_ns" timeout $((seconds + 20)) taskset -c 1 perfdhcp -4 -B -l perf-cli \
    -R "$clients" "${rate_flag[@]}" -p "$seconds" -W 500000 \
    -T "$work/discover.hex" -T "$work/request.hex" -X 4 -X 4 -O 33 -O 33 -S 243 -I 249 \
    255.255.255.255 >"$work/perfdhcp.out" 2>&1 || true
  ticks_after=$(server_ticks)
  [ -n "${PERF_DEBUG:-}" ] && cp "$work/perfdhcp.out" /tmp/perfdhcp-last.out
  /usr/bin/python3 - "$work/perfdhcp.out" "$((ticks_after - ticks_before))" "$(getconf CLK_TCK)" <<'PY'
import re, sys
text = open(sys.argv[1]).read()
ticks, ticks_per_second = int(sys.argv[2]), int(sys.argv[3])
rate = re.search(r"Rate: ([0-9.]+) 4-way exchanges/second", text)
sent = [int(value) for value in re.findall(r"sent packets: (\d+)", text)]
drops = [int(value) for value in re.findall(r"drops: (\d+)", text)]
delays = [float(value) for value in re.findall(r"avg delay: ([0-9.]+) ms", text)]
if not rate or not sent:
    print("nan nan nan nan")
    sys.stderr.write(text[-2000:])
else:
    drop_share = 100.0 * sum(drops) / max(1, sum(sent))
    # Completed exchanges = the REQUEST exchange's received packets (the last counter block).
    acks = [int(value) for value in re.findall(r"received packets: (\d+)", text)]
    done = acks[-1] if acks else 0
    cpu_us = 1e6 * ticks / ticks_per_second / done if done else float("nan")
    print(f"{float(rate.group(1)):.0f} {drop_share:.1f} {sum(delays):.2f} {cpu_us:.0f}")
PY
}

divide() {
  /usr/bin/python3 -c "import sys; a, b = sys.argv[1:]; print('-' if 'nan' in (a, b) or float(b) == 0 else f'{float(a) / float(b):.2f}')" "$1" "$2"
}

printf '%-8s %-10s %-13s %10s %8s %10s %14s %12s %12s\n' clients rate server "DORA/s" "drops%" "DO+RA ms" \
  "corvane÷kea" "CPU us/DORA" "kea÷corvane"
for clients in $client_counts; do
  for rate in $rates; do
    for round in $(seq "$rounds"); do
      declare -A result=()
      for server in kea corvane corvane-sync; do
        start_server "$server"
        result[$server]=$(drive "$clients" "$rate")
        stop_server
      done
      read -r kea_rate _ _ kea_cpu <<<"${result[kea]}"
      for server in kea corvane corvane-sync; do
        read -r dora drops delay cpu <<<"${result[$server]}"
        ratio=$(divide "$dora" "$kea_rate")
        cost_ratio=$(divide "$kea_cpu" "$cpu")
        label=$([ "$rate" = 0 ] && echo unlimited || echo "$rate/s")
        printf '%-8s %-10s %-13s %10s %8s %10s %14s %12s %12s\n' "$clients" "$label" "$server" \
          "$dora" "$drops" "$delay" "$ratio" "$cpu" "$cost_ratio"
      done
      unset result
    done
  done
done
