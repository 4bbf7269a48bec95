#!/usr/bin/env bash
# Installs the build tree into a scratch root with prefix /usr, as the Debian package build
# does, and checks where each file lands and its mode.
# Usage: check-install.sh BUILD_DIR HAVE_CFFQUERY HAVE_CFFSIM
set -euo pipefail
build=$1 have_cffquery=$2 have_cffsim=$3
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
DESTDIR=$root cmake --install "$build" --prefix /usr >/dev/null

failed=0
expect_file() { # expect_file PATH MODE
  if [ ! -f "$root$1" ]; then
    echo "missing: $1"; failed=1
  elif [ "$(stat -c %a "$root$1")" != "$2" ]; then
    echo "mode of $1 is $(stat -c %a "$root$1"), not $2"; failed=1
  fi
}

# cupsd runs a filter only when it is root's and writable by nobody else.
expect_file /usr/lib/cups/filter/commandfilefilter 755
expect_file /usr/share/ppd/commandfilefilter/commandfilefilter.ppd 644
expect_file /usr/share/ppd/commandfilefilter/commandfilefilter-color.ppd 644
expect_file /usr/share/man/man8/commandfilefilter.8 644
if [ "$have_cffquery" = 1 ]; then
  expect_file /usr/bin/cffquery 755
  expect_file /usr/share/man/man8/cffquery.8 644
fi
if [ "$have_cffsim" = 1 ]; then
  expect_file /usr/bin/cffsim 755
  expect_file /usr/share/man/man1/cffsim.1 644
  [ -n "$(find "$root/usr/share/commandfilefilter/profiles" -name '*.yaml' 2>/dev/null)" ] \
    || { echo "no simulator profiles installed"; failed=1; }
  # Linked into a backend directory, the installed simulator lists the installed profiles.
  mkdir -p "$root/usr/lib/cups/backend"
  ln -s ../../../bin/cffsim "$root/usr/lib/cups/backend/simusb"
  listed=$(env -u DEVICE_URI -u CFFSIM_PROFILE "$root/usr/lib/cups/backend/simusb")
  grep -q "^direct simusb://cffsim/basic-mono?profile=$root/usr/share/commandfilefilter/profiles/basic-mono.yaml " <<<"$listed" \
    || { echo "the installed backend does not list the installed profiles:"; echo "$listed"; failed=1; }
  rm "$root/usr/lib/cups/backend/simusb"
fi

unexpected=$(find "$root" -type f ! -path "$root/usr/*")
[ -z "$unexpected" ] || { echo "installed outside /usr:"; echo "$unexpected"; failed=1; }
exit $failed
