#!/usr/bin/env bash
# Builds the Debian package: a Release build installed under /usr, packaged by CPack, checked
# by lintian (any error fails the run) and by cupstestppd with the filter in place, then lists
# the package's files.  The package lands in build-package/.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${CFF_PACKAGE_BUILD_DIR:-build-package}

bash scripts/setup.sh

# Debian's hardening flags (stack protector, fortify, relro, bind-now), as a distribution
# build would pass them.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
CFLAGS=$(dpkg-buildflags --get CFLAGS)
CXXFLAGS=$(dpkg-buildflags --get CXXFLAGS)
CPPFLAGS=$(dpkg-buildflags --get CPPFLAGS)
LDFLAGS=$(dpkg-buildflags --get LDFLAGS)

cmake -S . -B "$build" \
  -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_INSTALL_PREFIX=/usr \
  -DCFF_BUILD_TESTS=OFF \
  -DCMAKE_C_FLAGS="$CFLAGS $CPPFLAGS" \
  -DCMAKE_CXX_FLAGS="$CXXFLAGS $CPPFLAGS" \
  -DCMAKE_EXE_LINKER_FLAGS="$LDFLAGS" \
  -DCMAKE_STRIP="$PWD/packaging/debian/strip" >/dev/null
cmake --build "$build" -j"$(nproc)"
rm -f "$build"/commandfilefilter_*.deb
(cd "$build" && cpack -G DEB)
deb=$(ls "$build"/commandfilefilter_*.deb)

echo "== lintian $deb"
lintian_out=$(lintian --info --display-info --pedantic "$deb" 2>&1 || true)
echo "$lintian_out"
if grep -q '^E: ' <<<"$lintian_out"; then
  echo "lintian reports errors" >&2
  exit 1
fi

echo "== cupstestppd with the package's filter in place"
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
dpkg-deb -x "$deb" "$root"
cupstestppd -R "$root" "$root/usr/share/ppd/commandfilefilter/commandfilefilter.ppd"

echo "== dpkg -c $deb"
dpkg -c "$deb"
echo "== dpkg -I $deb"
dpkg -I "$deb"
