#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the filter (warnings are errors; once more without the
# tests, GoogleTest and yaml-cpp) and runs every check:
# (as root) the Debian packages' build, lintian check, installation and installed runs (where
# the packages are installed already, the installation part is skipped with a line saying so,
# and everything else runs); the whole suite again under
# AddressSanitizer, LeakSanitizer and UndefinedBehaviorSanitizer; a short run of every fuzz
# target; then the whole test suite (unit, integration and end-to-end tests), whose summary
# ends the output.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCFF_WERROR=ON >/dev/null
cmake --build build -j"$(nproc)"

echo "== the filter and cffquery without the tests, GoogleTest and yaml-cpp"
cmake -S . -B build-minimal -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCFF_WERROR=ON -DCFF_BUILD_TESTS=OFF \
  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_yaml-cpp=ON >/dev/null
cmake --build build-minimal -j"$(nproc)" --target commandfilefilter cffquery >/dev/null

if [ "$(id -u)" -eq 0 ]; then
  bash scripts/ci-package.sh
else
  echo "test.sh: package check skipped: building, installing and removing the packages needs root"
fi

echo "== sanitizer build of the whole suite"
bash scripts/sanitize.sh
echo "== every fuzz target, 10 seconds each"
FUZZ_JOBS=$(nproc) bash scripts/fuzz.sh 10

echo "== the whole suite"
cd build
ctest --output-on-failure -j"$(nproc)"
