#!/usr/bin/env bash
# Runs the real filter under a private cupsd against simulated printers whose supply names are
# hostile to cupsd's reading of the "ATTR: " line: quotation marks, a backslash, a comma, a line
# break, NUL padding, bytes that are not UTF-8, and a name that tries to set other printer
# attributes; then sixteen supplies with names long enough to overflow the line. Every supply
# must arrive with its own name, level, type and colour, and nothing else about the queue may
# change. Runs in a private network namespace, like the other cupsd tests.
# Usage: cupsd-supply-names.sh PPD FILTER CFFSIM PROFILE
set -euo pipefail
# shellcheck source=private-cupsd.sh
source "$(dirname "$0")/private-cupsd.sh"
cff_cupsd_isolate "PPD FILTER CFFSIM PROFILE" "$@"

ppd=$1 filter=$2 cffsim=$3 profile=$4
work=$(mktemp -d)
chmod 0755 "$work"
trap 'cff_cupsd_stop; rm -rf "$work"' EXIT

# The backend runs as user lp: the profiles must be readable to it.
install -m 0644 "$profile" "$work/unusual.yaml"
{
  echo 'model: "SimLaser Long Names"'
  echo 'supplies:'
  letters=ABCDEFGHIJKLMNOP
  for i in $(seq 1 16); do
    # 120 characters each: "Supply NN ", 106 times a letter of its own, " end".
    name="Supply $(printf %02d "$i") $(printf '%*s' 106 '' | tr ' ' "${letters:i-1:1}") end"
    echo "  - {id: $i, type: 3, name: \"$name\", max: 100, level: $((i * 5))}"
  done
} > "$work/long.yaml"
chmod 0644 "$work/long.yaml"

cff_cupsd_start "$work/cups" "$filter" "simusb=$cffsim"
H=$CFF_CUPS_HOST
lpadmin -h "$H" -p unusual -E -v "simusb://cffsim/unusual?profile=$work/unusual.yaml" -P "$ppd" 2>/dev/null
lpadmin -h "$H" -p long -E -v "simusb://cffsim/long?profile=$work/long.yaml" -P "$ppd" 2>/dev/null

failed=0
fail() {
  echo "$*"
  failed=1
}

report_levels() { # report_levels QUEUE: runs a ReportLevels job and waits for it to complete
  local id
  printf '#CUPS-COMMAND\nReportLevels\n' > "$work/commands"
  id=$(lp -h "$H" -d "$1" "$work/commands" | sed -n 's/^request id is \([^ ]*\) .*/\1/p')
  if [ -z "$id" ] || ! cff_cupsd_wait_completed "$id"; then
    fail "$1: job '$id' did not complete: $(lpstat -h "$H" -l -o "$1" 2>&1)"
  fi
}

# The queue's attributes, one per line, every value quoted with '"' and '\' escaped. Attributes
# that change with time or with any job are left out.
attributes() { # attributes QUEUE
  ipptool --ippserver "$work/attrs" "ipp://$H/printers/$1" get-printer-attributes.test >/dev/null
  grep -v -E '^ATTR [a-zA-Z]+ (printer-up-time|printer-current-time|printer-state-change-(time|date-time)|printer-config-change-(time|date-time)|marker-change-time|queued-job-count|job-id|printer-state-message) ' "$work/attrs"
}

# One attribute's values as ipptool writes them for ippserver: "v1","v2",...
values() { # values NAME ATTRIBUTES
  sed -n "s/^ATTR [a-zA-Z]* $1 //p" <<<"$2"
}

count() { # count VALUES: the number of quoted values
  # Drop escaped characters, then count the quoted strings.
  sed 's/\\.//g' <<<"$1" | grep -o '"[^"]*"' | wc -l
}

# --- One answer with eight unusual names.
before=$(attributes unusual)
report_levels unusual
after=$(attributes unusual)

# The printer's own text, with the line break as two spaces, the NUL padding gone and each
# ISO-8859-1 byte (not UTF-8) replaced by U+FFFD.
expected_names='"Cartouche d'"'"'encre noire","Toner \"Cyan\"","Toner\\Magenta","Toner, Yellow","Drum  Unit","Belt","Tambour �quip�","K\"'"'"' printer-alert='"'"'injected'"'"' auth-info-required=username,password x='"'"'"'
names=$(values marker-names "$after")
[ "$names" = "$expected_names" ] || fail "unusual: marker-names"$'\n'"  got      $names"$'\n'"  expected $expected_names"
[ "$(values marker-levels "$after")" = '80,70,60,50,40,30,20,10' ] ||
  fail "unusual: marker-levels: $(values marker-levels "$after")"
[ "$(values marker-types "$after")" = '"toner","toner","toner","toner","opc","opc","opc","wasteToner"' ] ||
  fail "unusual: marker-types: $(values marker-types "$after")"
[ "$(count "$(values marker-colors "$after")")" -eq 8 ] ||
  fail "unusual: marker-colors: $(values marker-colors "$after")"
[ "$(count "$names")" -eq 8 ] || fail "unusual: $(count "$names") names"

# Nothing but the markers (and the supply attributes cupsd derives from them) changed.
changed=$(diff <(grep -v -E ' (marker|printer-supply)-?' <<<"$before") \
               <(grep -v -E ' (marker|printer-supply)-?' <<<"$after") || true)
[ -z "$changed" ] || fail "unusual: attributes other than the markers changed:"$'\n'"$changed"
# cupsd reports these only when they are set; the printer's name must not have set them.
cat > "$work/untouched.test" <<'TEST'
{
  NAME "A printer's supply names set no other queue attribute"
  OPERATION Get-Printer-Attributes
  GROUP operation-attributes-tag
  ATTR charset attributes-charset utf-8
  ATTR naturalLanguage attributes-natural-language en
  ATTR uri printer-uri $uri
  ATTR keyword requested-attributes auth-info-required,printer-alert,printer-alert-description
  STATUS successful-ok
  EXPECT !auth-info-required
  EXPECT !printer-alert
  EXPECT !printer-alert-description
}
TEST
untouched=$(ipptool -t "ipp://$H/printers/unusual" "$work/untouched.test" 2>&1) ||
  fail "unusual: other queue attributes were set:"$'\n'"$untouched"
validation=$(ipptool -tv "ipp://$H/printers/unusual" get-printer-attributes.test 2>&1) ||
  fail "unusual: ipptool's validation failed:"$'\n'"$(grep -v -E '^ {8}' <<<"$validation" | head -20)"

# --- Sixteen supplies with 120-character names: the line must fit in what cupsd reads.
report_levels long
after=$(attributes long)
names=$(values marker-names "$after")
for attribute in marker-names marker-levels marker-types marker-colors; do
  v=$(values "$attribute" "$after")
  if [ "$attribute" = marker-levels ]; then
    n=$(tr ',' '\n' <<<"$v" | grep -c .)
  else
    n=$(count "$v")
  fi
  [ "$n" -eq 16 ] || fail "long: $attribute has $n values: $v"
done
[ "$(values marker-levels "$after")" = '5,10,15,20,25,30,35,40,45,50,55,60,65,70,75,80' ] ||
  fail "long: marker-levels: $(values marker-levels "$after")"
# Every name keeps its start; the line of the job is at most 2047 bytes with its newline.
for i in $(seq 1 16); do
  grep -q "\"Supply $(printf %02d "$i") " <<<"$names" || fail "long: name $i is missing: $names"
done
# The names are cut to one common length and keep their start.
lengths=$(sed 's/^"//; s/"$//; s/","/\n/g' <<<"$names" | awk '{ print length($0) }' | sort -u)
[ "$(wc -l <<<"$lengths")" -eq 1 ] && [ "$lengths" -ge 90 ] || fail "long: name lengths $lengths"
# The line itself, as the filter writes it for this printer, is at most 2047 bytes with its newline.
bytes=$("$cffsim" run-filter "$work/long.yaml" -- "$filter" 1 root title 1 "" "$work/commands" 2>&1 |
        grep -a '^ATTR: ' | wc -c)
[ "$bytes" -gt 1900 ] && [ "$bytes" -le 2047 ] || fail "long: the ATTR line is $bytes bytes long"
echo "long: ATTR line of $bytes bytes, names cut to $lengths characters"

# cupsd saves the queue on shutdown: no printer's text may have reached printers.conf as a setting.
cff_cupsd_stop
[ -f "$work/cups/etc/printers.conf" ] || fail "printers.conf was not written"
if grep -q -E '^(AuthInfoRequired|Attribute printer-alert)' "$work/cups/etc/printers.conf"; then
  fail "printers.conf holds: $(grep -E 'AuthInfoRequired|printer-alert' "$work/cups/etc/printers.conf")"
fi

if [ $failed -ne 0 ]; then
  echo "--- cupsd error log (filter and backend lines)"
  grep -a -E '\[Job [0-9]+\]' "$work/cups/log/error_log" | grep -a -E 'ATTR:|ERROR|exited|stopped' | tail -20 || true
fi
exit $failed
