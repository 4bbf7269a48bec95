#!/usr/bin/env bash
# Builds and checks the Debian packages (scripts/package.sh), installs both on this machine with
# only their own dependencies, checks the installed filter's linking and package dependencies,
# runs it against the installed simulator over the USB path and for a dnssd:// queue in a
# private Avahi namespace, renders the installed manual pages, and removes the packages again
# (checking the removal warning about queues that still use the filter), with anything that the
# installation pulled in.  Needs root.  Where the package is installed already, only the build
# and its checks run.  Exits non-zero, with a message saying what failed, on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."
src=$PWD

fail() { echo "ci-package.sh: FAILED: $*" >&2; exit 1; }
step() { echo "== [${SECONDS}s] $*"; }

[ "$(id -u)" -eq 0 ] || fail "needs root to install the package"

bash scripts/package.sh
out=$(realpath -m "${CFF_PACKAGE_BUILD_DIR:-build-pkg}")
version=$(dpkg-parsechangelog -S Version)
arch=$(dpkg --print-architecture)
filter_deb=$out/commandfilefilter_${version}_$arch.deb
tools_deb=$out/commandfilefilter-tools_${version}_$arch.deb

for package in commandfilefilter commandfilefilter-tools; do
  if dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q ' installed$'; then
    echo "ci-package.sh: SKIPPED the installation check: $package is installed on this machine already," \
         "and this check would replace and then purge it (the build and lintian checks above ran)"
    exit 0
  fi
done

work=$(mktemp -d)
# The packages that this run's installation unpacked (its own and the dependencies it pulled
# in), from apt's log: only these are purged again. Other programs may install packages on
# this machine meanwhile; those stay.
added=$work/added
: >"$added"

# Leaves the machine as it was: purges what this run installed.
cleanup() {
  local status=$?
  local purge=() package
  while read -r package; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q ' installed$' && purge+=("$package")
  done < <(sort -u "$added")
  if [ ${#purge[@]} -gt 0 ]; then
    step "apt-get purge ${purge[*]}"
    DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq -o DPkg::Lock::Timeout=300 "${purge[@]}" \
      >"$work/purge.log" 2>&1 \
      || { cat "$work/purge.log" >&2; echo "ci-package.sh: could not purge ${purge[*]}" >&2; status=1; }
  fi
  for path in /usr/lib/cups/filter/commandfilefilter /usr/bin/cffquery /usr/bin/cffsim \
              /usr/share/commandfilefilter /usr/share/ppd/commandfilefilter; do
    [ ! -e "$path" ] || { echo "ci-package.sh: $path is still there after removal" >&2; status=1; }
  done
  rm -rf "$work"
  [ $status -eq 0 ] && echo "== package: all checks passed, machine restored"
  exit $status
}
trap cleanup EXIT
trap "exit 130" INT TERM

step "package dependencies"
# The filter reaches USB printers through the backend's channels; only cffquery uses libusb.
check_depends() { # check_depends DEB PACKAGE...
  local deb=$1 depends
  shift
  depends=$(dpkg-deb -f "$deb" Depends)
  echo "$(dpkg-deb -f "$deb" Package) Depends: $depends"
  for package in "$@"; do
    grep -Eq "(^|, )$package( |,|$)" <<<"$depends" || fail "$(basename "$deb") does not depend on $package"
  done
}
# dnssd:// queues: the DNS-SD library resolves the service to a host name in .local, which
# the filter then looks up through NSS; without nss-mdns such a queue reports nothing.
check_depends "$filter_deb" libcups2 libavahi-compat-libdnssd1 libnss-mdns cups-daemon
check_depends "$tools_deb" libcups2 libusb-1.0-0

step "apt-get install --no-install-recommends (both packages)"
printf '%s\n' commandfilefilter commandfilefilter-tools >"$added"
status=0
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
  -o DPkg::Lock::Timeout=300 "$filter_deb" "$tools_deb" >"$work/apt.log" 2>&1 || status=$?
sed -n 's/^Unpacking \([^ :]*\).*/\1/p' "$work/apt.log" >>"$added"
[ $status -eq 0 ] || { cat "$work/apt.log" >&2; fail "apt-get could not install the packages"; }
echo "installed: $(sort -u "$added" | tr '\n' ' ')"
for package in commandfilefilter commandfilefilter-tools; do
  dpkg-query -W -f='${Status}\n' "$package" | grep -qx 'install ok installed' \
    || fail "dpkg does not list $package as installed"
done

step "installed files and linking"
for path in /usr/lib/cups/filter/commandfilefilter /usr/bin/cffquery /usr/bin/cffsim \
            /usr/share/ppd/commandfilefilter/commandfilefilter.ppd \
            /usr/share/commandfilefilter/profiles/basic-mono.yaml \
            /usr/share/man/man8/commandfilefilter.8.gz /usr/share/man/man8/cffquery.8.gz \
            /usr/share/man/man1/cffsim.1.gz; do
  if [ ! -e "$path" ]; then
    grep -rs 'path-exclude' /etc/dpkg/dpkg.cfg.d/ >&2 || true
    fail "$path is missing after installation (a path-exclude of dpkg, shown above, drops it)"
  fi
done
ldd /usr/lib/cups/filter/commandfilefilter /usr/bin/cffquery /usr/bin/cffsim | grep 'not found' \
  && fail "an installed program lacks a shared library (see above)"
ldd /usr/lib/cups/filter/commandfilefilter | grep -E 'lib(cups|usb|dns_sd)'
bash packaging/tests/check-linking.sh /usr/lib/cups/filter/commandfilefilter libdns_sd.so.1 -libusb-1.0.so.0 \
  || fail "the installed filter is not linked as it must be (above)"
bash packaging/tests/check-linking.sh /usr/bin/cffquery libusb-1.0.so.0 \
  || fail "the installed cffquery is not linked as it must be (above)"

step "installed filter against the installed simulator over the USB path (basic-mono)"
printf '#CUPS-COMMAND\nAutoConfigure\nReportLevels\n' >"$work/commands"
expected='PPD: DefaultDuplex=None DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF DefaultOptDuplex=NotInstalledM DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray1 
ATTR: marker-colors=#000000,#000000 marker-levels=40,75 marker-names='"'"'"Black Toner"'"'"','"'"'"Drum"'"'"' marker-types=toner,opc 
STATE: -toner-low-report,toner-empty-warning,marker-supply-low-report,marker-supply-empty-warning,opc-near-eol-report,opc-life-over-warning'
# A private TMPDIR, so that a diagnostic log switched on by /tmp/startlog lands in scratch space.
status=0
output=$(cd "$work" && TMPDIR=$work timeout 60 /usr/bin/cffsim run-filter \
           /usr/share/commandfilefilter/profiles/basic-mono.yaml -- \
           /usr/lib/cups/filter/commandfilefilter 1 u t 1 '' "$work/commands" 2>"$work/sim.log") \
  || status=$?
echo "$output"
if [ $status -ne 0 ] || [ "$output" != "$expected" ]; then
  echo "-- expected (exit status 0):"; echo "$expected"
  echo "-- simulator:"; cat "$work/sim.log"
  fail "the installed filter gave other lines (exit status $status)"
fi

step "installed filter for a dnssd:// queue, in a private Avahi namespace"
# The simulator answers on 10.77.0.1, the address avahi-namespace.sh publishes the service for;
# the filter must resolve the service name to it with the installed libraries.
cat >"$work/dnssd.sh" <<'SCRIPT'
set -u
work=$1
/usr/bin/cffsim udp --address 10.77.0.1 /usr/share/commandfilefilter/profiles/basic-mono.yaml \
  2>"$work/dnssd-sim.log" &
for _ in $(seq 50); do ss -lun | grep -q '10.77.0.1:161 ' && break; sleep 0.1; done
printf '#CUPS-COMMAND\nAutoConfigure\n' >"$work/auto"
for uri in socket://10.77.0.1 'dnssd://CFF%20Test%20Printer._pdl-datastream._tcp.local./?uuid=1'; do
  (cd "$work" && TMPDIR=$work DEVICE_URI=$uri timeout 60 \
     /usr/lib/cups/filter/commandfilefilter 1 u t 1 '' "$work/auto" 2>&1)
  echo "exit $?"
done
SCRIPT
status=0
unshare -n -m -p -f bash tests/connection/avahi-namespace.sh 9100 bash "$work/dnssd.sh" "$work" \
  >"$work/dnssd.out" 2>&1 || status=$?
cat "$work/dnssd.out"
[ $status -ne 77 ] || fail "the Avahi namespace could not be set up (above)"
[ $status -eq 0 ] || fail "the dnssd:// run failed (exit status $status)"
mapfile -t lines <"$work/dnssd.out"
[ ${#lines[@]} -eq 4 ] && [[ ${lines[0]} == "PPD: "* ]] && [ "${lines[1]}" = "exit 0" ] \
  && [ "${lines[2]}" = "${lines[0]}" ] && [ "${lines[3]}" = "exit 0" ] \
  || { cat "$work/dnssd-sim.log" 2>/dev/null; fail "the dnssd:// queue did not report what the socket:// queue reports"; }

step "installed manual pages"
for page in commandfilefilter:8 cffquery:8 cffsim:1; do
  name=${page%:*} section=${page#*:}
  for how in "$section $name" "-l /usr/share/man/man$section/$name.$section.gz"; do
    # shellcheck disable=SC2086
    rendered=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -P cat $how 2>"$work/man.err") \
      || { cat "$work/man.err" >&2; fail "man $how fails"; }
    if [ -s "$work/man.err" ]; then
      cat "$work/man.err" >&2; fail "man $how warns"
    fi
    if ! grep -q "^NAME" <<<"$rendered" || ! grep -q "$name" <<<"$rendered"; then
      fail "man $how renders no NAME section for $name"
    fi
  done
done

step "removal script without a CUPS configuration: silent, succeeds"
status=0
unshare -m sh -c 'mount -t tmpfs tmpfs /etc/cups && exec /var/lib/dpkg/info/commandfilefilter.prerm remove' \
  >"$work/prerm.out" 2>&1 || status=$?
cat "$work/prerm.out"
[ $status -eq 0 ] && [ ! -s "$work/prerm.out" ] || fail "the removal script failed or spoke without any queue (status $status)"

step "apt-get purge with a queue whose PPD names the filter: the removal warns"
# The queue's PPD lies in a private /etc/cups/ppd: the machine's queues are neither seen nor touched.
sed 's/^\*cupsFilter2: "application\/vnd.cups-command application\/octet-stream 0 commandfilefilter"$/*cupsFilter2: "application\/vnd.cups-command application\/octet-stream 0 \/usr\/lib\/cups\/filter\/commandfilefilter"/' \
  packaging/ppd/commandfilefilter.ppd >"$work/office.ppd"
grep -q 'filter/commandfilefilter"' "$work/office.ppd" || fail "could not write a PPD that names the filter by its path"
status=0
unshare -m sh -c 'mount -t tmpfs tmpfs /etc/cups && mkdir /etc/cups/ppd &&
                  cp "$1/office.ppd" /etc/cups/ppd/office.ppd &&
                  cp "$2" /etc/cups/ppd/laser.ppd &&
                  printf "*PPD-Adobe: \"4.3\"\n*cupsFilter2: \"application/vnd.cups-command application/octet-stream 0 commandtops\"\n" >/etc/cups/ppd/other.ppd &&
                  DEBIAN_FRONTEND=noninteractive apt-get purge -y -o DPkg::Lock::Timeout=300 commandfilefilter' \
  sh "$work" "$src/packaging/ppd/commandfilefilter.ppd" >"$work/remove.raw" 2>&1 || status=$?
# apt-get runs dpkg on a terminal of its own, which ends lines with CR LF.
tr -d '\r' <"$work/remove.raw" >"$work/remove.out"
grep -A12 '^commandfilefilter: ' "$work/remove.out" || true
[ $status -eq 0 ] || { cat "$work/remove.out"; fail "apt-get purge commandfilefilter failed (status $status)"; }
grep -qx ' *laser office' "$work/remove.out" \
  || { cat "$work/remove.out"; fail "the removal did not name exactly the queues laser and office"; }
grep -q 'lpadmin -x QUEUE' "$work/remove.out" \
  || { cat "$work/remove.out"; fail "the removal warning does not say what to do"; }
