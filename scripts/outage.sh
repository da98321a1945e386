#!/usr/bin/env bash
# Builds and runs quilkova_outage (as root: the account record is root's):
# CALLERS processes each ask for the appliance's expired token once a second
# for SECONDS while the identity host drops every connection, then the host
# comes back. Prints attempts per minute, the time to the first renewed token
# and whether anything changed on disk. About SECONDS plus the last wait.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
build_dir=${BUILD_DIR:-build-bench}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DQUILKOVA_BUILD_TESTS=OFF >/dev/null
cmake --build "$build_dir" -j"$(nproc)" --target quilkova_outage >/dev/null
run=("$build_dir/bench/quilkova_outage" "${CALLERS:-20}" "${SECONDS_DOWN:-120}")
[[ $(id -u) -eq 0 ]] || exec sudo -E "${run[@]}"
exec "${run[@]}"
