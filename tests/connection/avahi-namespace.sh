#!/bin/bash
# unshare -n -m -p -f bash avahi-namespace.sh PORT COMMAND [ARGS...]
# Runs COMMAND (with CFF_AVAHI_NAMESPACE=1) with its own D-Bus system bus and mDNS daemon, where
# "CFF Test Printer" (_pdl-datastream._tcp) is published on PORT for cffprinter.local (10.77.0.1),
# and so are "Laser @ office", "Floor 2.East" and "Büro Laser" (UTF-8), names a queue writes encoded.
# Exits with COMMAND's status, or 77 with the reason when the namespace cannot be set up. As
# process 1 of its PID namespace the script takes its daemons with it when it ends.
set -u
port=$1
shift
skip() { echo "SKIP: $*" >&2; exit 77; }

for tool in ip mount dbus-daemon avahi-daemon avahi-publish avahi-browse; do
    command -v "$tool" >/dev/null 2>&1 || skip "$tool is not installed"
done
work=$(mktemp -d /tmp/cff-avahi-XXXXXX) || skip "no temporary directory"
trap 'rm -rf "$work"' EXIT

# A private /run: the DNS-SD library and nss-mdns look for their daemons' sockets there.
mount -t tmpfs tmpfs /run || skip "cannot mount a private /run"
mkdir -p /run/dbus /run/avahi-daemon
# This PID namespace's own /proc, which a sanitizer's leak check reads at exit.
mount -t proc proc /proc || skip "cannot mount /proc for the PID namespace"
ip link set lo up || skip "cannot configure the network namespace"
# mDNS ignores the loopback interface: use one end of a veth pair.
ip link add cff0 type veth peer name cff1 2>/dev/null || skip "no veth network interfaces"
ip link set cff1 up && ip link set cff0 multicast on up && ip addr add 10.77.0.1/24 dev cff0

cat > "$work/bus.conf" <<'CONF'
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>system</type><listen>unix:path=/run/dbus/system_bus_socket</listen><auth>EXTERNAL</auth>
  <policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/><allow receive_sender="*"/></policy>
</busconfig>
CONF
dbus-daemon --config-file="$work/bus.conf" --fork || skip "dbus-daemon did not start"

printf '%s\n' '[server]' host-name=cffprinter domain-name=local use-ipv4=yes use-ipv6=no allow-interfaces=cff0 \
    enable-dbus=yes '[wide-area]' enable-wide-area=no '[publish]' publish-workstation=no publish-hinfo=no \
    >"$work/avahi.conf"
avahi-daemon -f "$work/avahi.conf" --no-drop-root --no-chroot --no-rlimits -D 2>"$work/avahi.log" \
    || skip "avahi-daemon did not start: $(cat "$work/avahi.log")"
names=("CFF Test Printer" "Laser @ office" "Floor 2.East" "Büro Laser")
for name in "${names[@]}"; do
    avahi-publish -s "$name" _pdl-datastream._tcp "$port" >>"$work/publish.log" 2>&1 &
done

# The daemon first probes its names; wait until every service resolves.
for try in $(seq 0 30); do
    [ "$try" = 30 ] && skip "services not published: $(cat "$work/publish.log")"
    resolved=$(avahi-browse -rpt _pdl-datastream._tcp 2>/dev/null |
        grep -c "^=;.*;cffprinter\.local;10\.77\.0\.1;$port;")
    [ "$resolved" -ge "${#names[@]}" ] && break
    sleep 0.1
done

CFF_AVAHI_NAMESPACE=1 "$@"
