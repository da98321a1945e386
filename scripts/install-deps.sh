#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need.
# Idempotent: does nothing when every package is present; installs only as root.
# Arguments name extra packages a script needs beyond the build (clang, lintian).
set -euo pipefail

packages=(
  cmake g++ make pkg-config doxygen
  libcurl4-openssl-dev libjsoncpp-dev libssl-dev libboost-dev
  libcpp-httplib-dev libcli11-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  openssl ca-certificates valgrind tzdata gcovr curl faketime util-linux
  "$@"
)

missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done

if [[ ${#missing[@]} -eq 0 ]]; then
  exit 0
fi

if [[ $(id -u) -ne 0 ]]; then
  echo "install-deps: missing packages (run as root to install): ${missing[*]}" >&2
  exit 1
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
