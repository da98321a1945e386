#!/usr/bin/env bash
# The whole road of an appliance's cloud account, told step by step: builds
# the quilkova program and the simulator, starts the simulator on the loopback
# interface under a temporary root, and walks registration, logins, tokens,
# the report and the logout with the program. Cleans up whatever happens;
# exits non-zero when a step fails.
set -euo pipefail
cd "$(dirname "$0")/.."
if [[ $(id -u) -ne 0 ]]; then
    # The account record is root's: every access raises the process to root.
    command -v sudo >/dev/null && exec sudo -E bash "$0" "$@"
    echo "demo: run as root (the account record is root's)" >&2
    exit 1
fi
bash scripts/install-deps.sh
build_dir=${BUILD_DIR:-build-demo}
echo "Building the quilkova program and the simulator in $build_dir ..."
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DQUILKOVA_BUILD_TESTS=OFF >/dev/null
cmake --build "$build_dir" -j"$(nproc)" --target quilkova-program quilkova-sim >/dev/null
export PATH=$PWD/$build_dir/tools:$PATH
source scripts/lib/appliance.sh
trap appliance_stop EXIT
appliance_start "$PWD/$build_dir/tools/quilkova-sim" tools/config
echo "The simulated cloud service listens on $SIM_URL; the appliance's files are under $QUILKOVA_ROOT."

step=0
# run DESCRIPTION SHOWN COMMAND...: one step of the story, shown as SHOWN, its output indented.
run() {
    step=$((step + 1))
    printf '\n==> %d. %s\n    $ %s\n' "$step" "$1" "$2"
    if "${@:3}" 2>&1 | sed 's/^/    /'; [[ ${PIPESTATUS[0]} -eq 0 ]]; then
        echo "    ok"
    else
        echo "    FAILED"
        exit 1
    fi
}

with_password() { local password=$1; shift; "$@" <<<"$password"; }
token_renewed() { local renewed; renewed=$(quilkova token) && echo "$renewed" && [[ "$renewed" != "$first" ]]; }
nothing_bound() { ! quilkova status; }

run "Register a new cloud account from the appliance (password on standard input)" \
    "quilkova register ann@example.com --name 'Ann Owner' --country NZ --enews" \
    with_password "correct horse" quilkova register ann@example.com --name "Ann Owner" --country NZ --enews
run "Log the appliance in with the account's password" "quilkova login ann@example.com" \
    with_password "correct horse" quilkova login ann@example.com
run "Show what the appliance keeps about the account" "quilkova status" quilkova status
run "Query the account (the login stored it just now)" "quilkova query" quilkova query
sim_control token_lifetime '{"seconds": 2}' >/dev/null
verifier=$(openssl rand -base64 48 | tr -d '\n/+=' | cut -c1-43)
code=$(browser_login_code "$verifier" ann@example.com)
run "Finish a browser (PKCE) login the owner made with the account (code and verifier on standard input)" \
    "printf '%s\\n%s\\n' \"\$code\" \"\$verifier\" | quilkova login --pkce --redirect-uri $SIM_URL/pkce/login" \
    with_password "$code"$'\n'"$verifier" quilkova login --pkce --redirect-uri "$SIM_URL/pkce/login"
first=$(quilkova token)
run "Print the appliance's bearer token" "quilkova token" quilkova token
run "A package's own token, vouched for by the appliance's" "quilkova token --package backup" \
    quilkova token --package backup
sleep 3
run "The appliance's token expired 2 s after it was issued: asking renews it" "quilkova token" token_renewed
run "The scheduled report of the appliance's state" "quilkova --report_info" quilkova --report_info
run "Log out at the service and on the appliance" "quilkova logout" quilkova logout
run "Nothing is bound any more" "quilkova status" nothing_bound
printf '\nThe demo walked %d steps; every one succeeded.\n' "$step"
