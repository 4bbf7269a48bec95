#!/usr/bin/env bash
# Runs ReportLevels jobs through a private cupsd against the simulator as a USB-like backend,
# changing the simulated supply levels between jobs, and reads the queue's
# printer-state-reasons back with ipptool: low and empty supplies must raise their reasons,
# a refill must clear them, a nearly full waste box must raise nothing, and a printer that
# answers nothing must leave the reasons of the last good report in place.
# Usage: cupsd-supply-warnings.sh PPD FILTER CFFSIM
set -euo pipefail
# shellcheck source=private-cupsd.sh
source "$(dirname "$0")/private-cupsd.sh"
cff_cupsd_isolate "PPD FILTER CFFSIM" "$@"

ppd=$1 filter=$2 cffsim=$3
work=$(mktemp -d)
chmod 0755 "$work"
trap 'cff_cupsd_stop; rm -rf "$work"' EXIT

# The backend reads the profile at every job, as user lp; each job gets the levels written last.
profile=$work/printer.yaml
set_levels() { # set_levels YELLOW_TONER BLACK_TONER DRUM WASTE_HELD (all of 100)
  cat > "$profile" <<YAML
model: "SimLevels L4"
code_page: 2009
supplies:
  - {id: 1, type: 3, name: "Black Toner", max: 100, level: $2}
  - {id: 4, type: 3, name: "Yellow Toner", max: 100, level: $1}
  - {id: 16, type: 4, name: "Black Drum", max: 100, level: $3}
  - {id: 48, type: 5, name: "Fuser Unit", max: 100, level: 90}
  - {id: 112, type: 7, name: "Waste Toner Box", max: 100, level: $4}
YAML
  chmod 0644 "$profile"
}
set_silent() {
  printf 'model: "SimLevels L4"\nflash: not-reported\nsnmp:\n  derive: false\n' > "$profile"
  chmod 0644 "$profile"
}

set_levels 50 50 50 10
cff_cupsd_start "$work/cups" "$filter" "simusb=$cffsim"
H=$CFF_CUPS_HOST
lpadmin -h "$H" -p levels -E -v "simusb://cffsim/levels?profile=$profile" -P "$ppd" 2>/dev/null

failed=0
fail() {
  echo "$*"
  failed=1
}

# Submits a command file with the command words given and waits for the job to complete.
run_commands() { # run_commands WORD...
  local id
  { echo '#CUPS-COMMAND'; printf '%s\n' "$@"; } > "$work/commands"
  id=$(lp -h "$H" -d levels "$work/commands" | sed -n 's/^request id is \([^ ]*\) .*/\1/p')
  if [ -z "$id" ] || ! cff_cupsd_wait_completed "$id"; then
    fail "job '$id' ($*) did not complete: $(lpstat -h "$H" -l -o levels 2>&1)"
  fi
}

# The queue's printer-state-reasons, one per line, sorted. ipptool's exit status is not used:
# from the second marker-names update on, cupsd 2.4 answers with printer-supply-description
# twice, which ipptool's validation reports as a failure of the whole request.
reasons() {
  ipptool -tv "ipp://$H/printers/levels" get-printer-attributes.test > "$work/attributes" 2>&1 || true
  grep -q '^ *printer-state-reasons ' "$work/attributes" ||
    fail "no printer-state-reasons in: $(head -20 "$work/attributes")"
  sed -n 's/^ *printer-state-reasons ([^)]*) = //p' "$work/attributes" | tr ',' '\n' | sort
}

expect_reasons() { # expect_reasons WHAT REASON... (exactly these; "none" for none)
  local what=$1 want got
  shift
  want=$(printf '%s\n' "$@" | sort)
  got=$(reasons)
  [ "$got" = "$want" ] || fail "$what: printer-state-reasons are '$(echo $got)', expected '$*'"
}

# Yellow toner at 3 %.
set_levels 3 80 50 10
run_commands ReportLevels
expect_reasons "yellow toner at 3 %" toner-low-report

# The same toner refilled.
set_levels 60 80 50 10
run_commands ReportLevels
expect_reasons "yellow toner refilled to 60 %" none

# Black toner at 1 %, the drum at 4 %, the waste box holding 98 of 100 (2 % room left).
set_levels 60 1 4 98
run_commands ReportLevels
expect_reasons "black toner at 1 %, drum at 4 %, waste box nearly full" toner-empty-warning opc-near-eol-report

# A printer that answers nothing: the last good report's reasons stay.
set_silent
run_commands ReportLevels
expect_reasons "silent printer" toner-empty-warning opc-near-eol-report

# AutoConfigure never touches them, even when the supplies have been replaced meanwhile.
set_levels 60 80 50 10
run_commands AutoConfigure
expect_reasons "AutoConfigure" toner-empty-warning opc-near-eol-report
run_commands ReportLevels
expect_reasons "all supplies replaced" none

lpstat -h "$H" -p levels | grep -q '^printer levels is idle\.  enabled' ||
  fail "queue state at the end: $(lpstat -h "$H" -p levels)"

if [ $failed -ne 0 ]; then
  echo "--- cupsd error log (filter lines)"
  grep -E '\[Job [0-9]+\]' "$work/cups/log/error_log" | grep -E 'ATTR:|STATE:|ERROR|exited|stopped' | tail -40 || true
fi
exit $failed
