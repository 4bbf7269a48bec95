#!/usr/bin/env bash
# Checks the sample PPD: it passes cupstestppd without warnings, and every default that the
# filter can write is a choice of its option (cupsd writes whatever the filter reports, and a
# default that is no choice breaks the queue's PPD).
set -euo pipefail
ppd=$1
failed=0

# Filters are checked by the package build, where the filter is installed beside the PPD.
if ! out=$(cupstestppd -I filters -v "$ppd" 2>&1) || grep -q -E 'WARN|FAIL' <<<"$out"; then
  echo "$out"
  echo "cupstestppd does not pass $ppd cleanly"
  failed=1
fi

written=(
  "Trays Tray1 Tray12 Tray123 Tray1234 Tray12345"
  "OptOutputBins StandardBin OBin1 OBin2 OBin3 OBin4 OBin5 OBin6 OBin7 OBin8 OBin9 OBin10 OBin11 OBin12 OBin13 OBin14"
  "OutputFinisher NotInstalledM StandardFinisher AdvancedFinisher"
  "OptDuplex InstalledM NotInstalledM"
  "Duplex None"
  "Flash InstalledF NotInstalledF"
  "EnvFeeder InstalledM NotInstalledM"
)
for row in "${written[@]}"; do
  read -r option values <<<"$row"
  for value in $values; do
    if ! grep -q -E "^\*${option} ${value}(/|:)" "$ppd"; then
      echo "option $option has no choice $value"
      failed=1
    fi
  done
done

grep -q '^\*cupsFilter2: "application/vnd.cups-command application/octet-stream 0 commandfilefilter"$' "$ppd" \
  || { echo "the command filter line is missing"; failed=1; }
exit $failed
