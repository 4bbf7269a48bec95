#!/usr/bin/env bash
# End-to-end cost of one command job on every path, against the simulated printer.
#
#   scripts/bench-e2e.sh [RUNS]        (default 10 runs per row; needs root for unshare -n)
#
# Each row runs the filter RUNS times and prints the median wall time, the waits the
# dialogue has to sit out (the floor), CPU time (user+sys) and peak RSS of the filter
# process alone, next to snmpget asking the same objects of the same agent and the
# spooler's own command filter running a command file, and next to the floor: a C++ program
# that only reads the command file with the shared libcups. Uses the release build in build/
# (override with BUILD=dir): commandfilefilter, cffsim, cff_fake_uname, cff_snmp_oids, cff_measure,
# cff_command_file_reader.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

if [ "${1:-}" = "--in-netns" ]; then
  # Second half, inside a private network namespace: the UDP paths and snmpget.
  shift
  runs=$1 work=$2
  ip link set lo up
  "$SIM" udp --address 127.0.0.1 "$PROFILE" 2>/dev/null &
  sim_pid=$!
  trap 'kill $sim_pid 2>/dev/null; wait $sim_pid 2>/dev/null || true' EXIT
  for _ in $(seq 50); do ss -lun | grep -q ':161 ' && break; sleep 0.1; done
  for i in $(seq "$runs"); do
    DEVICE_URI=socket://127.0.0.1 "$MEASURE" "$work/udp-npa-levels" "$FILTER" 1 u t 1 "" "$work/levels.cmd" >/dev/null 2>&1
    DEVICE_URI=socket://127.0.0.1 "$MEASURE" "$work/udp-snmp-auto" "$FILTER" 1 u t 1 "" "$work/auto.cmd" >/dev/null 2>&1
    # shellcheck disable=SC2046
    "$MEASURE" "$work/snmpget" snmpget -v1 -c public -t 1 -r 0 127.0.0.1 $(cat "$work/oids") >/dev/null 2>&1 || true
  done
  exit 0
fi

runs=${1:-10}
build=${BUILD:-build}
export FILTER=$root/$build/commandfilefilter
export SIM=$root/$build/tools/simulator/cffsim
export MEASURE=$root/$build/bench/cff_measure
export PROFILE=$root/tools/simulator/profiles/color-finisher.yaml
shim=$root/$build/tests/libcff_fake_uname.so
reader=$root/$build/bench/cff_command_file_reader
for f in "$FILTER" "$SIM" "$shim" "$MEASURE" "$root/$build/bench/cff_snmp_oids" "$reader"; do
  [ -x "$f" ] || [ -f "$f" ] || { echo "missing $f: build commandfilefilter cffsim cff_fake_uname cff_snmp_oids cff_measure cff_command_file_reader" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
printf '#CUPS-COMMAND\nReportLevels\n' >"$work/levels.cmd"
printf '#CUPS-COMMAND\nAutoConfigure\n' >"$work/auto.cmd"
"$root/$build/bench/cff_snmp_oids" >"$work/oids"
cp "$root/bench/commandtops.ppd" "$work/bench.ppd"

for i in $(seq "$runs"); do
  "$SIM" run-filter "$PROFILE" -- "$MEASURE" "$work/usb-levels" "$FILTER" 1 u t 1 "" "$work/levels.cmd" >/dev/null 2>&1
  "$SIM" run-filter "$PROFILE" -- "$MEASURE" "$work/usb-auto" "$FILTER" 1 u t 1 "" "$work/auto.cmd" >/dev/null 2>&1
  # A network queue on an older Darwin host: supply levels through the backend's SNMP channel.
  # env runs before the measuring program, so that its own start is not counted; the filter
  # still pays for loading the uname shim.
  DEVICE_URI=socket://127.0.0.1 "$SIM" run-filter "$PROFILE" -- \
    /usr/bin/env LD_PRELOAD="$shim" CFF_FAKE_SYSNAME=Darwin CFF_FAKE_RELEASE=14.0.0 \
    "$MEASURE" "$work/backend-levels" "$FILTER" 1 u t 1 "" "$work/levels.cmd" >/dev/null 2>&1
  PPD=$work/bench.ppd "$MEASURE" "$work/commandtops" /usr/lib/cups/filter/commandtops 1 u t 1 "" "$work/levels.cmd" >/dev/null 2>&1
  printf '#CUPS-COMMAND\n' >"$work/empty.cmd"
  "$MEASURE" "$work/startup" "$FILTER" 1 u t 1 "" "$work/empty.cmd" >/dev/null 2>&1
  "$MEASURE" "$work/floor" "$reader" 1 u t 1 "" "$work/levels.cmd" >/dev/null 2>&1
  "$MEASURE" "$work/true" /bin/true >/dev/null 2>&1
done
unshare -n "$0" --in-netns "$runs" "$work"

python3 - "$work" "$runs" <<'PY'
import statistics, sys, os
work, runs = sys.argv[1], int(sys.argv[2])
# name, what, floor in seconds (the waits the dialogue itself imposes)
rows = [
    ("usb-levels", "ReportLevels, USB back channel (NPA)", 0.0),
    ("usb-auto", "AutoConfigure, USB back channel (NPA, 2 requests)", 0.0),
    ("udp-npa-levels", "ReportLevels, UDP NPA", 0.0),
    ("udp-snmp-auto", "AutoConfigure, UDP SNMP", 0.25),
    ("backend-levels", "ReportLevels, backend SNMP side channel", 0.0),
    ("snmpget", "snmpget, the same 63 objects, same agent", 0.0),
    ("commandtops", "commandtops, ReportLevels command file", 0.0),
    ("startup", "filter, command file without commands (start-up cost)", 0.0),
    ("floor", "C++ program reading the command file with the shared libcups (floor)", 0.0),
    ("true", "/bin/true (the cost of starting any process here)", 0.0),
]
def medians(name):
    path = os.path.join(work, name)
    if not os.path.exists(path):
        return None
    samples = [l.split() for l in open(path) if l.strip()]
    return (len(samples), statistics.median(float(s[0]) for s in samples),
            statistics.median(float(s[1]) for s in samples),
            statistics.median(int(s[2]) for s in samples) / 1024.0,
            ",".join(sorted(set(s[3] for s in samples))))
reference = medians("commandtops")
floor_program = medians("floor")
print("| path | runs | floor ms | wall ms (median) | wall - floor ms | CPU ms (median) | peak RSS MiB (median) "
      "| CPU / commandtops | RSS / commandtops | CPU / C++ floor | RSS / C++ floor | exit |")
print("|---|---|---|---|---|---|---|---|---|---|---|---|")
for name, what, floor in rows:
    m = medians(name)
    if m is None:
        print("| %s | 0 | | | | | | | | | | missing |" % what)
        continue
    count, wall, cpu, rss, codes = m
    def ratio(base, value, index):
        return "%.2f" % (value / base[index]) if base else ""
    print("| %s | %d | %.0f | %.1f | %.1f | %.2f | %.1f | %s | %s | %s | %s | %s |" % (
        what, count, floor * 1000, wall * 1000, (wall - floor) * 1000, cpu * 1000, rss,
        ratio(reference, cpu, 2), ratio(reference, rss, 3), ratio(floor_program, cpu, 2), ratio(floor_program, rss, 3),
        codes))
PY
