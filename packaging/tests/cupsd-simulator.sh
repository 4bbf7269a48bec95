#!/usr/bin/env bash
# Runs the real filter under a private cupsd against simulated printers: one queue on the
# simulator installed as a USB-like backend, one on CUPS's socket backend with the simulator
# answering on the network. Command jobs must set the queue's defaults and marker attributes,
# an unknown command must change nothing, and every job must complete with the queue enabled.
# Then what an administrator sees: the socket backend's own supply readings after a print job,
# lpinfo's simulator URIs, a missing profile in the queue's state, and the web interface.
# Runs in a private network namespace so that the simulator can take UDP 161 on loopback.
# Usage: cupsd-simulator.sh PPD FILTER CFFSIM PROFILE_DIR
set -euo pipefail
# shellcheck source=private-cupsd.sh
source "$(dirname "$0")/private-cupsd.sh"
cff_cupsd_isolate "PPD FILTER CFFSIM PROFILE_DIR" "$@"

ppd=$1 filter=$2 cffsim=$3 profiles=$4
# The colour model's sample PPD lies beside the monochrome one.
color_ppd=$(dirname "$ppd")/commandfilefilter-color.ppd
work=$(mktemp -d)
chmod 0755 "$work"
sim_pid=
cleanup() {
  cff_cupsd_stop
  if [ -n "$sim_pid" ]; then
    kill "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

# The backend runs as user lp: the profile must be readable to it.
install -m 0644 "$profiles/color-finisher.yaml" "$work/color-finisher.yaml"
profile=$work/color-finisher.yaml
# CUPS's socket backend polls the supplies itself with community "public" and reports them
# as marker attributes after the filter has run, overwriting the filter's. The network printer
# answers only the filter's read community, so that the markers show what the filter found.
sed 's/^snmp:$/snmp:\n  community: opencm/' "$profile" > "$work/color-finisher-net.yaml"
grep -q 'community: opencm' "$work/color-finisher-net.yaml"

"$cffsim" udp --address 127.0.0.1 --raw-port 9100 "$work/color-finisher-net.yaml" 2>"$work/cffsim.log" &
sim_pid=$!
CFF_CUPS_WEB_INTERFACE=Yes
cff_cupsd_start "$work/cups" "$filter" "simusb=$cffsim"
H=$CFF_CUPS_HOST
for i in $(seq 1 50); do
  grep -q 'TCP port 9100' "$work/cffsim.log" && break
  kill -0 "$sim_pid" 2>/dev/null || { echo "simulator did not start:"; cat "$work/cffsim.log"; exit 1; }
  sleep 0.1
done

lpadmin -h "$H" -p usbsim -E -v "simusb://cffsim/color-finisher?profile=$profile" -P "$color_ppd" 2>/dev/null
lpadmin -h "$H" -p netsim -E -v socket://127.0.0.1:9100 -P "$color_ppd" 2>/dev/null

failed=0
fail() {
  echo "$*"
  failed=1
}
expect() { # expect WHAT TEXT PATTERN
  grep -q -E -- "$3" <<<"$2" || fail "$1: no match for '$3' in:"$'\n'"$2"
}

# Submits a command file with the command words given and waits for the job to complete.
run_commands() { # run_commands QUEUE WORD...
  local queue=$1 id
  shift
  { echo '#CUPS-COMMAND'; printf '%s\n' "$@"; } > "$work/commands"
  id=$(lp -h "$H" -d "$queue" "$work/commands" | sed -n 's/^request id is \([^ ]*\) .*/\1/p')
  if [ -z "$id" ] || ! cff_cupsd_wait_completed "$id"; then
    fail "$queue: job '$id' ($*) did not complete: $(lpstat -h "$H" -l -o "$queue" 2>&1)"
    return 0
  fi
  expect "$queue: queue state after $*" "$(lpstat -h "$H" -p "$queue")" "^printer $queue is idle\.  enabled"
}

markers() { # markers QUEUE: the four marker attributes the filter reports
  ipptool -tv "ipp://$H/printers/$1" get-printer-attributes.test |
    grep -E 'marker-(names|levels|types|colors) ' | sed 's/^ *//' || true
}

for queue in usbsim netsim; do
  qppd=$work/cups/etc/ppd/$queue.ppd

  run_commands "$queue" AutoConfigure
  # Four trays, an envelope feeder, three bins beside the standard one, a booklet finisher,
  # a duplex unit and flash memory.
  defaults=$(sed -n '2,10p' "$qppd")
  for line in 'DefaultTrays: Tray1234' 'DefaultEnvFeeder: InstalledM' 'DefaultOptOutputBins: OBin3' \
              'DefaultOutputFinisher: AdvancedFinisher' 'DefaultOptDuplex: InstalledM' 'DefaultFlash: InstalledF'; do
    expect "$queue: PPD" "$defaults" "^\*$line\$"
  done
  options=$(lpoptions -h "$H" -p "$queue" -l)
  expect "$queue: options" "$options" '^Trays/.* \*Tray1234( |$)'
  expect "$queue: options" "$options" '^EnvFeeder/.* \*InstalledM( |$)'
  expect "$queue: options" "$options" '^OptOutputBins/.* \*OBin3( |$)'
  expect "$queue: options" "$options" '^OutputFinisher/.* \*AdvancedFinisher( |$)'
  expect "$queue: options" "$options" '^OptDuplex/.* \*InstalledM( |$)'
  expect "$queue: options" "$options" '^Flash/.* \*InstalledF( |$)'

  run_commands "$queue" ReportLevels
  # Waste toner is reported as the room left: 100 - 25. Drums and fuser in percent of their life.
  m=$(markers "$queue")
  expect "$queue: markers" "$m" '^marker-names \(1setOf nameWithoutLanguage\) = Black Toner,Cyan Toner,Magenta Toner,Yellow Toner,Black Drum,Cyan Drum,Magenta Drum,Yellow Drum,Fuser Unit \(220 V ±10 %\),Waste Toner Box$'
  expect "$queue: markers" "$m" '^marker-levels \(1setOf integer\) = 80,55,30,5,75,50,25,100,60,75$'
  expect "$queue: markers" "$m" '^marker-types \(1setOf keyword\) = toner,toner,toner,toner,opc,opc,opc,opc,fuser,wasteToner$'
  expect "$queue: markers" "$m" '^marker-colors \(1setOf nameWithoutLanguage\) = #000000,#00FFFF,#FF00FF,#FFFF00,#000000,#00FFFF,#FF00FF,#FFFF00,#000000,#000000$'

  cp "$qppd" "$work/before.ppd"
  run_commands "$queue" Frobnicate ReportLevels
  cmp -s "$work/before.ppd" "$qppd" || fail "$queue: an unknown command changed the PPD: $(diff "$work/before.ppd" "$qppd")"
  [ "$(markers "$queue")" = "$m" ] || fail "$queue: an unknown command changed the markers: $(markers "$queue")"
done

# CUPS's socket backend reads the supplies itself after an ordinary print job. A printer that
# answers its community ("public") must give it the same levels the filter reports.
"$cffsim" udp --address 127.0.0.2 --raw-port 9100 "$profile" 2>"$work/cffsim-public.log" &
public_pid=$!
for i in $(seq 1 50); do
  grep -q 'TCP port 9100' "$work/cffsim-public.log" && break
  sleep 0.1
done
lpadmin -h "$H" -p netmib -E -v socket://127.0.0.2:9100 -P "$color_ppd" 2>/dev/null
printf 'print data\n' > "$work/page.prn"
id=$(lp -h "$H" -d netmib -o raw "$work/page.prn" | sed -n 's/^request id is \([^ ]*\) .*/\1/p')
if [ -z "$id" ] || ! cff_cupsd_wait_completed "$id"; then
  fail "netmib: print job '$id' did not complete: $(lpstat -h "$H" -l -o netmib 2>&1)"
fi
m=$(markers netmib)
expect "netmib: markers from the socket backend" "$m" '^marker-levels \(1setOf integer\) = 80,55,30,5,75,50,25,100,60,75$'
expect "netmib: markers from the socket backend" "$m" '^marker-types \(1setOf keyword\) = toner,toner,toner,toner,opc,opc,opc,opc,fuser,waste-toner$'
kill "$public_pid" 2>/dev/null || true
wait "$public_pid" 2>/dev/null || true

# lpinfo lists one URI per shipped profile, and a queue made from a listed URI works as it is.
listed=$(lpinfo -h "$H" --include-schemes simusb -v)
for name in basic-mono color-finisher silent; do
  expect "lpinfo -v" "$listed" "^direct simusb://cffsim/$name\?profile=/[^ ]*/$name\.yaml\$"
done
uri=$(sed -n 's/^direct \(simusb:[^ ]*basic-mono[^ ]*\)$/\1/p' <<<"$listed")
lpadmin -h "$H" -p listed -E -v "$uri" -P "$ppd" 2>/dev/null
run_commands listed ReportLevels
expect "listed: markers" "$(markers listed)" '^marker-levels \(1setOf integer\) = 40,75$'

# A queue whose profile is gone shows the reason as its state message.
lpadmin -h "$H" -p noprofile -E -v "simusb://cffsim/gone?profile=$work/gone.yaml" -P "$ppd" 2>/dev/null
lp -h "$H" -d noprofile -o raw "$work/page.prn" >/dev/null
for i in $(seq 1 100); do
  lpstat -h "$H" -p noprofile | grep -q 'cffsim: ' && break
  sleep 0.1
done
expect "noprofile: state" "$(lpstat -h "$H" -p noprofile)" "cannot be opened: No such file or directory"

# The web interface shows a queue with the colour sample PPD as a colour printer, offers no
# self-test page, and its "Query Printer for Default Options" button runs AutoConfigure.
web() { # web METHOD PATH [FORM]: cupsd's answer, with a session cookie that the form repeats
  local form=${3:-}
  exec 9<>"/dev/tcp/127.0.0.1/$CFF_CUPS_PORT"
  printf '%s %s HTTP/1.0\r\nHost: %s\r\nCookie: org.cups.sid=cffsimtest\r\n' "$1" "$2" "$H" >&9
  printf 'Content-Type: application/x-www-form-urlencoded\r\nContent-Length: %d\r\n\r\n%s' "${#form}" "$form" >&9
  cat <&9
  exec 9<&-
}
lpadmin -h "$H" -p webcolor -E -v "simusb://cffsim/color-finisher?profile=$profile" -P "$color_ppd" 2>/dev/null
page=$(web GET /printers/webcolor)
expect "web: printer page" "$page" 'Driver:.*Generic Laser Series Color, 1\.0\.0 \(color'
expect "web: printer page" "$page" 'VALUE="set-printer-options">Set Default Options<'
if grep -q 'print-self-test-page' <<<"$page"; then
  fail "web: the Maintenance menu offers a self-test page"
fi
expect "web: options page" "$(web POST /admin 'org.cups.sid=cffsimtest&OP=set-printer-options&printer_name=webcolor')" \
  'NAME="AUTOCONFIGURE" VALUE="Query Printer for Default Options"'
web POST /admin 'org.cups.sid=cffsimtest&OP=set-printer-options&PRINTER_NAME=webcolor&AUTOCONFIGURE=Query' >/dev/null
for i in $(seq 1 300); do
  [ -n "$(lpstat -h "$H" -W completed -o webcolor 2>/dev/null)" ] && break
  sleep 0.1
done
expect "web: AutoConfigure job" "$(sed -n '2,10p' "$work/cups/etc/ppd/webcolor.ppd")" '^\*DefaultTrays: Tray1234$'

if [ $failed -ne 0 ]; then
  echo "--- cupsd error log (filter and backend lines)"
  grep -E '\[Job [0-9]+\]' "$work/cups/log/error_log" | grep -E 'PPD:|ATTR:|ERROR|exited|stopped' | tail -40 || true
fi
exit $failed
