#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the filter and the printer simulator, and runs the
# filter with "AutoConfigure" and "ReportLevels" against every bundled printer profile over
# each way the filter reaches a printer: the USB backend's back-channel, the network (SNMP and
# packets over UDP), and the backend's SNMP side channel as used on a macOS host. Prints the
# "PPD:" and "ATTR:" lines that cupsd would apply, one value per line.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=${CFF_DEMO_BUILD_DIR:-build}

filter=$root/$build/commandfilefilter
cffsim=$root/$build/tools/simulator/cffsim
fake_uname=$root/$build/tests/libcff_fake_uname.so

# Prints the filter's PPD: and ATTR: lines from standard input, one key=value per line, and
# says so when one of the expected kinds (default both) is missing.
show() { # show [PPD|ATTR]
  local expected=${1:-PPD ATTR}
  local ppd=0 attr=0 line
  while IFS= read -r line; do
    case $line in
      "PPD: "* | "ATTR: "*)
        [ "${line%%:*}" = PPD ] && ppd=1 || attr=1
        echo "    ${line%%:*}:"
        # Values never hold " Key=", so a space before one separates two pairs.
        sed -E 's/^[A-Z]+: //; s/ +$//; s/ ([A-Za-z][A-Za-z-]*=)/\n\1/g' <<<"$line" | sed 's/^/      /'
        ;;
    esac
  done
  [ $ppd -eq 1 ] || [[ $expected != *PPD* ]] || echo "    (no PPD: line)"
  [ $attr -eq 1 ] || [[ $expected != *ATTR* ]] || echo "    (no ATTR: line: no supplies reported)"
}

# Starts the simulator on the network with the given options; sets sim_pid.
start_network_printer() { # start_network_printer LOG OPTION... PROFILE
  local log=$1 i
  shift
  "$cffsim" udp --address 127.0.0.1 "$@" 2>"$log" &
  sim_pid=$!
  for i in $(seq 1 50); do
    grep -q 'SNMP on UDP port' "$log" && return 0
    kill -0 "$sim_pid" 2>/dev/null || break
    sleep 0.1
  done
  echo "    the simulator did not start: $(cat "$log")"
  return 1
}

stop_network_printer() {
  kill "$sim_pid" 2>/dev/null || true
  wait "$sim_pid" 2>/dev/null || true
}

# Runs the three paths for every profile. $1 is "network" when UDP 161 on loopback is ours.
run_demo() {
  local network=$1 work profile name model
  work=$(mktemp -d)
  trap 'rm -rf "$work"' RETURN
  printf '#CUPS-COMMAND\nAutoConfigure\nReportLevels\n' > "$work/both.cmd"
  printf '#CUPS-COMMAND\nReportLevels\n' > "$work/levels.cmd"
  [ "$network" = network ] && ip link set lo up

  for profile in "$root"/tools/simulator/profiles/*.yaml; do
    name=$(basename "$profile")
    model=$(sed -n 's/^model: *"\(.*\)"/\1/p' "$profile")
    echo
    echo "=== $name ($model)"

    echo "--- USB back-channel: simusb:// URI, requests on the filter's output, answers on fd 3"
    "$cffsim" run-filter "$profile" -- "$filter" 1 demo demo 1 "" "$work/both.cmd" 2>/dev/null | show

    echo "--- Network: DEVICE_URI=socket://127.0.0.1, SNMP on UDP 161, packets on UDP 9300"
    if [ "$network" = network ]; then
      if start_network_printer "$work/udp.log" "$profile"; then
        DEVICE_URI=socket://127.0.0.1 "$filter" 1 demo demo 1 "" "$work/both.cmd" 2>&1 | show
      fi
      stop_network_printer
    else
      echo "    skipped: needs a private network namespace for UDP port 161 (see above)"
    fi

    echo "--- As on macOS: DEVICE_URI=socket://127.0.0.1, ReportLevels through the backend's SNMP side channel (fd 4)"
    if [ "$network" = network ]; then
      # Packets on UDP 9300 are off: the supplies can only come through the side channel.
      # AutoConfigure still asks the printer's SNMP agent on UDP 161 directly.
      if start_network_printer "$work/udp.log" --npa-port -1 "$profile"; then
        DEVICE_URI=socket://127.0.0.1 LD_PRELOAD=$fake_uname CFF_FAKE_SYSNAME=Darwin CFF_FAKE_RELEASE=14.0.0 \
          "$cffsim" run-filter "$profile" -- "$filter" 1 demo demo 1 "" "$work/both.cmd" 2>/dev/null | show
      fi
      stop_network_printer
    else
      echo "    (ReportLevels only: AutoConfigure would need UDP port 161)"
      DEVICE_URI=socket://127.0.0.1 LD_PRELOAD=$fake_uname CFF_FAKE_SYSNAME=Darwin CFF_FAKE_RELEASE=14.0.0 \
        "$cffsim" run-filter "$profile" -- "$filter" 1 demo demo 1 "" "$work/levels.cmd" 2>/dev/null | show ATTR
    fi
  done
}

if [ "${1:-}" = --run ]; then
  run_demo "$2"
  exit 0
fi

bash scripts/setup.sh
cmake -S . -B "$build" >/dev/null
cmake --build "$build" --target commandfilefilter cffsim cff_fake_uname -j"$(nproc)"

# The simulated network printer listens on UDP 161, which only root may bind: the network
# paths run in a private network namespace with nothing but loopback.
if [ "$(id -u)" -eq 0 ] && unshare -n true 2>/dev/null; then
  unshare -n bash "$0" --run network
elif unshare -rn true 2>/dev/null; then
  unshare -rn bash "$0" --run network
else
  echo
  echo "Cannot create a private network namespace (not root, and unprivileged user namespaces"
  echo "are not permitted here): the network paths are skipped. Run as root for all paths."
  bash "$0" --run none
fi
