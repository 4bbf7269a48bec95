#!/usr/bin/env bash
# Installs the build tree into a scratch root with prefix /usr, as the Debian package does, and
# checks where each file lands, its mode, and that the manual pages and the changelog are
# gzip files without a time stamp.  Usage: check-install.sh BUILD_DIR HAVE_CFFQUERY HAVE_CFFSIM
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
expect_gzip() { # a gzip member whose header carries no modification time
  expect_file "$1" 644
  [ -f "$root$1" ] || return 0
  if ! gzip -t "$root$1" || [ "$(od -An -tx1 -j4 -N4 "$root$1" | tr -d ' ')" != 00000000 ]; then
    echo "not a reproducible gzip file: $1"; failed=1
  fi
}

expect_file /usr/lib/cups/filter/commandfilefilter 755
expect_file /usr/share/ppd/commandfilefilter/commandfilefilter.ppd 644
expect_file /usr/share/ppd/commandfilefilter/commandfilefilter-color.ppd 644
expect_file /usr/share/doc/commandfilefilter/copyright 644
expect_gzip /usr/share/doc/commandfilefilter/changelog.Debian.gz
expect_gzip /usr/share/man/man8/commandfilefilter.8.gz
if [ "$have_cffquery" = 1 ]; then
  expect_file /usr/bin/cffquery 755
  expect_gzip /usr/share/man/man8/cffquery.8.gz
fi
if [ "$have_cffsim" = 1 ]; then
  expect_file /usr/bin/cffsim 755
  expect_gzip /usr/share/man/man1/cffsim.1.gz
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

# The changelog's first entry must carry the package's version.
version=$(zcat "$root/usr/share/doc/commandfilefilter/changelog.Debian.gz" | head -1)
grep -q -E '^commandfilefilter \([0-9]+\.[0-9]+\.[0-9]+-[0-9]+\) ' <<<"$version" \
  || { echo "bad changelog head: $version"; failed=1; }

unexpected=$(find "$root" -type f ! -path "$root/usr/*")
[ -z "$unexpected" ] || { echo "installed outside /usr:"; echo "$unexpected"; failed=1; }
exit $failed
