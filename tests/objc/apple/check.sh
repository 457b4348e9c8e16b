#!/usr/bin/env bash
# Compiles the Objective-C sources and headers for iOS, as far as that is possible anywhere: against
# a Foundation of our own, and without linking.
#
#   check.sh CLANG PROJECT INCLUDE TYPED
#
# INCLUDE is the folder of the headers <zentara/...>, TYPED that of generated events.h and events.m.
set -euo pipefail
clang=$1 project=$2 include=$3 typed=$4
facade=$project/library/facade/objc

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Foundation has what is used of these.
touch "$work"/{math,stdlib,string}.h

compile() {
    "$clang" -target arm64-apple-ios15 -x objective-c -std=gnu17 -ffreestanding -fblocks \
        -fobjc-exceptions -Wall -Wextra -Werror -Wno-objc-method-access \
        -isystem "$project/tests/objc/apple" -isystem "$work" -I "$include" "$@"
}

for source in "$facade"/{,modern/}*.m; do
    compile -I "$project/library" -S -o "$work/$(basename "$source").s" "$source"
done

# What the sources call of each other is there; the bridge to C++ is the same everywhere.
bridge=$(grep -ohE '\bzentara[A-Z_]\w*\(' "$facade/Bridge.h" "$project/library/c/zentara.h" |
    tr -d '(')
defined=$(sed -nE 's/^_(zentara\w+):.*/\1/p' "$work"/*.s)
missing=$(grep -ohE '\b_zentara[A-Z_]\w*' "$work"/*.s | sed 's/^_//' | sort -u |
    grep -vxF -e "$bridge" -e "$defined" || true)
[[ -z $missing ]] || { echo "not defined: $missing"; exit 1; }

grep -qF '"T@\"QVNZentaraClient\",&,N"' "$work/QVNZentaraClient.m.s" ||
    { echo "sharedClient has other attributes"; exit 1; }

# Applications with automatic reference counting: by header, by module, and with a class of its own.
check_application() {
    cat <(echo "$1") - <<'END' >"$work/application.m"
BOOL start(void (^ready)(QVNZentaraClientError *), NSError **error) {
    QVNZentaraClient *client = [QVNZentaraClient getAndReturnError:error readyCallback:ready];
    [client performFetchWith:^(NSUInteger result) {
        (void)(result == ZentaraBackgroundFetchResultNewData);
    }];
    return [client getHsidAndReturnError:error callbackHsid:nil];
}
END
    compile -fobjc-arc -fsyntax-only "${@:2}" "$work/application.m"
}
header='#import <zentara/QVNZentaraClient.h>'
check_application "$header"$'\nEvent *event;'
check_application '@import ZentaraClient; Event *event;' -fmodules -fmodules-cache-path="$work"
check_application "$header"$'\n@interface Event : NSObject @end' -DZENTARA_NO_SHORT_NAMES

# Typed events, with automatic reference counting and without.
compile -fobjc-arc -fsyntax-only "$typed/events.m"
compile -fsyntax-only "$typed/events.m"
