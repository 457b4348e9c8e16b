#!/usr/bin/env bash
# size.sh LIBRARY BUILD PAGE: whether the code and data of LIBRARY have the size that the table in
# PAGE has for BUILD, within 5 %. A build without a row is not judged.
set -euo pipefail
library=$1 build=$2 page=$3

found=$(size --format=berkeley "$library" | awk 'NR == 2 { print $1 + $2 }')
row="| $build |"
expected=$(awk -v row="$row" 'index($0, row) == 1 { split(substr($0, length(row) + 1), cells, "|")
                                                    print cells[1] + 0 }' "$page")
if [[ -z $expected ]]; then
    echo "Not judged: $page has no row for \"$build\". This build has $found bytes."
elif ((100 * found > 105 * expected || 100 * found < 95 * expected)); then
    echo "The library has $found bytes of code and data, and $expected in $page." >&2
    echo "If the change is meant, update the row: $row $found |" >&2
    exit 1
else
    echo "$found bytes of code and data, $expected in the row \"$build\"."
fi
