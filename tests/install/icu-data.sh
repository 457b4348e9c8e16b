#!/usr/bin/env bash
# icu-data.sh SCRIPT PROBE FOLDER LIBRARY_TESTS SCHEMAS_TESTS: what `SCRIPT` cuts out of ICU's data
# suffices, by all that PROBE prints and by the library's own tests.
set -euo pipefail
script=$1 probe=$2 folder=$3 library_tests=$4 schemas_tests=$5

rm -rf "$folder"
mkdir -p "$folder"
"$probe" >"$folder/whole.txt"

# expect_differences KIND LINES: the lines that PROBE prints in another way with the data cut to KIND
# all match LINES, and there are such lines unless LINES is empty.
expect_differences() {
    "$script" "$folder/$1" "$1"
    LD_LIBRARY_PATH=$folder/$1 "$probe" >"$folder/$1.txt"
    local differences others
    differences=$(diff "$folder/whole.txt" "$folder/$1.txt" | sed -n 's/^< //p' || true)
    others=$(grep --invert-match --extended-regexp "${2:-^$}" <<<"$differences" || true)
    if [[ -n $others || (-n $2 && -z $differences) ]]; then
        printf '%s: other than with the whole data:\n%s\n' "$1" "${differences:-nothing}" >&2
        exit 1
    fi
}

expect_differences words ''
expect_differences patterns '^\(\?w\)'
expect_differences characters \
    'Emoji|Extended_Pictographic|NFK[CD]|Indic_|Vertical_Orientation|^Name=|^\\N|^\(\?w\)'

run_tests() {
    LD_LIBRARY_PATH=$folder/$1 "$2" --gtest_brief --gtest_filter="$3"
}
run_tests characters "$library_tests" 'Unicode.*'
run_tests patterns "$library_tests" 'Unicode.*:RegularExpression.*'
run_tests patterns "$schemas_tests" '*-Hostile*'
