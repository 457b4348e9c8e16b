#!/usr/bin/env bash
# hardening.sh READELF FORTIFIED FILE...: whether each file was linked with what makes memory errors
# harder to exploit, and calls the checked functions where FORTIFIED is 1.
set -euo pipefail
readelf=$1 fortified=$2
shift 2

missing=0
expect() {
    if ! "$readelf" --wide "${@:3}" "$file" | grep -E "$2" >/dev/null; then
        echo "$file $1" >&2
        missing=1
    fi
}

for file in "$@"; do
    expect "is not relocated read-only" '^ *GNU_RELRO ' --segments
    expect "binds lazily" 'BIND_NOW|FLAGS.* NOW' --dynamic
    expect "has an executable stack" '^ *GNU_STACK .* RW +0x' --segments
    expect "has an unprotected stack" ' __stack_chk_fail' --symbols --dyn-syms
    expect "is not independent of its position" 'Type: +DYN' --file-header
    if ((fortified)); then expect "is not fortified" ' __[a-z]+_chk' --symbols --dyn-syms; fi
done
exit "$missing"
