#!/usr/bin/env bash
# Builds and checks the Debian package (scripts/package.sh), installs it on this machine,
# runs the installed filter against the installed simulator, renders the installed manual
# pages, and removes the package again, with any package that the installation pulled in.
# Needs root.  Exits non-zero, with a message saying what failed, on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."

fail() { echo "ci-package.sh: FAILED: $*" >&2; exit 1; }
step() { echo "== [${SECONDS}s] $*"; }

[ "$(id -u)" -eq 0 ] || fail "needs root to install the package"
if dpkg-query -W -f='${Status}' commandfilefilter 2>/dev/null | grep -q ' installed$'; then
  fail "commandfilefilter is installed already; this run would replace and then remove it." \
       "Remove it first (dpkg --purge commandfilefilter)"
fi

bash scripts/package.sh
deb=$(ls "${CFF_PACKAGE_BUILD_DIR:-build-pkg}"/commandfilefilter_*.deb)

work=$(mktemp -d)
installed_before=$work/installed-before
dpkg-query -W -f='${binary:Package}\n' | sort >"$installed_before"

# Leaves the machine as it was: purges the package and whatever its installation added.
cleanup() {
  local status=$?
  # The package itself and whatever its installation pulled in.
  local added=()
  mapfile -t added < <(comm -13 "$installed_before" <(dpkg-query -W -f='${binary:Package}\n' | sort))
  if dpkg -s commandfilefilter >/dev/null 2>&1 || [ ${#added[@]} -gt 0 ]; then
    mapfile -t added < <(printf '%s\n' commandfilefilter "${added[@]}" | sort -u)
    step "apt-get purge ${added[*]}"
    DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq -o DPkg::Lock::Timeout=300 "${added[@]}" \
      >"$work/purge.log" 2>&1 \
      || { cat "$work/purge.log" >&2; echo "ci-package.sh: could not purge ${added[*]}" >&2; status=1; }
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

step "apt-get install ./$deb"
# Recommends (cups, avahi-daemon) would bring services that this check does not use.
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
  -o DPkg::Lock::Timeout=300 "./$deb" >"$work/apt.log" 2>&1 \
  || { cat "$work/apt.log" >&2; fail "apt-get could not install $deb"; }
dpkg-query -W -f='${Status}\n' commandfilefilter | grep -qx 'install ok installed' \
  || fail "dpkg does not list commandfilefilter as installed"

step "installed files"
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

step "installed filter against the installed simulator (basic-mono)"
printf '#CUPS-COMMAND\nAutoConfigure\nReportLevels\n' >"$work/commands"
expected='PPD: DefaultDuplex=None DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF DefaultOptDuplex=NotInstalledM DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray1 
ATTR: marker-colors=#000000,#000000 marker-levels=40,75 marker-names='"'"'"Black Toner"'"'"','"'"'"Drum"'"'"' marker-types=toner,opc '
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
