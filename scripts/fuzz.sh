#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan and UBSan) in build-fuzz and
# runs each for FUZZ_SECONDS (default 30), two at a time, from a copy of its
# seed corpus. Prints executions and crashes per target; fails on a crash.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh clang libclang-rt-dev
seconds=${FUZZ_SECONDS:-30}
build_dir=${BUILD_DIR:-build-fuzz}
CC=clang CXX=clang++ cmake -S . -B "$build_dir" -DQUILKOVA_FUZZ=ON -DQUILKOVA_BUILD_TESTS=OFF \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build_dir" -j"$(nproc)" --target kv_file_fuzzer answers_fuzzer token_file_fuzzer schedule_fuzzer >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

run_one() {
    local target=$1
    mkdir -p "$work/$target/corpus" "$work/$target/crashes"
    cp fuzz/corpus/"$target"/* "$work/$target/corpus/"
    local status=0
    "$build_dir/fuzz/${target}_fuzzer" "$work/$target/corpus" -max_total_time="$seconds" \
        -artifact_prefix="$work/$target/crashes/" -print_final_stats=1 -max_len=4096 \
        >"$work/$target/log" 2>&1 || status=$?
    echo "$status" >"$work/$target/status"
}
targets=(kv_file answers token_file schedule)
for ((i = 0; i < ${#targets[@]}; i += 2)); do
    run_one "${targets[i]}" &
    run_one "${targets[i + 1]}" &
    wait
done
failed=0
printf '%-12s %12s %8s\n' target executions crashes
for target in "${targets[@]}"; do
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$target/log")
    crashes=$(find "$work/$target/crashes" -type f | wc -l)
    printf '%-12s %12s %8s\n' "$target" "${executions:-?}" "$crashes"
    if [[ $(cat "$work/$target/status") -ne 0 || $crashes -ne 0 ]]; then
        failed=1
        tail -40 "$work/$target/log"
        cp -r "$work/$target/crashes" "fuzz-crashes-$target" 2>/dev/null || true
    fi
done
exit $failed
