#!/usr/bin/env bash
# Installs the build into a scratch prefix and runs the examples against it.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$1" --prefix "$work/prefix" >/dev/null
bash "$2/examples/run.sh" "$work/prefix"
