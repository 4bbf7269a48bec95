#!/usr/bin/env bash
# Builds the Debian package: a Release build installed under /usr, packaged by CPack, checked
# for the files it must hold, by lintian (any error fails the run) and by cupstestppd with the
# filter in place.  Changes nothing outside the build directory (build-pkg/, or
# $CFF_PACKAGE_BUILD_DIR), which is reused when present.  Prints the package's path last.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${CFF_PACKAGE_BUILD_DIR:-build-pkg}
jobs=${CFF_JOBS:-$(nproc)}

fail() { echo "package.sh: $*" >&2; exit 1; }

bash scripts/setup.sh

# Debian's hardening flags (stack protector, fortify, relro, bind-now), as a distribution
# build would pass them.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
CFLAGS=$(dpkg-buildflags --get CFLAGS)
CXXFLAGS=$(dpkg-buildflags --get CXXFLAGS)
CPPFLAGS=$(dpkg-buildflags --get CPPFLAGS)
LDFLAGS=$(dpkg-buildflags --get LDFLAGS)

echo "== build ($build)"
cmake -S . -B "$build" \
  -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_INSTALL_PREFIX=/usr \
  -DCFF_BUILD_TESTS=OFF \
  -DCFF_SANITIZE=OFF \
  -DCMAKE_C_FLAGS="$CFLAGS $CPPFLAGS" \
  -DCMAKE_CXX_FLAGS="$CXXFLAGS $CPPFLAGS" \
  -DCMAKE_EXE_LINKER_FLAGS="$LDFLAGS" \
  -DCMAKE_STRIP="$PWD/packaging/debian/strip" >/dev/null || fail "cmake configure failed"
cmake --build "$build" -j"$jobs" || fail "build failed"
rm -f "$build"/commandfilefilter_*.deb
(cd "$build" && cpack -G DEB >/dev/null) || fail "cpack failed"
debs=("$build"/commandfilefilter_*.deb)
if [ ${#debs[@]} -ne 1 ] || [ ! -f "${debs[0]}" ]; then
  fail "cpack made no single package: ${debs[*]}"
fi
deb=${debs[0]}

echo "== dpkg -c $deb"
contents=$(dpkg-deb -c "$deb")
echo "$contents"
# Each line: the mode, owner and path that the package must hold.  cupsd runs a filter only
# when it is root's and writable by nobody else.
required=(
  '-rwxr-xr-x root/root ./usr/lib/cups/filter/commandfilefilter'
  '-rwxr-xr-x root/root ./usr/bin/cffquery'
  '-rwxr-xr-x root/root ./usr/bin/cffsim'
  '-rw-r--r-- root/root ./usr/share/commandfilefilter/profiles/basic-mono.yaml'
  '-rw-r--r-- root/root ./usr/share/commandfilefilter/profiles/color-finisher.yaml'
  '-rw-r--r-- root/root ./usr/share/commandfilefilter/profiles/silent.yaml'
  '-rw-r--r-- root/root ./usr/share/ppd/commandfilefilter/commandfilefilter.ppd'
  '-rw-r--r-- root/root ./usr/share/man/man8/commandfilefilter.8.gz'
  '-rw-r--r-- root/root ./usr/share/man/man8/cffquery.8.gz'
  '-rw-r--r-- root/root ./usr/share/man/man1/cffsim.1.gz'
  '-rw-r--r-- root/root ./usr/share/doc/commandfilefilter/copyright'
  '-rw-r--r-- root/root ./usr/share/doc/commandfilefilter/changelog.Debian.gz'
)
listing=$(awk '{ print $1, $2, $6 }' <<<"$contents")
missing=0
for entry in "${required[@]}"; do
  if ! grep -qxF -- "$entry" <<<"$listing"; then
    echo "package.sh: the package lacks: $entry" >&2
    missing=1
  fi
done
[ $missing -eq 0 ] || fail "$deb does not hold the files listed above (with that mode and owner)"

echo "== dpkg -I $deb"
dpkg-deb -I "$deb"

echo "== lintian $deb"
lintian_out=$(lintian --info --display-info --pedantic "$deb" 2>&1) || true
echo "$lintian_out"
if grep -q '^E: ' <<<"$lintian_out"; then
  fail "lintian reports errors (lines starting with E: above)"
fi

echo "== cupstestppd with the package's filter in place"
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
dpkg-deb -x "$deb" "$root"
cupstestppd -R "$root" "$root/usr/share/ppd/commandfilefilter/commandfilefilter.ppd" \
  || fail "cupstestppd rejects the package's PPD"

echo "== package: $deb"
