#!/usr/bin/env bash
# What `make screenshots` runs: corvane-screenshots renders the window's main states to PNG
# files on Qt's offscreen platform, from the real model and the real widgets. The serving
# states need a card that is safe to serve on, so as root this script builds a virtual cable
# between two private network namespaces: the window serves DHCP on one end, and a busybox
# udhcpc "device" asks for an address at the other. Without root only the states that need
# no server are rendered, inside a private network namespace of the user's own. Everything
# created here is removed when the script ends.
set -euo pipefail
build=${1:?build folder}
output=${2:-docs/screenshots}
tool=$(realpath "$build/app/gui/corvane-screenshots")
mkdir -p "$output"
output=$(realpath "$output")
export QT_QPA_PLATFORM=offscreen

if [ "$(id -u)" -ne 0 ]; then
  echo "Not root: rendering only the states that need no server. For every state run: sudo make screenshots" >&2
  if ! unshare --user --map-root-user --net true 2>/dev/null; then
    echo "This system does not allow a private network namespace for the user either, so nothing was rendered." >&2
    exit 1
  fi
  exec unshare --user --map-root-user --net "$tool" "$output"
fi

for program in ip busybox; do
  if ! command -v "$program" >/dev/null; then
    echo "The screenshots need $program. Install it (make deps), then try again." >&2
    exit 1
  fi
done

card_ns="cvshot-card-$$"
device_ns="cvshot-device-$$"
scratch=$(mktemp -d)
cleanup() {
  ip netns del "$card_ns" 2>/dev/null || true
  ip netns del "$device_ns" 2>/dev/null || true
  rm -rf "$scratch"
}
trap cleanup EXIT

ip netns add "$card_ns"
ip netns add "$device_ns"
ip -n "$card_ns" link set lo up
ip -n "$device_ns" link set lo up
ip -n "$card_ns" link add vlab0 type veth peer name vdev0 netns "$device_ns"
ip -n "$card_ns" address add 192.168.0.1/24 dev vlab0
ip -n "$device_ns" link set vdev0 up

# The device takes the address it is given, so that it answers the presence probes.
cat >"$scratch/device.script" <<'SCRIPT'
#!/bin/sh
case "$1" in
  bound|renew) ip address replace "$ip/${mask:-24}" dev "$interface" ;;
esac
SCRIPT
chmod +x "$scratch/device.script"

# Each run starts as a first launch does: the card is there, but nothing is plugged in yet
# (vlab0 is down, so it has no link); the tour brings it up after that picture. The second
# run renders the same states in a dark palette.
for palette in "" --dark; do
  ip -n "$card_ns" link set vlab0 down
  ip -n "$device_ns" address flush dev vdev0
  ip netns exec "$card_ns" "$tool" "$output" --card vlab0 --card-down $palette -- \
    ip netns exec "$device_ns" busybox udhcpc -f -i vdev0 -t 40 -T 1 -s "$scratch/device.script" \
    -x hostname:lab-camera -V "ACME Cam 2000"
done
