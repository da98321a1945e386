#!/usr/bin/env bash
# Line and branch coverage of src/, platform/ and sim/ by the whole suite:
# builds instrumented (gcc --coverage) in build-coverage, runs every test under
# temporary roots, and prints one summary per directory.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
command -v gcovr >/dev/null || { echo "coverage: gcovr is missing (apt-get install gcovr)" >&2; exit 1; }
build_dir=${BUILD_DIR:-build-coverage}
rm -rf "$build_dir"  # counters of objects that no longer exist would not merge
cmake -S . -B "$build_dir" -DQUILKOVA_COVERAGE=ON -DQUILKOVA_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug "$@" >/dev/null
cmake --build "$build_dir" -j"$(nproc)" >/dev/null
find "$build_dir" -name '*.gcda' -delete
ctest --test-dir "$build_dir" -j"$(( $(nproc) * 2 ))" --output-on-failure -E 'valgrind|install_and_consume' >/dev/null
# gcovr replaces its output file: never point it at /dev/null.
reports=$(mktemp -d)
trap 'rm -rf "$reports"' EXIT
printf '%-10s %8s %8s\n' directory lines branches
for dir in src platform sim; do
    summary=$(gcovr -r . --object-directory "$build_dir" --filter "$dir/" \
        --exclude-unreachable-branches --exclude-throw-branches --print-summary -o "$reports/$dir.txt" 2>/dev/null)
    lines=$(sed -n 's/^lines: *\([0-9.]*%\).*/\1/p' <<<"$summary")
    branches=$(sed -n 's/^branches: *\([0-9.]*%\).*/\1/p' <<<"$summary")
    printf '%-10s %8s %8s\n' "$dir" "$lines" "$branches"
done
if [[ -n "${COVERAGE_HTML:-}" ]]; then
    gcovr -r . --object-directory "$build_dir" --filter 'src/' --filter 'platform/' --filter 'sim/' \
        --exclude-unreachable-branches --exclude-throw-branches --html-details "$COVERAGE_HTML"
    echo "coverage: details in $COVERAGE_HTML"
fi
