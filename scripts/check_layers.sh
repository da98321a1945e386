#!/usr/bin/env bash
# The layers of src/, lowest first: a file may include from its own folder and
# from the layers below it, never from a layer above it or from another folder
# of its own layer. Prints each include that breaks the order; fails if any.
#   bash scripts/check_layers.sh [SOURCE_DIR]
set -euo pipefail
root=${1:-$(dirname "$0")/..}
layers=(
    "util"
    "foundation"
    "device"
    "account"
    "transport"
    "services"
    "operations"
    "flat classes"
)
declare -A rank
for i in "${!layers[@]}"; do
    for folder in ${layers[$i]}; do
        rank[$folder]=$i
    done
done

status=0
while IFS= read -r -d '' file; do
    folder=${file#"$root/src/"}
    folder=${folder%%/*}
    if [[ -z ${rank[$folder]+set} ]]; then
        echo "$file: folder '$folder' has no layer" >&2
        status=1
        continue
    fi
    while IFS=: read -r line target; do
        used=${target%%/*}
        [[ -z ${rank[$used]+set} || $used == "$folder" ]] && continue
        if ((rank[$used] >= rank[$folder])); then
            echo "$file:$line: $folder includes $target (layer ${rank[$used]} is not below ${rank[$folder]})" >&2
            status=1
        fi
    done < <(grep -noP '^\s*#\s*include\s*"\K[^"]+' "$file" || true)
done < <(find "$root/src" -name '*.[ch]pp' -print0)
if ((status == 0)); then
    echo "layers: every include looks down"
fi
exit $status
