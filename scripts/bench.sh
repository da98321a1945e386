#!/usr/bin/env bash
# Builds Release in build-bench and runs the benchmarks under a fresh temporary
# root (as root: the account record is root's). Each hot path is printed
# beside its bare baseline, measured in the same run, with the ratio.
# Extra arguments go to the benchmark program (--smoke: one quick pass); by
# default each benchmark is repeated 5 times and the medians are compared.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
build_dir=${BUILD_DIR:-build-bench}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DQUILKOVA_BUILD_TESTS=OFF >/dev/null
cmake --build "$build_dir" -j"$(nproc)" --target quilkova_bench >/dev/null
args=("$@")
[[ ${#args[@]} -gt 0 ]] || args=(--benchmark_repetitions=5 --benchmark_report_aggregates_only=true)
if [[ $(id -u) -ne 0 ]]; then
    exec sudo -E "$build_dir/bench/quilkova_bench" "${args[@]}"
fi
exec "$build_dir/bench/quilkova_bench" "${args[@]}"
