#!/usr/bin/env bash
# Builds the Debian packages on a fresh Debian 12 system and uses them there. A minimal
# bookworm tree (debootstrap, buildd variant) gets only the build dependencies that
# debian/control names (apt-get build-dep) and builds with dpkg-buildpackage -us -uc -b; then
# the build dependencies go again and both packages are installed with --no-install-recommends,
# so that only the packages' own dependencies are present. The installed filter runs against
# the installed simulator for a socket:// and a dnssd:// queue, inside the private Avahi
# namespace of tests/connection/avahi-namespace.sh: both must report the same options.
# Needs root and apt's Debian mirror; takes a few minutes. The tree lives in build-fresh/ (or
# $CFF_FRESH_ROOT) and is removed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
src=$PWD
root=$(realpath -m "${CFF_FRESH_ROOT:-build-fresh}")
mirror=$(sed -n 's/^URIs: *\([^ ]*\/debian\)$/\1/p' /etc/apt/sources.list.d/debian.sources 2>/dev/null | head -1)
mirror=${mirror:-http://deb.debian.org/debian}

fail() { echo "fresh-debian-check.sh: FAILED: $*" >&2; exit 1; }
step() { echo "== [${SECONDS}s] $*"; }
[ "$(id -u)" -eq 0 ] || fail "needs root"
command -v debootstrap >/dev/null || DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends debootstrap >/dev/null
trap '[ -n "${CFF_FRESH_KEEP:-}" ] || rm -rf "$root"' EXIT
rm -rf "$root"

# Runs a shell command in the tree, with its own /proc, in a private mount namespace.
in_root() {
  unshare -m sh -c 'mount -t proc proc "$0/proc" && exec chroot "$0" sh -c "$1"' "$root" "$1"
}

step "debootstrap bookworm ($mirror)"
debootstrap --variant=buildd bookworm "$root" "$mirror" >"$root.log" 2>&1 || { cat "$root.log"; fail "debootstrap"; }
rm -f "$root.log"
# The host's sources, with the security and update suites, in place of debootstrap's one line.
if [ -f /etc/apt/sources.list.d/debian.sources ]; then
  cp /etc/apt/sources.list.d/debian.sources "$root/etc/apt/sources.list.d/" && rm -f "$root/etc/apt/sources.list"
fi
mkdir -p "$root/build/commandfilefilter"
tar -c --exclude=./.git --exclude='./build*' --exclude=./out . | tar -x -C "$root/build/commandfilefilter"

step "apt-get build-dep, then dpkg-buildpackage -us -uc -b"
in_root 'export DEBIAN_FRONTEND=noninteractive
         apt-get update -qq && apt-get build-dep -y -qq --no-install-recommends ./build/commandfilefilter >/tmp/deps.log 2>&1 &&
         cd /build/commandfilefilter && dpkg-buildpackage -us -uc -b >/tmp/build.log 2>&1' \
  || { tail -30 "$root"/tmp/*.log; fail "building on a fresh system"; }
ls "$root"/build/*.deb

step "build dependencies removed; the packages installed with --no-install-recommends"
build_deps=$(sed -n '/^Build-Depends:/,/^[A-Z]/p' debian/control | sed '1s/^Build-Depends://;$d' |
             tr ',' '\n' | sed 's/^ *//;s/[( ].*//' | grep -v '^debhelper-compat$' | grep . | tr '\n' ' ')
in_root "export DEBIAN_FRONTEND=noninteractive
         apt-get purge -y -qq debhelper $build_deps >/tmp/purge.log 2>&1 || { cat /tmp/purge.log; exit 1; }
         apt-get autoremove --purge -y -qq >/dev/null 2>&1
         apt-get install -y -qq --no-install-recommends /build/commandfilefilter_*.deb /build/commandfilefilter-tools_*.deb \
           >/tmp/install.log 2>&1 || { cat /tmp/install.log; exit 1; }
         if dpkg -l | grep -E '^ii +(libcups2-dev|libavahi-compat-libdnssd-dev|avahi-daemon)[: ]'; then exit 1; fi
         dpkg -l | awk '/^ii/ && \$2 ~ /avahi|dns|nss|cups|usb/ { printf \"%s \", \$2 } END { print \"\" }'" \
  || fail "installing the packages on the fresh system (or build dependencies left over, above)"

step "installed filter for a socket:// and a dnssd:// queue"
cat >"$root/run.sh" <<'SCRIPT'
set -u
root=$1
mount --bind /run "$root/run"
mount -t proc proc "$root/proc"
exec chroot "$root" sh -c '
printf "#CUPS-COMMAND\nAutoConfigure\n" >/tmp/auto
cffsim udp --address 10.77.0.1 /usr/share/commandfilefilter/profiles/basic-mono.yaml 2>/tmp/sim.log &
sleep 1
for uri in socket://10.77.0.1 "dnssd://CFF%20Test%20Printer._pdl-datastream._tcp.local./?uuid=1"; do
  DEVICE_URI=$uri timeout 60 /usr/lib/cups/filter/commandfilefilter 1 u t 1 "" /tmp/auto 2>&1
  echo "exit $?"
done'
SCRIPT
status=0
unshare -n -m -p -f bash "$src/tests/connection/avahi-namespace.sh" 9100 bash "$root/run.sh" "$root" >"$root/dnssd.out" 2>&1 \
  || status=$?
cat "$root/dnssd.out"
[ $status -eq 0 ] || fail "the namespace run failed (status $status)"
mapfile -t lines <"$root/dnssd.out"
[ ${#lines[@]} -eq 4 ] && [[ ${lines[0]} == "PPD: "* ]] && [ "${lines[1]}" = "exit 0" ] \
  && [ "${lines[2]}" = "${lines[0]}" ] && [ "${lines[3]}" = "exit 0" ] \
  || fail "on the fresh system the dnssd:// queue did not report what the socket:// queue reports"
echo "== fresh Debian 12: built with the named build dependencies; the dnssd:// queue resolves with only the packages' dependencies"
