#!/usr/bin/env bash
# Builds the Debian packages from debian/ with dpkg-buildpackage (unsigned, binary only) in a
# copy of the source tree below build-pkg/ (or $CFF_PACKAGE_BUILD_DIR), so that nothing is
# written beside the tree; then checks them: lintian (any error or warning fails), the files
# and modes each package must hold, and cupstestppd with the packaged filter in place.
# Prints the path of the .changes file last.
set -euo pipefail
cd "$(dirname "$0")/.."
out=$(realpath -m "${CFF_PACKAGE_BUILD_DIR:-build-pkg}")

fail() { echo "package.sh: $*" >&2; exit 1; }

bash scripts/setup.sh

# The upstream part of the package version must be the project's version.
project_version=$(sed -n 's/^project(commandfilefilter VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
package_version=$(dpkg-parsechangelog -S Version)
[ "${package_version%-*}" = "$project_version" ] \
  || fail "debian/changelog has $package_version, CMakeLists.txt $project_version: add a changelog entry"

src=$out/commandfilefilter-$project_version
rm -rf "$out"
mkdir -p "$src"
tar -c --exclude=./.git --exclude='./build*' --exclude=./out . | tar -x -C "$src"

echo "== dpkg-buildpackage -us -uc -b"
(cd "$src" && dpkg-buildpackage -us -uc -b -j"${CFF_JOBS:-$(nproc)}") >"$out/build.log" 2>&1 \
  || { tail -40 "$out/build.log" >&2; fail "dpkg-buildpackage failed (whole log: $out/build.log)"; }
arch=$(dpkg --print-architecture)
changes=$out/commandfilefilter_${package_version}_$arch.changes
filter_deb=$out/commandfilefilter_${package_version}_$arch.deb
tools_deb=$out/commandfilefilter-tools_${package_version}_$arch.deb
for f in "$changes" "$filter_deb" "$tools_deb"; do
  [ -f "$f" ] || fail "dpkg-buildpackage made no $f"
done

echo "== lintian"
lintian --fail-on error,warning --display-info --pedantic "$changes" \
  || fail "lintian reports errors or warnings (above)"

# Each line: the mode, owner and path that a package must hold.
check_contents() { # check_contents DEB ENTRY...
  local deb=$1 listing missing=0
  shift
  listing=$(dpkg-deb -c "$deb" | awk '{ print $1, $2, $6 }')
  for entry in "$@"; do
    grep -qxF -- "$entry" <<<"$listing" || { echo "package.sh: $(basename "$deb") lacks: $entry" >&2; missing=1; }
  done
  [ $missing -eq 0 ] || fail "$deb does not hold the files listed above (with that mode and owner)"
}
# cupsd runs a filter only when it is root's and writable by nobody else.
check_contents "$filter_deb" \
  '-rwxr-xr-x root/root ./usr/lib/cups/filter/commandfilefilter' \
  '-rw-r--r-- root/root ./usr/share/ppd/commandfilefilter/commandfilefilter.ppd' \
  '-rw-r--r-- root/root ./usr/share/man/man8/commandfilefilter.8.gz' \
  '-rw-r--r-- root/root ./usr/share/doc/commandfilefilter/copyright'
check_contents "$tools_deb" \
  '-rwxr-xr-x root/root ./usr/bin/cffquery' \
  '-rwxr-xr-x root/root ./usr/bin/cffsim' \
  '-rw-r--r-- root/root ./usr/share/commandfilefilter/profiles/basic-mono.yaml' \
  '-rw-r--r-- root/root ./usr/share/commandfilefilter/profiles/color-finisher.yaml' \
  '-rw-r--r-- root/root ./usr/share/commandfilefilter/profiles/silent.yaml' \
  '-rw-r--r-- root/root ./usr/share/man/man8/cffquery.8.gz' \
  '-rw-r--r-- root/root ./usr/share/man/man1/cffsim.1.gz' \
  '-rw-r--r-- root/root ./usr/share/doc/commandfilefilter-tools/copyright'

echo "== cupstestppd with the packaged filter in place"
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
dpkg-deb -x "$filter_deb" "$root"
for ppd in "$root"/usr/share/ppd/commandfilefilter/*.ppd; do
  cupstestppd -R "$root" "$ppd" || fail "cupstestppd rejects the package's PPD ${ppd##*/}"
done

echo "== packages: $changes"
