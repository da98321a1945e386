#!/usr/bin/env bash
# Builds and runs quilkova_outage (as root: the account record is root's):
# CALLERS processes each ask for the appliance's expired token once a second
# for SECONDS while the identity host drops every connection, then the host
# comes back. Prints attempts per minute, the time to the first renewed token
# and whether anything changed on disk. About SECONDS plus the last wait.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/bench_program.sh
bench_program_exec quilkova_outage "${CALLERS:-20}" "${SECONDS_DOWN:-120}"
