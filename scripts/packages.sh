#!/usr/bin/env bash
# Debian packages: builds Release for /usr, makes the three packages with
# CPack, checks them with lintian (no errors), lists their contents, unpacks
# them into an empty directory and builds and runs the examples against it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh lintian dpkg-dev
build_dir=${BUILD_DIR:-build-packages}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DQUILKOVA_BUILD_TESTS=OFF >/dev/null
cmake --build "$build_dir" -j"$(nproc)" >/dev/null
rm -f "$build_dir"/*.deb
(cd "$build_dir" && cpack -G DEB >/dev/null)
packages=("$build_dir"/*.deb)
for package in "${packages[@]}"; do
    echo "== $(basename "$package")"
    dpkg-deb -c "$package" | awk '$6 !~ /\/$/ {print "   " $6}'
done
if lintian "${packages[@]}" 2>&1 | grep '^E:'; then
    echo "packages: lintian reports errors" >&2
    exit 1
fi
unpacked=$(mktemp -d)
trap 'rm -rf "$unpacked"' EXIT
for package in "${packages[@]}"; do
    dpkg-deb -x "$package" "$unpacked"
done
bash examples/run.sh "$unpacked/usr"
echo "packages: ${packages[*]}"
