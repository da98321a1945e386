#!/usr/bin/env bash
# Builds Release in build-bench and runs the benchmarks under a fresh temporary
# root (as root: the account record is root's). Each hot path is printed
# beside its bare baseline, measured in the same run, with the ratio.
# Extra arguments go to the benchmark program (--smoke: one quick pass); by
# default each benchmark is repeated 5 times and the medians are compared.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/bench_program.sh
args=("$@")
[[ ${#args[@]} -gt 0 ]] || args=(--benchmark_repetitions=5 --benchmark_report_aggregates_only=true)
bench_program_exec quilkova_bench "${args[@]}"
