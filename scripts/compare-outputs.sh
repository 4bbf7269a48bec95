#!/bin/sh
# Runs the filter against every bundled simulator profile on each path (USB back-channel,
# UDP packets and SNMP, the backend's side channel as on a Darwin host) and compares what it
# sends, what it prints on standard error, its log and the simulator's log with the recorded
# outputs in tests/golden/outputs.
#
#   scripts/compare-outputs.sh [--update] [BUILD_DIR]
#
# --update rewrites the recorded outputs from this build: run it after an intended change of
# output and commit the result. Needs root for private network and mount namespaces and
# strace to record the wire; exits 77 (skipped) without them.
set -u

update=0
if [ "${1:-}" = "--update" ]; then
    update=1
    shift
fi
source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(cd "${1:-$source_dir/build}" && pwd) || exit 2
golden="$source_dir/tests/golden/outputs"
filter="$build_dir/commandfilefilter"
simulator="$build_dir/tools/simulator/cffsim"
fake_uname="$build_dir/tests/libcff_fake_uname.so"

# Everything runs again inside private network and mount namespaces: UDP port 161 on a
# loopback of its own, an empty /tmp so that the host's log marker and log stay untouched.
if [ -z "${CFF_COMPARE_INNER:-}" ]; then
    for tool in strace unshare ip; do
        command -v "$tool" >/dev/null 2>&1 || { echo "SKIPPED: $tool is not installed"; exit 77; }
    done
    unshare -n -m true 2>/dev/null || { echo "SKIPPED: no private namespaces (needs root)"; exit 77; }
    case "$source_dir/$build_dir" in
        /tmp/*|*:/tmp/*) echo "SKIPPED: the trees lie below /tmp, which is replaced"; exit 77 ;;
    esac
    for file in "$filter" "$simulator" "$fake_uname"; do
        [ -x "$file" ] || [ -f "$file" ] || { echo "missing $file: build first"; exit 2; }
    done
    CFF_COMPARE_INNER=1 CFF_COMPARE_UPDATE=$update exec unshare -n -m --propagation private "$0" "$build_dir"
fi
update=${CFF_COMPARE_UPDATE:-0}

mount -t tmpfs tmpfs /tmp || exit 2
ip link set lo up || exit 2
work=/tmp/.compare
mkdir -p "$work/new"
for command in AutoConfigure ReportLevels; do
    echo "$command" >"$work/$command"
done

# Writes the filter's requests from an strace record: every datagram it sends, and on the
# spooler's channels (|channels| is "1" or "4": fd 1 the job stream, fd 4 the side channel)
# what it writes there.
wire() {
    sed -n -e 's/^[0-9][0-9]* *//' \
        -e "/^write([${channels:-x}],/p" -e '/^sendto(/p' -e '/^sendmsg(/p' "$work/trace" |
        sed -e 's/sin_port=htons([0-9]*)/sin_port=htons(PORT)/g' -e 's/^\(sendto\|sendmsg\|write\)([0-9]*,/\1(FD,/'
}

# Log time stamps ([hh:mm:ss:mmm]) change from run to run, and so does the four-byte session
# id, taken from the clock, that the network framing carries at offset 4 of a request and at
# offset 8 of an answer. The trees' own paths (in the device URIs) depend on the checkout.
normalise() {
    sed -e 's/\[[0-9][0-9]:[0-9][0-9]:[0-9][0-9]:[0-9][0-9][0-9]\]/[TIME]/g' \
        -e "s|$build_dir/|BUILD/|g" -e "s|$source_dir/|SOURCE/|g" \
        -e 's/^\(sendto(FD, "\\x01\\x00\\x00\\x31\)\\x..\\x..\\x..\\x../\1\\xID\\xID\\xID\\xID/' \
        -e 's/<0x01,0x00,0x00,0x31,0x..,0x..,0x..,0x..,/<0x01,0x00,0x00,0x31,ID,ID,ID,ID,/' \
        -e 's/<\(0x01,0x02,0x00,0x31,0x..,0x..,0x..,0x..,\)0x..,0x..,0x..,0x..,/<\1ID,ID,ID,ID,/' \
        -e 's/: \(01 02 00 31 .. .. .. .. \).. .. .. .. /: \1ID ID ID ID /'
}

trace_filter() {
    echo "$(command -v strace) -qq -f -xx -s 65536 -e trace=write,sendto,sendmsg -o $work/trace $filter"
}

record() {
    name=$1
    out="$work/new/$name.txt"
    {
        echo "== requests"
        wire
        echo "== standard error"
        cat "$work/stderr"
        echo "== log"
        [ -f /tmp/CommandFileFilter ] && cat /tmp/CommandFileFilter
        echo "== simulator"
        cat "$work/sim"
    } | normalise >"$out"
}

fresh_tmp() {
    find /tmp -mindepth 1 -maxdepth 1 ! -name .compare -exec rm -rf {} +
    : >/tmp/startlog
    rm -f "$work/trace" "$work/stderr" "$work/sim"
}

# Only PATH and LANG reach the filter, and the sanitizers' settings of a sanitizer build; the
# leak check cannot run under strace.
environment="env -i PATH=/usr/bin:/bin LANG=de_DE.UTF-8"
[ -n "${ASAN_OPTIONS:-}" ] && environment="$environment ASAN_OPTIONS=$ASAN_OPTIONS:detect_leaks=0"
[ -n "${UBSAN_OPTIONS:-}" ] && environment="$environment UBSAN_OPTIONS=$UBSAN_OPTIONS"
for profile_file in "$source_dir"/tools/simulator/profiles/*.yaml; do
    profile=$(basename "$profile_file" .yaml)
    for command in AutoConfigure ReportLevels; do
        # USB: requests on the job stream, answers on the back-channel.
        fresh_tmp
        channels=14
        $environment "$simulator" run-filter --verbose "$profile_file" -- $(trace_filter) \
            42 user title 1 '' "$work/$command" >"$work/stderr" 2>"$work/sim"
        record "$profile.usb.$command"

        # Network: packets over UDP, SNMP to port 161 of the simulator.
        fresh_tmp
        channels=
        "$simulator" udp --verbose --address 127.0.0.1 --snmp-port 161 "$profile_file" 2>"$work/sim" &
        sim_pid=$!
        for _ in $(seq 200); do
            grep -q ':00A1 ' /proc/net/udp 2>/dev/null && grep -q ':2454 ' /proc/net/udp && break
            sleep 0.05
        done
        $environment DEVICE_URI=socket://127.0.0.1:9100 $(trace_filter) \
            42 user title 1 '' "$work/$command" >/dev/null 2>"$work/stderr" </dev/null 3<&- 4<&-
        kill -TERM "$sim_pid"
        wait "$sim_pid"
        record "$profile.udp.$command"
    done

    # Side channel: a Darwin host asks the backend for the supplies with SNMP over fd 4.
    fresh_tmp
    channels=4
    $environment DEVICE_URI=socket://127.0.0.1:9100 "$simulator" run-filter --verbose "$profile_file" -- \
        $(trace_filter | sed "s|$filter\$|/usr/bin/env|") LD_PRELOAD="$fake_uname" CFF_FAKE_SYSNAME=Darwin \
        CFF_FAKE_RELEASE=14.0.0 "$filter" 42 user title 1 '' "$work/ReportLevels" >"$work/stderr" 2>"$work/sim"
    record "$profile.sidechannel.ReportLevels"
done

if [ $update = 1 ]; then
    rm -rf "$golden"
    mkdir -p "$golden"
    cp "$work"/new/*.txt "$golden/"
    echo "recorded $(ls "$golden" | wc -l) outputs in $golden"
    exit 0
fi
if diff -ru "$golden" "$work/new"; then
    echo "all $(ls "$work/new" | wc -l) outputs are as recorded"
    exit 0
fi
echo "outputs differ from tests/golden/outputs; if the change is intended, run: scripts/compare-outputs.sh --update"
exit 1
