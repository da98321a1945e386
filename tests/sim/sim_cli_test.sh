#!/usr/bin/env bash
# quilkova-sim from a shell: --help, start on a free port, one password login
# through QUILKOVAHttpsRequestSend, stop.
set -euo pipefail
sim=$1
probe=$2
work=$(mktemp -d)
sim_pid=
cleanup() {
    [[ -n "$sim_pid" ]] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

"$sim" --help | grep '^Usage: quilkova-sim' >/dev/null

cat > "$work/seed.json" <<'JSON'
{"accounts": [{"email": "owner@example.com", "password": "s3cret", "id": "u-1", "auth_key": "key-1"}]}
JSON
"$sim" --port 0 --seed "$work/seed.json" > "$work/sim.out" &
sim_pid=$!
for _ in $(seq 100); do
    grep -q '^listening on ' "$work/sim.out" && break
    sleep 0.05
done
url=$(sed -n 's/^listening on //p' "$work/sim.out")
[[ "$url" == http://127.0.0.1:* ]]

export QUILKOVA_ROOT=$work/root
mkdir -p "$QUILKOVA_ROOT/etc.defaults"
printf 'serial="2150ABCD1234"\nmodel="QN-420"\nfirmware="7.2.1"\n' > "$QUILKOVA_ROOT/etc.defaults/quilinfo.conf"
answer=$("$probe" "$url" device/api/password_login type=acnt_pw_apikey email=owner@example.com passwd=s3cret)
echo "$answer" | grep '^200 .*"code":"good"' >/dev/null
echo "$answer" | grep '"auth_key":"key-1"' >/dev/null

kill "$sim_pid"
wait "$sim_pid"
sim_pid=
echo "quilkova-sim served one login and stopped"
