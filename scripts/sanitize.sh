#!/usr/bin/env bash
# Builds everything with AddressSanitizer, LeakSanitizer and UndefinedBehaviorSanitizer in
# build-asan and runs the whole test suite there.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build-asan
cmake -S . -B "$build" -DCFF_SANITIZE=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCFF_WERROR=ON >/dev/null
cmake --build "$build" -j"$(nproc)"

# Inherited by every process the tests start (the filter, the simulator, re-executions under
# unshare). The link-order check is off because some runs preload the uname shim.
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:verify_asan_link_order=0:strict_string_checks=1:detect_stack_use_after_return=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export LSAN_OPTIONS="print_suppressions=0"
cd "$build"
ctest --output-on-failure -j"$(nproc)"
