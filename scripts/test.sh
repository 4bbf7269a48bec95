#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the filter and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)"
cd build
ctest --output-on-failure -j"$(nproc)"
