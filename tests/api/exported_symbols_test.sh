#!/usr/bin/env bash
# The shared libraries export exactly their documented names: $1 is
# libquilkova, $2 libquilplatform.
set -euo pipefail
status=0
# only LIBRARY PATTERN: every defined dynamic symbol, demangled, matches PATTERN.
only() {
    local names extra
    names=$(nm -D --defined-only -j "$1" | c++filt)
    [[ -n $names ]] || { echo "no symbols in $1"; status=1; return; }
    extra=$(grep -Ev "$2" <<<"$names" || true)
    [[ -z $extra ]] || { printf 'exported but undocumented by %s:\n%s\n' "$1" "$extra"; status=1; }
    if grep -q 'quilkova::internal::' <<<"$names"; then echo "internal names exported by $1"; status=1; fi
}
helpers='gErrorCodeMap|GetKovaErrorMsg|printErrCode|KoVAGetMd5String|GetErrorCodeFromAccountError'
helpers+='|MapLibKovaCenterErrorCode|GetErrorCodeFromCloudService|WriteMemoryCallback'
only "$1" "^(($helpers)\$|QUILKOVA|QUILPayment|(typeinfo for |typeinfo name for |vtable for )?quilkova::)"
only "$2" '^(QLIB|QUIL|quil_|(typeinfo for |typeinfo name for |vtable for )QUIL::)'
exported=$(nm -D --defined-only -j "$1" | c++filt)
for required in QUILKOVAErrSet gErrorCodeMap KoVAGetMd5String 'typeinfo for quilkova::KovaException' \
    'quilkova::FileLock::Lock(unsigned int)'; do
    grep -qxF "$required" <<<"$exported" || { echo "missing: $required"; status=1; }
done
exit $status
