#!/bin/bash
# Runs a command in a private network and mount namespace that has its own D-Bus system
# bus and mDNS daemon, with one service published on a veth interface.
#
#   unshare -n -m -p -f bash avahi-namespace.sh PORT COMMAND [ARGS...]
#
# Publishes "CFF Test Printer" of type _pdl-datastream._tcp on PORT for the host
# cffprinter.local (10.77.0.1), then runs COMMAND with CFF_AVAHI_NAMESPACE=1 and
# CFF_AVAHI_PORT=PORT set and exits with its status. Exits 77, with the reason on
# standard error, when the namespace cannot be set up. In its own PID namespace the
# script is process 1: the daemons it starts end with it.
set -u

port=$1
shift

skip() {
    echo "SKIP: $*" >&2
    exit 77
}

for tool in ip mount dbus-daemon avahi-daemon avahi-publish avahi-browse; do
    command -v "$tool" >/dev/null 2>&1 || skip "$tool is not installed"
done

work=$(mktemp -d /tmp/cff-avahi-XXXXXX) || skip "no temporary directory"
pids=()
cleanup() {
    for pid in "${pids[@]}"; do
        kill "$pid" 2>/dev/null
    done
    if [ -s /run/avahi-daemon/pid ]; then
        kill "$(cat /run/avahi-daemon/pid)" 2>/dev/null
    fi
    rm -rf "$work"
}
trap cleanup EXIT

# A private /run: the DNS-SD library and nss-mdns look for their daemons' sockets there.
mount -t tmpfs tmpfs /run || skip "cannot mount a private /run (not in a private mount namespace?)"
mkdir -p /run/dbus /run/avahi-daemon

ip link set lo up || skip "cannot configure the network namespace"
# mDNS ignores the loopback interface: use one end of a veth pair.
ip link add cff0 type veth peer name cff1 2>/dev/null || skip "no veth network interfaces"
ip link set cff1 up
ip link set cff0 multicast on up
ip addr add 10.77.0.1/24 dev cff0

cat > "$work/bus.conf" <<'EOF'
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=/run/dbus/system_bus_socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
EOF
dbus-daemon --config-file="$work/bus.conf" --fork --print-pid >"$work/dbus.pid" \
    || skip "dbus-daemon did not start"
pids+=("$(cat "$work/dbus.pid")")

cat > "$work/avahi.conf" <<'EOF'
[server]
host-name=cffprinter
domain-name=local
use-ipv4=yes
use-ipv6=no
allow-interfaces=cff0
enable-dbus=yes
[wide-area]
enable-wide-area=no
[publish]
publish-workstation=no
publish-hinfo=no
publish-addresses=yes
EOF
avahi-daemon -f "$work/avahi.conf" --no-drop-root --no-chroot --no-rlimits -D 2>"$work/avahi.log" \
    || skip "avahi-daemon did not start: $(cat "$work/avahi.log")"

avahi-publish -s "CFF Test Printer" _pdl-datastream._tcp "$port" >"$work/publish.log" 2>&1 &
pids+=($!)

# Wait until the service resolves (the daemon first probes its names; a browse takes ~1 s).
for _ in $(seq 1 20); do
    if avahi-browse -rpt _pdl-datastream._tcp 2>/dev/null | grep -q "^=;.*;cffprinter\.local;10\.77\.0\.1;$port;"; then
        ready=1
        break
    fi
    sleep 0.1
done
[ -n "${ready:-}" ] || skip "service not published: $(cat "$work/publish.log")"

export CFF_AVAHI_NAMESPACE=1 CFF_AVAHI_PORT="$port"
"$@"
