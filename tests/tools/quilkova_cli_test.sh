#!/usr/bin/env bash
# The quilkova program (and quilkova-sim) from a shell: help everywhere,
# one-line errors with a non-zero status, the report run against the simulator.
set -euo pipefail
quilkova=$1
simulator=$2
source_dir=$3
[[ $(id -u) -eq 0 ]] || { echo "needs root: the account record is root's"; exit 77; }
source "$source_dir/scripts/lib/appliance.sh"
trap appliance_stop EXIT
appliance_start "$simulator" "$source_dir/tools/config"

"$simulator" --help | grep '^Usage: quilkova-sim' >/dev/null
for command in "" status login logout token query scan register update; do
    "$quilkova" $command --help | grep '^Usage' >/dev/null
done
# expect STATUS PATTERN COMMAND...: the status, and one line on standard error matching the pattern.
expect() {
    local status=0
    "${@:3}" 2>"$APPLIANCE_WORK/err" >/dev/null || status=$?
    [[ $status -eq $1 ]] || { echo "status $status, not $1: ${*:3}" >&2; exit 1; }
    [[ $(wc -l <"$APPLIANCE_WORK/err") -eq 1 ]] && grep -q "$2" "$APPLIANCE_WORK/err" ||
        { echo "stderr of ${*:3}:" >&2; cat "$APPLIANCE_WORK/err" >&2; exit 1; }
}
expect 2 'not expected: --bogus' "$quilkova" --bogus
expect 2 'package' "$quilkova" token --package
expect 1 'error 3 (KOVA_ERR_NO_ACCOUNT): Failed to get kova account' "$quilkova" status
expect 1 '"name":"KOVA_ERR_NO_ACCOUNT"' "$quilkova" --json query
expect 1 'error 1 (KOVA_ERR_BAD_PARAM): no password' "$quilkova" login ann@example.com </dev/null
expect 1 'there is no token yet for the appliance: bind the appliance to its account with "quilkova login' \
    "$quilkova" token

expect 1 'never from the command line' "$quilkova" login --pkce --code c --verifier v --redirect-uri "$SIM_URL/x"
expect 1 'longer than 4096 bytes: refused' "$quilkova" login --pkce --redirect-uri "$SIM_URL/x" \
    < <(head -c 100000000 /dev/zero | tr '\0' c)

# A name with terminal escapes: plain output shows none of them; the auth key only when asked for.
# Bidirectional overrides and 8-bit controls are stripped like the 7-bit ones.
curl -fsS -o /dev/null --data 'email=ann@example.com&passwd=pw&full_name=%1B]0;owned%07Ann%1B[2J%E2%80%AEx%C2%9By' \
    "$SIM_URL/device/api/user/register"
echo pw | "$quilkova" login ann@example.com >/dev/null
shown=$("$quilkova" query)
[[ $shown == *$'\nname: ?]0;owned?Ann?[2J?x?y\n'* && $shown != *$'\x1b'* ]] || { echo "query: $shown" >&2; exit 1; }
record=$QUILKOVA_ROOT/usr/quil/etc/quillion-account/private/user.conf
sed -i '/^full_name=/d' "$record" && printf 'full_name="B\x9b2J\xe2\x81\xa6en"\n' >>"$record"
shown=$("$quilkova" status)
[[ $shown == *$'\nname: B?2J?en\n'* ]] || { echo "status: $shown" >&2; exit 1; }
[[ $("$quilkova" --json query; echo pw | "$quilkova" --json login ann@example.com) != *auth_key* ]] ||
    { echo "the auth key was printed unasked" >&2; exit 1; }
"$quilkova" --json --show-auth-key query | grep -q '"auth_key":"'

# The status says when each token expires, whether a backoff holds and until when, and whether the report is scheduled.
"$quilkova" token >/dev/null
private=$QUILKOVA_ROOT/usr/quil/etc/quillion-account/private
sed -i 's/"created_at" : [0-9]*/"created_at" : 1/' "$private/hos_token.json"
sim_control queue '{"path": "/oauth2/token", "status": 503, "headers": {"Retry-After": "600"}}' >/dev/null
expect 1 'error 5 (KOVA_ERR_RESPONSE): Failed to parse renew token resp, code=503' "$quilkova" token
expect 1 'the next attempt is due in 60[0-9] s' "$quilkova" token
shown=$("$quilkova" status)
[[ $shown == *$'\nreport schedule: installed\nappliance token: expires 1970-01-01 01:00:01 UTC\nappliance backoff: until '*', after 1 failures (error 5 KOVA_ERR_RESPONSE)'* ]] ||
    { echo "status: $shown" >&2; exit 1; }
"$quilkova" --json status | grep -q '"clients":\[{"backoff":true,"backoff_code":5,"backoff_failures":1,"backoff_until":[0-9]*,"client":"hos","token":true,"token_expires_at":3601}\]'
! "$quilkova" --json status | grep -q 'at-' || { echo "a token in the status" >&2; exit 1; }

# Lock waits run on the monotonic clock: with the wall clock twenty times too
# fast, a lock held for 4 s is still waited for (30 s), and the renewal follows.
echo pw | "$quilkova" login ann@example.com >/dev/null  # a new login: no backoff
"$quilkova" token >/dev/null
sed -i 's/"created_at" : [0-9]*/"created_at" : 1/' "$private/hos_token.json"
flock "$QUILKOVA_ROOT/tmp/account_hos_get_token.lock" sleep 4 &
holder=$!
sleep 0.5
FAKETIME_DONT_FAKE_MONOTONIC=1 ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0 \
    faketime -f '+0 x20' "$quilkova" token >/dev/null ||
    { echo "a lock wait cut short by a fast wall clock" >&2; exit 1; }
wait "$holder"

# Interrupted at its password prompt (on a terminal of its own), the program gives the echo back.
cat >"$APPLIANCE_WORK/prompt.sh" <<'EOF'
echo_state() { stty -a </dev/tty | grep -o -- ' -\?echo ' | head -1; }
"$1" login ann@example.com </dev/tty >/dev/null 2>&1 &
for _ in $(seq 200); do [[ $(echo_state) == ' -echo ' ]] && break; sleep 0.05; done
echo "prompt:$(echo_state)"; kill -INT $!; wait $! || true; echo "after:$(echo_state)"
EOF
# Its input a FIFO open for writing too: never at its end, so script sends the terminal no end of file.
mkfifo "$APPLIANCE_WORK/keys"
states=$(script -qec "bash $(printf %q "$APPLIANCE_WORK/prompt.sh") $(printf %q "$quilkova")" /dev/null \
    <>"$APPLIANCE_WORK/keys" | tr -d '\r')
[[ $states == *'prompt: -echo '*'after: echo '* ]] || { echo "echo after an interrupted prompt: $states" >&2; exit 1; }

"$quilkova" --report_info
[[ $(curl -fsS "$SIM_URL/_sim/requests" | grep -o '"/device/api/report"' | wc -l) -eq 1 ]]
sim_control queue '{"path": "/device/api/report", "body": "{\"code\": \"badauth\"}"}' >/dev/null
expect 1 'error 14 (KOVA_ERR_AUTH)' "$quilkova" --report_info
grep -q KoVAAccountLoggedOut "$QUILKOVA_ROOT/var/log/quil/notifications.jsonl"
printf 'account_host="http://127.0.0.1:9"\nkovaIDSerial="u-1"\nhs_auth_key="k"\n' \
    > "$QUILKOVA_ROOT/usr/quil/etc/quillion-account/private/user.conf"
expect 1 'error 4 (KOVA_ERR_SEND)' "$quilkova" query
echo "quilkova: help, errors and the report run as documented"
