#!/usr/bin/env bash
# hardening.sh READELF FORTIFIED FILE...: whether each file was linked with what makes memory errors
# harder to exploit, and calls the checked functions where FORTIFIED is 1.
set -euo pipefail
readelf=$1 fortified=$2
shift 2

missing=0
expect() {
    local file=$1 what=$2 pattern=$3 text=$4
    if ! grep -qE "$pattern" <<<"$text"; then
        echo "$file: $what" >&2
        missing=1
    fi
}

for file in "$@"; do
    segments=$("$readelf" --wide --segments "$file")
    symbols=$("$readelf" --wide --symbols --dyn-syms "$file")
    expect "$file" "is not relocated read-only" '^ *GNU_RELRO ' "$segments"
    expect "$file" "binds lazily" 'BIND_NOW|FLAGS.* NOW' "$("$readelf" --wide --dynamic "$file")"
    expect "$file" "has an executable stack" '^ *GNU_STACK .* RW +0x' "$segments"
    expect "$file" "has an unprotected stack" ' __stack_chk_fail' "$symbols"
    expect "$file" "is not independent of its position" 'Type: +DYN' \
        "$("$readelf" --file-header "$file")"
    if ((fortified)); then expect "$file" "is not fortified" ' __[a-z]+_chk' "$symbols"; fi
done
exit "$missing"
