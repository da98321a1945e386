#!/usr/bin/env bash
# Builds the examples against an installed libquilkova (PREFIX: the directory
# holding lib/ or lib/<arch>/, include/ and bin/quilkova-sim) with
# find_package and with pkg-config, then runs them against the simulator.
set -euo pipefail
prefix=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
source "$here/../scripts/lib/appliance.sh"
work=$(mktemp -d)
trap 'appliance_stop; rm -rf "$work"' EXIT

libdir=$(dirname "$(find "$prefix" -name 'libquilkova.so.1' | head -n 1)")
export LD_LIBRARY_PATH=$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
cmake -S "$here" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/build" >/dev/null
pcdir=$(dirname "$(find "$prefix" -name quilkova.pc | head -n 1)")
# The linker finds libquilplatform (needed by libquilkova) where the loader would.
g++ -std=c++17 "$here/read_account.cpp" $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs quilkova) \
    -o "$work/read_account_pc"

config_dir=$(dirname "$(find "$prefix" -name pkce_login.conf | head -n 1)")
appliance_start "$prefix/bin/quilkova-sim" "$config_dir"
curl -fsS -o /dev/null -X POST --data 'email=ann@example.com&passwd=pw&full_name=Ann' "$SIM_URL/device/api/user/register"

"$work/read_account_pc" | grep -x "no account is bound to this appliance" >/dev/null
echo pw | "$work/build/backend_flow" ann@example.com
"$work/build/read_account"
sim_control queue '{"path": "/service/status", "status": 200, "body": "{}"}' >/dev/null
"$work/build/package_token" backup "$SIM_URL/service/status"
curl -fsS "$SIM_URL/_sim/requests" | grep '"Authorization":"Bearer at-' >/dev/null
"$work/build/backend_flow" --logout
"$work/read_account_pc" | grep -x "no account is bound to this appliance" >/dev/null
echo "examples: built against $prefix and run against the simulator"
