#!/usr/bin/env bash
# Records the datagrams that real DHCP clients (busybox udhcpc, ISC dhclient, dhcpcd) send
# when they look for a server, as raw binary files: seeds for the packet parser's fuzz
# target and material for the codec's tests and benchmark.
#
# Everything happens in two private network namespaces joined by a veth pair that this
# script creates and removes again; no interface of the host's namespace is touched. The
# clients run in their own mount namespace over empty lease folders, with no-op hook
# scripts, so they cannot change this machine's files or name servers. Needs root.
#
#   scripts/capture-client-packets.sh [output folder]   (default fuzz/corpus/packet_parse_fuzz)
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$root/fuzz/corpus/packet_parse_fuzz}
server=corvane-capture-$$-server
client=corvane-capture-$$-client
work=$(mktemp -d)
listener_pid=

cleanup() {
  if [ -n "$listener_pid" ]; then kill "$listener_pid" 2>/dev/null || true; fi
  ip netns del "$client" 2>/dev/null || true
  ip netns del "$server" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

if [ "$(id -u)" -ne 0 ]; then
  echo "This script creates network namespaces; run it as root (for example with sudo)." >&2
  exit 1
fi
mkdir -p "$out"

ip netns add "$server"
ip netns add "$client"
ip -n "$server" link add veth-srv type veth peer name veth-dev netns "$client"
ip -n "$server" address add 10.77.0.1/24 dev veth-srv
for ns in "$server" "$client"; do ip -n "$ns" link set lo up; done
ip -n "$server" link set veth-srv up
ip -n "$client" link set veth-dev up

cat >"$work/listener.py" <<'PY'
import socket, sys
folder = sys.argv[1]
sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
sock.bind(("0.0.0.0", 67))
count = 0
while True:
    data = sock.recv(4096)
    count += 1
    with open(f"{folder}/{count:03d}.bin", "wb") as datagram:
        datagram.write(data)
PY

cat >"$work/dhclient.leases" <<'LEASE'
lease {
  interface "veth-dev";
  fixed-address 10.77.0.60;
  option subnet-mask 255.255.255.0;
  option dhcp-lease-time 86400;
  option dhcp-message-type 5;
  option dhcp-server-identifier 10.77.0.1;
  renew 4 2037/01/01 00:00:00;
  rebind 4 2037/01/01 00:00:00;
  expire 4 2037/01/01 00:00:00;
}
LEASE

# capture NAME KEEP COMMAND...: runs one client for a few seconds and keeps the first KEEP
# datagrams it sent as NAME-1.bin, NAME-2.bin, ...
capture() {
  local name=$1 keep=$2
  shift 2
  local folder="$work/$name"
  mkdir -p "$folder"
  ip netns exec "$server" timeout 30 python3 "$work/listener.py" "$folder" &
  listener_pid=$!
  local tries=0
  until [ -n "$(ip netns exec "$server" ss -H -uln 'sport = :67')" ]; do
    tries=$((tries + 1))
    if [ "$tries" -gt 50 ]; then
      echo "The capture listener did not start; is python3 installed?" >&2
      exit 1
    fi
    sleep 0.1
  done
  ip netns exec "$client" unshare --mount sh -c '
      mount -t tmpfs none /var/lib/dhcpcd && mount -t tmpfs none /var/lib/dhcp &&
      mount -t tmpfs none /run && exec "$@"' capture "$@" >"$work/$name.log" 2>&1 || true
  sleep 0.5
  kill "$listener_pid" 2>/dev/null || true
  wait "$listener_pid" 2>/dev/null || true
  listener_pid=
  local index=0
  for file in "$folder"/*.bin; do
    [ -e "$file" ] || continue
    index=$((index + 1))
    [ "$index" -le "$keep" ] || break
    cp "$file" "$out/$name-$index.bin"
  done
  echo "capture: $name sent $(ls "$folder" | wc -l) datagram(s), kept $((index < keep ? index : keep))"
}

capture udhcpc-discover 1 timeout 4 busybox udhcpc -i veth-dev -f -q -n -t 2 -T 1 -s /bin/true \
  -x hostname:corvane-camera -V "acme-camera 2.1"
capture udhcpc-requested-ip 1 timeout 4 busybox udhcpc -i veth-dev -f -q -n -t 2 -T 1 \
  -s /bin/true -r 10.77.0.150 -C
capture dhclient-discover 1 timeout 5 dhclient -d -1 -4 -sf /bin/true -lf "$work/empty.leases" \
  -pf "$work/dhclient.pid" veth-dev
capture dhclient-reboot-request 1 timeout 5 dhclient -d -1 -4 -sf /bin/true \
  -lf "$work/dhclient.leases" -pf "$work/dhclient.pid" veth-dev
capture dhcpcd-discover 1 timeout 6 dhcpcd -B -1 -4 -t 4 -L -c /bin/true -h corvane-printer \
  veth-dev
capture dhcpcd-inform 1 timeout 6 dhcpcd -B -1 -4 -t 4 -L -c /bin/true -s 10.77.0.70/24 veth-dev
