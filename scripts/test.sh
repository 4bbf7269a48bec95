#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the filter and runs every check: (as root) the Debian
# package's build, lintian check, installation and installed run; then the whole test suite
# (unit, integration and end-to-end tests), whose summary ends the output.
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

cd build
ctest --output-on-failure -j"$(nproc)"
