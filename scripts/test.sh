#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
# Extra arguments go to CMake, e.g. -DQUILKOVA_SANITIZE=ON; BUILD_DIR picks the build directory.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
build_dir=${BUILD_DIR:-build}
cmake -S . -B "$build_dir" "$@"
cmake --build "$build_dir" -j"$(nproc)"
# Several tests mostly wait (retries, time-outs, hanging plug-ins): run more than one per core.
ctest --test-dir "$build_dir" --output-on-failure -j"$(( $(nproc) * 2 ))"
