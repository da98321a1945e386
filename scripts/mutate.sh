#!/usr/bin/env bash
# Mutation testing: plants one small fault at a time in src/ or platform/src/
# (a flipped condition, a changed comparison or constant, a deleted call, a
# changed return value) in a scratch copy of the tree, rebuilds, runs the
# suite (without the valgrind and install runs), and prints killed and
# survived per directory with each survivor's file:line.
#   bash scripts/mutate.sh [SEED] [COUNT]     (defaults: a new seed, 60)
# The same seed draws the same sample from the same tree. As root: the
# account record's tests need it. A developer tool, not a CI stage.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh python3
seed=${1:-$RANDOM}
count=${2:-60}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The tree as it is now, committed or not.
git ls-files -z --cached --others --exclude-standard | tar --null -T - -cf - | tar -xf - -C "$work" --one-top-level=tree
echo "mutate: building the scratch copy in $work ..."
cmake -S "$work/tree" -B "$work/build" -DQUILKOVA_BENCH=OFF >/dev/null
cmake --build "$work/build" -j"$(nproc)" >/dev/null
if ! ctest --test-dir "$work/build" -j"$(( $(nproc) * 2 ))" -E 'valgrind|install_and_consume' >/dev/null; then
    echo "mutate: the suite fails without any mutant; fix that first" >&2
    exit 1
fi
python3 scripts/lib/mutate.py --root "$work/tree" --build "$work/build" --seed "$seed" --count "$count"
