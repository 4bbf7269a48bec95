#!/usr/bin/env bash
# Loads the sample PPD into a private cupsd and runs a command job through a stand-in filter
# that prints the filter's two kinds of line: the queue must route the job to the filter, take
# the reported defaults into its PPD and show the supplies as marker attributes.
set -euo pipefail
ppd=$1
if [ "$(id -u)" -ne 0 ]; then
  echo "needs root: cupsd runs filters as user lp"
  exit 77
fi
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=private-cupsd.sh
source "$here/private-cupsd.sh"
work=$(mktemp -d)
chmod 0755 "$work"
trap 'cff_cupsd_stop; rm -rf "$work"' EXIT

cat > "$work/standin" <<'FILTER'
#!/bin/sh
echo "PPD: DefaultDuplex=None DefaultEnvFeeder=InstalledM DefaultFlash=InstalledF DefaultOptDuplex=NotInstalledM DefaultOptOutputBins=OBin14 DefaultOutputFinisher=AdvancedFinisher DefaultTrays=Tray12345 " >&2
echo "ATTR: marker-colors=#000000,#000000 marker-levels=40,70 marker-names='\"Black Toner\"','\"Waste Toner\"' marker-types=toner,wasteToner " >&2
echo "standin: $# arguments, TMPDIR=$TMPDIR" >&2
FILTER
cff_cupsd_start "$work/cups" "$work/standin"
H=$CFF_CUPS_HOST

lpadmin -h "$H" -p laser -E -v file:/dev/null -P "$ppd" 2>/dev/null
printf '#CUPS-COMMAND\nAutoConfigure\nReportLevels\n' > "$work/commands"
lp -h "$H" -d laser "$work/commands" >/dev/null
cff_cupsd_wait_jobs || { echo "the command job did not finish"; exit 1; }

failed=0
expect() { # expect WHAT TEXT PATTERN
  if ! grep -q -E -- "$3" <<<"$2"; then
    echo "$1: no match for '$3' in:"; echo "$2"
    failed=1
  fi
}
options=$(lpoptions -h "$H" -p laser -l)
expect "defaults" "$options" '^Trays/.* \*Tray12345( |$)'
expect "defaults" "$options" '^OptOutputBins/.* \*OBin14( |$)'
expect "defaults" "$options" '^OutputFinisher/.* \*AdvancedFinisher( |$)'
expect "defaults" "$options" '^OptDuplex/.* \*NotInstalledM( |$)'
expect "defaults" "$options" '^Duplex/.* \*None( |$)'
expect "defaults" "$options" '^Flash/.* \*InstalledF( |$)'
expect "defaults" "$options" '^EnvFeeder/.* \*InstalledM( |$)'

attributes=$(ipptool -tv "ipp://$H/printers/laser" get-printer-attributes.test | grep -E 'printer-commands|marker-' || true)
expect "attributes" "$attributes" 'printer-commands \(1setOf keyword\) = AutoConfigure,ReportLevels$'
expect "attributes" "$attributes" 'marker-names \(1setOf nameWithoutLanguage\) = Black Toner,Waste Toner$'
expect "attributes" "$attributes" 'marker-levels \(1setOf integer\) = 40,70$'
expect "attributes" "$attributes" 'marker-types \(1setOf keyword\) = toner,wasteToner$'

# The manual page and the guide say where the diagnostic log lands: in cupsd's TempDir.
expect "filter environment" "$(grep 'standin:' "$work/cups/log/error_log" || true)" \
  "standin: 6 arguments, TMPDIR=$work/cups/spool/tmp\$"
exit $failed
