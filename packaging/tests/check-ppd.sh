#!/usr/bin/env bash
# Checks the sample PPDs (monochrome and colour models): each passes cupstestppd without
# warnings, every default that the filter can write is a choice of its option (cupsd writes
# whatever the filter reports, and a default that is no choice breaks the queue's PPD), the
# commands offered are the ones that do something, the colour claims fit the models, and the
# two files differ in nothing else.
# Usage: check-ppd.sh MONO_PPD COLOR_PPD
set -euo pipefail
mono=$1 color=$2
failed=0
fail() {
  echo "$*"
  failed=1
}
has() { # has PPD LINE-PATTERN WHAT
  grep -q -E "$2" "$1" || fail "$1: $3"
}
lacks() { # lacks PPD LINE-PATTERN WHAT
  if grep -q -E "$2" "$1"; then fail "$1: $3"; fi
}

written=(
  "Trays Tray1 Tray12 Tray123 Tray1234 Tray12345"
  "OptOutputBins StandardBin OBin1 OBin2 OBin3 OBin4 OBin5 OBin6 OBin7 OBin8 OBin9 OBin10 OBin11 OBin12 OBin13 OBin14"
  "OutputFinisher NotInstalledM StandardFinisher AdvancedFinisher"
  "OptDuplex InstalledM NotInstalledM"
  "Duplex None"
  "Flash InstalledF NotInstalledF"
  "EnvFeeder InstalledM NotInstalledM"
)

for ppd in "$mono" "$color"; do
  # Filters are checked by the package build, where the filter is installed beside the PPD.
  if ! out=$(cupstestppd -I filters -v "$ppd" 2>&1) || grep -q -E 'WARN|FAIL' <<<"$out"; then
    echo "$out"
    fail "cupstestppd does not pass $ppd cleanly"
  fi
  for row in "${written[@]}"; do
    read -r option values <<<"$row"
    for value in $values; do
      has "$ppd" "^\*${option} ${value}(/|:)" "option $option has no choice $value"
    done
  done
  has "$ppd" '^\*cupsFilter2: "application/vnd.cups-command application/octet-stream 0 commandfilefilter"$' \
    "the command filter line is missing"
  # A self-test page is accepted by the filter but prints nothing: it is not offered.
  has "$ppd" '^\*cupsCommands: "AutoConfigure ReportLevels"$' "cupsCommands must offer AutoConfigure and ReportLevels"
  lacks "$ppd" '^\*cupsCommands:.*PrintSelfTestPage' "cupsCommands offers PrintSelfTestPage, which prints nothing"
done

has "$mono" '^\*ColorDevice: False$' "a monochrome PPD says ColorDevice: False"
has "$mono" '^\*DefaultColorSpace: Gray$' "a monochrome PPD has the colour space Gray"
lacks "$mono" '^\*OpenUI \*ColorModel' "a monochrome PPD offers no colour mode"
has "$color" '^\*ColorDevice: True$' "a colour PPD says ColorDevice: True"
has "$color" '^\*DefaultColorSpace: CMYK$' "a colour PPD has the colour space CMYK"
has "$color" '^\*ColorModel CMYK/' "a colour PPD offers colour printing"
has "$color" '^\*ColorModel Gray/' "a colour PPD offers grayscale printing"

# Apart from names, comments and colour, the two describe the same printers.
own='^\*(%|PCFileName|ModelName|ShortNickName|NickName|ColorDevice|DefaultColorSpace|DefaultColorModel|ColorModel|OpenUI \*ColorModel|OrderDependency: [0-9]+ AnySetup \*ColorModel|CloseUI: \*ColorModel)'
if ! differences=$(diff <(grep -v -E "$own" "$mono" | grep -v '^$') <(grep -v -E "$own" "$color" | grep -v '^$')); then
  fail "the sample PPDs differ beyond names and colour:"$'\n'"$differences"
fi
exit $failed
