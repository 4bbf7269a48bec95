# Starts a throw-away cupsd on a loopback port, for tests and for trying the operator's guide.
# Source it, then call:  cff_cupsd_isolate "USAGE" "$@"  (below), cff_cupsd_start DIR FILTER
# [SCHEME=PROGRAM...]  (FILTER is installed as the filter "commandfilefilter", each PROGRAM
# as the backend for URIs SCHEME://...), use
# $CFF_CUPS_HOST with lp, lpadmin, lpoptions, lpstat and ipptool, and cff_cupsd_stop when done.
# CFF_CUPS_WEB_INTERFACE=Yes turns on cupsd's web interface.
# Needs root: cupsd drops to user lp for filters and backends.

# Checks that the calling script got one argument per word of USAGE (else says how to call it
# and exits 2), skips (exit 77) without root, else reruns the script with its arguments in a
# private network namespace, which keeps cupsd's port and the simulator's UDP 161 away from
# the rest of the machine; returns inside it with loopback up.
# Call as:  cff_cupsd_isolate "USAGE" "$@"
cff_cupsd_isolate() {
  local usage=$1 words
  shift
  read -ra words <<<"$usage"
  if [ $# -ne ${#words[@]} ]; then
    echo "usage: $0 $usage" >&2
    exit 2
  fi
  if [ "$(id -u)" -ne 0 ]; then
    echo "SKIP: needs root: cupsd runs filters and backends as user lp"
    exit 77
  fi
  if [ -z "${CFF_IN_NETNS:-}" ]; then
    if ! unshare -n true 2>/dev/null; then
      echo "SKIP: cannot create a network namespace (unshare -n failed)"
      exit 77
    fi
    CFF_IN_NETNS=1 exec unshare -n bash "$0" "$@"
  fi
  ip link set lo up
}

cff_cupsd_start() {
  local dir=$1 filter=$2 f backend
  shift 2
  CFF_CUPS_DIR=$dir
  mkdir -p "$dir"/{etc/ppd,bin/filter,bin/backend,spool/tmp,cache,state,log}
  for f in daemon cgi-bin notifier monitor driver; do
    [ -e /usr/lib/cups/$f ] && ln -sfn /usr/lib/cups/$f "$dir/bin/$f"
  done
  for f in /usr/lib/cups/filter/* /usr/lib/cups/backend/*; do
    ln -sfn "$f" "$dir/bin/${f#/usr/lib/cups/}"
  done
  # Real root-owned copies: cupsd refuses programs that others could replace.
  install -m 0755 "$filter" "$dir/bin/filter/commandfilefilter"
  for backend in "$@"; do
    rm -f "$dir/bin/backend/${backend%%=*}"
    install -m 0755 "${backend#*=}" "$dir/bin/backend/${backend%%=*}"
  done
  # cupsd refuses filters below a directory that others can write to.
  chmod 0755 "$dir" "$dir"/bin "$dir"/bin/filter "$dir"/bin/backend
  chmod 0711 "$dir"/spool
  chown root:lp "$dir"/spool "$dir"/spool/tmp
  chmod 01770 "$dir"/spool/tmp

  # An unused port in the unprivileged range, picked from the process id.
  CFF_CUPS_PORT=$(( 20000 + $$ % 20000 ))
  CFF_CUPS_HOST=127.0.0.1:$CFF_CUPS_PORT
  cat > "$dir/etc/cups-files.conf" <<CONF
ServerRoot $dir/etc
ServerBin $dir/bin
DataDir /usr/share/cups
RequestRoot $dir/spool
TempDir $dir/spool/tmp
CacheDir $dir/cache
StateDir $dir/state
ErrorLog $dir/log/error_log
AccessLog $dir/log/access_log
PageLog $dir/log/page_log
User lp
Group lp
SystemGroup root
FileDevice Yes
CONF
  cat > "$dir/etc/cupsd.conf" <<CONF
LogLevel debug2
Listen 127.0.0.1:$CFF_CUPS_PORT
Browsing No
WebInterface ${CFF_CUPS_WEB_INTERFACE:-No}
DefaultAuthType None
<Location />
  Order allow,deny
  Allow all
</Location>
<Policy default>
  <Limit All>
    Order deny,allow
  </Limit>
</Policy>
CONF
  /usr/sbin/cupsd -f -c "$dir/etc/cupsd.conf" -s "$dir/etc/cups-files.conf" &
  CFF_CUPS_PID=$!
  local i
  for i in $(seq 1 100); do
    lpstat -h "$CFF_CUPS_HOST" -r 2>/dev/null | grep -q 'is running' && return 0
    sleep 0.1
  done
  echo "private cupsd did not start; see $dir/log/error_log" >&2
  return 1
}

cff_cupsd_stop() {
  if [ -n "${CFF_CUPS_PID:-}" ]; then
    kill "$CFF_CUPS_PID" 2>/dev/null || true
    wait "$CFF_CUPS_PID" 2>/dev/null || true
    CFF_CUPS_PID=
  fi
}

# Waits until job ID (e.g. "laser-3") is listed as completed (at most 30 s).
cff_cupsd_wait_completed() {
  local id=$1 i
  for i in $(seq 1 300); do
    lpstat -h "$CFF_CUPS_HOST" -W completed -o "${id%-*}" 2>/dev/null | grep -q "^$id " && return 0
    sleep 0.1
  done
  return 1
}

# Waits until every job on the private cupsd has left the queue (at most 30 s).
cff_cupsd_wait_jobs() {
  local i
  for i in $(seq 1 300); do
    [ -z "$(lpstat -h "$CFF_CUPS_HOST" -o 2>/dev/null)" ] && return 0
    sleep 0.1
  done
  return 1
}
