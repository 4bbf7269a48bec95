#!/usr/bin/env bash
# Installs every Debian package that building, testing, fuzzing, benchmarking and
# packaging the filter need. Safe to run again: apt-get skips what is installed.
set -euo pipefail

packages=(
  build-essential cmake pkg-config git
  libcups2-dev libavahi-compat-libdnssd-dev libusb-1.0-0-dev
  libgtest-dev libgmock-dev libbenchmark-dev libyaml-cpp-dev
  clang libclang-rt-14-dev
  cups cups-daemon cups-client cups-ipp-utils cups-core-drivers cups-bsd
  avahi-daemon avahi-utils dbus libnss-mdns
  snmpd snmp iproute2 procps time
  umockdev libsnmp-dev
  dpkg-dev debhelper lintian man-db groff-base
)

if [ "$(id -u)" -ne 0 ]; then
  SUDO=sudo
else
  SUDO=
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  # Services that the packages would start on installation are not wanted here:
  # the tests start their own private instances.
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
