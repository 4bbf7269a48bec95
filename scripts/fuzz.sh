#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, ASan+UBSan) and runs each for SECONDS (default 10).
#
#   scripts/fuzz.sh            short run, as in CI
#   scripts/fuzz.sh 600        long run: ten minutes per target
#   FUZZ_JOBS=2 scripts/fuzz.sh 600   two targets at a time
#   FUZZ_TARGETS="roc dialogue" scripts/fuzz.sh 60
#
# Seeds come from fuzz/corpus/<target> (kept in the repository, regenerated with
# build-fuzz/fuzz/cff_fuzz_seeds fuzz/corpus); inputs found on the way go to
# build-fuzz/corpus/<target>, crashes to build-fuzz/artifacts/, logs to build-fuzz/logs/.
# Exits non-zero when any target reports a finding.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-10}
jobs=${FUZZ_JOBS:-1}
targets=${FUZZ_TARGETS:-"npa_packet npa_network npa_container roc snmp_response backend_lines dialogue"}
build=build-fuzz

mkdir -p "$build"
if ! { cmake -S . -B "$build" -DCFF_FUZZ=ON -DCFF_WERROR=ON -DCFF_BUILD_TESTS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo \
         -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ &&
       cmake --build "$build" --target cff_fuzz -j"$(nproc)"; } >"$build/build.log" 2>&1; then
  tail -40 "$build/build.log"
  echo "fuzz: build failed"
  exit 1
fi

mkdir -p "$build/artifacts" "$build/logs"
run_one() {
  local target=$1
  mkdir -p "$build/corpus/$target"
  if "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
       -print_final_stats=1 -artifact_prefix="$build/artifacts/$target-" \
       "$build/corpus/$target" "fuzz/corpus/$target" >"$build/logs/$target.log" 2>&1; then
    echo "fuzz_$target: ok, $(grep -m1 -o 'stat::number_of_executed_units: *[0-9]*' "$build/logs/$target.log" | grep -o '[0-9]*$') runs, $(grep -E '^#[0-9]+.*cov:' "$build/logs/$target.log" | tail -1 | grep -o 'cov: [0-9]* ft: [0-9]*')"
  else
    echo "fuzz_$target: FINDING, see $build/logs/$target.log"
    grep -E 'ERROR|SUMMARY|runtime error' "$build/logs/$target.log" | head -5
    return 1
  fi
}
export -f run_one
export build seconds
failed=0
printf '%s\n' $targets | xargs -P "$jobs" -I{} bash -c 'run_one {}' || failed=1
if [ "$failed" -ne 0 ]; then
  echo "fuzz: findings reported"
  exit 1
fi
echo "fuzz: $(printf '%s\n' $targets | wc -l) targets, ${seconds}s each, no findings"
