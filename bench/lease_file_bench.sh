#!/usr/bin/env bash
# Start-up time and resident memory of corvane serve, and the time and peak memory of
# corvane leases, with a lease file of LEASE_COUNT (60000) devices. The server runs inside a
# private network namespace on one end of a veth pair made here, never on a host interface;
# the namespace, the server (by its PID) and the scratch folder are removed at the end.
set -euo pipefail
build=${1:?build folder}
corvane=$(cd "$build" && pwd)/cli/corvane
count=${LEASE_COUNT:-60000}
runs=${LEASE_RUNS:-3}

if [ ! -x "$corvane" ]; then
  echo "lease_file_bench: skipped; $corvane is not built." >&2
  exit 0
fi

work=$(mktemp -d /tmp/corvane-lease-file-bench-XXXXXX)
server_ns=cvlease-$$
made_ns=
cleanup() {
  [ -n "$made_ns" ] && ip netns delete "$server_ns" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# A /16 lab's history in the layout corvane itself writes: every device named, half with a
# client identifier, half of the leases still running.
/usr/bin/python3 - "$work/leases.json" "$count" <<'PY'
import sys
path, count = sys.argv[1], int(sys.argv[2])
records = []
for n in range(count):
    mac = "02:42:%02x:%02x:%02x:%02x" % (n >> 24 & 255, n >> 16 & 255, n >> 8 & 255, n & 255)
    ip = 0x0A01000A + n
    fields = []
    if n % 2:
        fields.append(("clientID", "01:" + mac))
    fields += [("expiresAt", "2030-03-01T12:00:00Z" if n % 2 else "2025-03-01T00:00:00Z"),
               ("firstSeen", "2025-02-27T12:00:00Z"), ("hostname", "device-%d" % n),
               ("ip", "%d.%d.%d.%d" % (ip >> 24, ip >> 16 & 255, ip >> 8 & 255, ip & 255)),
               ("lastSeen", "2025-03-01T11:%02d:%02dZ" % (n // 60 % 60, n % 60)),
               ("mac", mac), ("state", "bound"), ("vendorClass", "udhcp 1.36.1")]
    records.append("    {\n" + ",\n".join('      "%s": "%s"' % f for f in fields) + "\n    }")
with open(path, "w") as out:
    out.write('{\n  "leases": [\n' + ",\n".join(records) +
              '\n  ],\n  "quarantine": [],\n  "version": 1\n}\n')
PY
echo "lease file: $count leases, $(($(stat -c %s "$work/leases.json") / 1024)) KiB"

for run in $(seq "$runs"); do
  /usr/bin/time -f "corvane leases: %e s elapsed, %M KiB peak resident" \
    "$corvane" leases --lease-file "$work/leases.json" >/dev/null
done

if [ "$(id -u)" -ne 0 ] || ! command -v ip >/dev/null; then
  echo "lease_file_bench: serve part skipped; it creates a network namespace and needs root."
  exit 0
fi
ip netns add "$server_ns"
made_ns=1
ip -n "$server_ns" link add cvl-srv type veth peer name cvl-cli
ip -n "$server_ns" address add 10.1.0.1/16 dev cvl-srv
ip -n "$server_ns" link set cvl-srv up
ip -n "$server_ns" link set cvl-cli up

# Launches the server on its own copy of the file, waits (at most 20 s) for its START line,
# reports the time that took and its resident memory then, and stops it by its PID.
for run in $(seq "$runs"); do
  mkdir -p "$work/run$run"
  cp "$work/leases.json" "$work/run$run/leases.json"
  /usr/bin/python3 - "$server_ns" "$corvane" "$work/run$run" <<'PY'
import os, selectors, signal, subprocess, sys, time
namespace, corvane, folder = sys.argv[1:]
environment = dict(os.environ, HOME=folder, XDG_CONFIG_HOME=folder + "/config",
                   XDG_DATA_HOME=folder + "/data", XDG_STATE_HOME=folder + "/state")
command = ["ip", "netns", "exec", namespace, corvane, "serve", "--interface", "cvl-srv",
           "--virtual", "--force", "--no-presence", "--server-ip", "10.1.0.1", "--prefix", "16",
           "--range", "10.1.0.10-10.1.255.250", "--lease-file", folder + "/leases.json",
           "--log-dir", folder + "/logs"]
started = time.monotonic()
server = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          env=environment)
try:
    selector = selectors.DefaultSelector()
    selector.register(server.stdout, selectors.EVENT_READ)
    buffered, ready = b"", None
    deadline = started + 20
    while ready is None and time.monotonic() < deadline and server.poll() is None:
        if selector.select(timeout=0.5):
            buffered += os.read(server.stdout.fileno(), 65536)
            if b"  START " in buffered:
                ready = time.monotonic()
    if ready is None:
        sys.exit("lease_file_bench: corvane serve printed no START line within 20 s")
    time.sleep(0.5)
    status = dict(line.split(":", 1) for line in open(f"/proc/{server.pid}/status"))
    print("corvane serve: START after %.0f ms, resident %s, peak %s" % (
        (ready - started) * 1000, status["VmRSS"].strip(), status["VmHWM"].strip()))
finally:
    server.send_signal(signal.SIGTERM)
    try:
        server.wait(timeout=10)
    except subprocess.TimeoutExpired:
        server.kill()
        server.wait(timeout=10)
PY
done
