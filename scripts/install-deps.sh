#!/usr/bin/env bash
# Installs the Debian packages that building and testing Corvane need.
# Idempotent: it asks apt only for what is missing and stays quiet otherwise.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  clang clang-format clang-tidy libclang-rt-14-dev
  libasio-dev nlohmann-json3-dev libhowardhinnant-date-dev libcli11-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  qt6-base-dev libgl-dev
  iproute2 procps psmisc libcap2-bin iputils-ping
  busybox isc-dhcp-client dhcpcd-base python3 python3-scapy
  ieee-data libpcap-dev libsodium-dev
  kea-admin kea-dhcp4-server nftables
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
  as_root=()
elif command -v sudo >/dev/null 2>&1; then
  as_root=(sudo)
else
  echo "Corvane needs these Debian packages: ${missing[*]}. Run this script as root or install sudo." >&2
  exit 1
fi

echo "Installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
