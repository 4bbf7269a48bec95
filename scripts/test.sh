#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the filter and runs every check: (as root) the Debian
# package's build, lintian check, installation and installed run; the whole suite again under
# AddressSanitizer, LeakSanitizer and UndefinedBehaviorSanitizer; a short run of every fuzz
# target; then the whole test suite (unit, integration and end-to-end tests), whose summary
# ends the output.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)"

if [ "$(id -u)" -eq 0 ]; then
  bash scripts/ci-package.sh
else
  echo "test.sh: package installation check skipped: it needs root"
fi

echo "== sanitizer build of the whole suite"
bash scripts/sanitize.sh
echo "== every fuzz target, 10 seconds each"
FUZZ_JOBS=$(nproc) bash scripts/fuzz.sh 10

echo "== the whole suite"
cd build
ctest --output-on-failure -j"$(nproc)"
