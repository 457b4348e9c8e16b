#!/usr/bin/env bash
# Follows docs/typed-events.md with the installed package: a piece of code becomes the file that the
# text before it has named.
#
#     typed-events-page.sh PAGE PREFIX FOLDER [CMAKE-OPTION...]
set -euo pipefail

page=$1 prefix=$2 folder=$3
shift 3

rm -rf "$folder"
mkdir -p "$folder/schemas"
bash "$(dirname "$0")/page-files.sh" "$page" "$folder"
cd "$folder"
test -s schemas/add-to-cart-1.json && test -s CMakeLists.txt && test -s main.cpp

"$prefix/bin/zentara-schemas" check schemas
cmake -B build -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release "$@"
cmake --build build

export HOME=$folder XDG_DATA_HOME=$folder/data XDG_CONFIG_HOME=$folder/config
"$prefix/bin/zentara-collector" --schemas schemas --port 0 --no-https >addresses 2>log &
collector=$!
trap 'kill $collector' EXIT
until grep -q '^listening http:' addresses; do
    kill -0 $collector
    sleep 0.05
done
./build/shop "$(sed -n 's/^listening \(http:.*\)/\1/p' addresses)" | tee output
diff - output <<<$'queued\n1 delivered'
kill $collector
wait $collector
trap - EXIT
grep add-to-cart-1 log

# What the page says does not compile.
expect_error() {
    if cmake --build build >errors 2>&1 || ! grep "$1" errors; then
        cat errors >&2
        exit 1
    fi
}
# with_change TEXT REPLACEMENT ERROR
with_change() {
    cp main.cpp main.good
    sed -i "s/$1/$2/" main.cpp
    expect_error "$3"
    mv main.good main.cpp
}
with_change '.quantity = 1, ' '' Integer
with_change CL-47819 CL-4781 thisTextDoesNotMatchThePattern
with_change Size::xs Size::xxl xxl
# A schema is added and removed.
cp schemas/add-to-cart-1.json schemas/add-to-cart-2.json
expect_error AddToCart
rm schemas/add-to-cart-2.json
cmake --build build
