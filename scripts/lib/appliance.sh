# A demonstration appliance under a temporary root, its cloud service played by
# quilkova-sim on the loopback interface. Sourced by scripts/demo.sh and
# examples/run.sh; everything started here is stopped by appliance_stop.

# appliance_start SIMULATOR CONFIG_DIR: a fresh QUILKOVA_ROOT with the device's
# facts and the PKCE configurations of CONFIG_DIR, the simulator started with
# the packages "backup" and "healthbeacon", and the account record pointing at it.
# Sets QUILKOVA_ROOT, SIM_URL and SIM_PID.
appliance_start() {
    local simulator=$1 config_dir=$2
    APPLIANCE_WORK=$(mktemp -d)
    export QUILKOVA_ROOT=$APPLIANCE_WORK/root
    mkdir -p "$QUILKOVA_ROOT/etc.defaults" "$QUILKOVA_ROOT/etc" \
        "$QUILKOVA_ROOT/usr/quil/etc.defaults/quillion-account/config" \
        "$QUILKOVA_ROOT/usr/quil/etc/quillion-account/private"
    printf 'serial="2150ABCD1234"\nmac="00:11:32:aa:bb:cc"\nmodel="QN-420"\nfirmware="7.2.1"\n' \
        > "$QUILKOVA_ROOT/etc.defaults/quilinfo.conf"
    echo "Europe/Berlin" > "$QUILKOVA_ROOT/etc/timezone"
    cp "$config_dir"/pkce_login.conf "$config_dir"/pkce_register.conf \
        "$QUILKOVA_ROOT/usr/quil/etc.defaults/quillion-account/config/"
    cat > "$APPLIANCE_WORK/seed.json" <<'JSON'
{"accounts": [],
 "packages": {
   "backup": {"client_id": "backup-client", "scope": "openid backup device:$sn$",
              "token_endpoint_path": "/oauth2/token", "login_redirect_path": "/pkce/backup"},
   "healthbeacon": {"client_id": "healthbeacon-client", "scope": "openid beacon",
              "token_endpoint_path": "/oauth2/token", "login_redirect_path": "/pkce/healthbeacon"}}}
JSON
    "$simulator" --port 0 --seed "$APPLIANCE_WORK/seed.json" > "$APPLIANCE_WORK/sim.out" 2>&1 &
    SIM_PID=$!
    for _ in $(seq 200); do
        grep -q '^listening on ' "$APPLIANCE_WORK/sim.out" 2>/dev/null && break
        sleep 0.05
    done
    SIM_URL=$(sed -n 's/^listening on //p' "$APPLIANCE_WORK/sim.out")
    [[ -n "$SIM_URL" ]] || { echo "appliance: the simulator did not start" >&2; return 1; }
    # The record's host overrides send every request of the library to the simulator.
    printf 'account_host="%s"\nidentity_host="%s"\n' "$SIM_URL" "$SIM_URL" \
        > "$QUILKOVA_ROOT/usr/quil/etc/quillion-account/private/user.conf"
    chmod 600 "$QUILKOVA_ROOT/usr/quil/etc/quillion-account/private/user.conf"
}

appliance_stop() {
    if [[ -n "${SIM_PID:-}" ]]; then
        kill "$SIM_PID" 2>/dev/null && wait "$SIM_PID" 2>/dev/null
        SIM_PID=
    fi
    [[ -n "${APPLIANCE_WORK:-}" ]] && rm -rf "$APPLIANCE_WORK"
    APPLIANCE_WORK=
}

# sim_control NAME [JSON]: a control order to the simulator; prints its answer.
sim_control() {
    curl -fsS -X POST -H 'Content-Type: application/json' --data "${2:-{\}}" "$SIM_URL/_sim/$1"
}

# browser_login_code VERIFIER EMAIL: the authorization code a browser login of
# the account would bring back for the appliance's login client.
browser_login_code() {
    local challenge
    challenge=$(printf '%s' "$1" | openssl dgst -sha256 -binary | basenc --base64url | tr -d '=')
    sim_control authorize "{\"client_id\": \"hos-client\", \"code_challenge\": \"$challenge\",
        \"redirect_uri\": \"$SIM_URL/pkce/login\", \"email\": \"$2\"}" |
        sed -n 's/.*"authorization_code":"\([^"]*\)".*/\1/p'
}
