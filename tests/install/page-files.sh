#!/usr/bin/env bash
# page-files.sh PAGE FOLDER: writes the pieces of code of a page into the files that the text before
# each of them names.
set -euo pipefail

mkdir -p "$2"
awk -v folder="$2" '
    /^ *```/ && inside { inside = 0; next }
    /^ *```(json|cmake|cpp)$/ && named { inside = 1; indent = index($0, "`"); file = folder "/" named; named = ""; next }
    inside { print substr($0, indent) > file; next }
    match($0, /`[A-Za-z0-9\/-]+\.(json|txt|cpp)`/) { named = substr($0, RSTART + 1, RLENGTH - 2) }
' "$1"
