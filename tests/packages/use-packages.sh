#!/usr/bin/env bash
# Runs in a bare Debian system (scripts/in-root) that has the packages in packages/: installs them as
# README.md says, follows its first event, sends from each language, and removes them again.
#
#     use-packages.sh [all]    all: also Objective-C, handing events on, and the debugger
set -euo pipefail
cd "$(dirname "$0")/../.."
all=${1:-}
examples=/usr/share/zentara/examples
url=http://127.0.0.1:8080

fail() {
    echo "use-packages: $1" >&2
    exit 1
}

# Waits until the collector has `count` good events.
expect_events() {
    [[ $(curl -sS "$url/received/wait?count=$1&timeout=20000" | jq .total) == "$1" ]] ||
        fail "of $1 events have arrived: $(curl -sS "$url/received/summary")"
}

# Waits until `program` has printed `count` lines that begin with `text`.
expect_lines() {
    until [[ $(grep -c "^$1" output) == "$2" ]]; do
        kill -0 "$program" || fail "the program has ended: $(cat output)"
        sleep 0.05
    done
}

# A collector that hands events on, to what is away, starts and ends.
expect_forwarding() {
    : >output
    zentara-collector --port 0 --no-https --forward "$1" --outbox "$(mktemp -d)/outbox" >output &
    program=$!
    expect_lines listening 1
    kill "$program"
    wait "$program"
}

# The program of README.md, until the collector has `count` events.
expect_first_event() {
    local count=$2 input program
    : >output
    exec {input}> >(exec "$1" >output)
    program=$!
    expect_lines ready 1
    printf 'Home\n\nOffers\n' >&"$input"
    expect_lines queued 2
    expect_events "$count"
    exec {input}>&-
    wait "$program"
    diff - output <<'END'
ready
queued
Data not valid for specified Schema. Error validating page-view-1 schema: Length of string is smaller than minimum length 1
queued
END
}

# All that works with the packages, in a network of its own, since README.md names a port.
use() {
    ip link set lo up
    HOME=$(mktemp -d)
    export HOME
    cd "$HOME"
    zentara-collector --schemas "$examples/schemas" >addresses 2>log &
    collector=$!
    until grep -q '^listening http:' addresses; do
        kill -0 "$collector"
        sleep 0.05
    done
    diff - <(zentara-schemas check "$examples/schemas" | tail -n 1) <<<'8 schemas: 0 faults, 0 warnings'

    bash /zentara/tests/install/page-files.sh /zentara/README.md .
    cmake -B build
    cmake --build build
    expect_first_event build/first-event 2
    # shellcheck disable=SC2046
    g++ -std=c++20 main.cpp $(pkg-config --cflags --libs zentaraclient) -o by-pkg-config
    expect_first_event ./by-pkg-config 4
    # shellcheck disable=SC2046
    cc -std=c11 "$examples/c/main.c" $(pkg-config --cflags --libs zentaraclient) -o in-c
    diff - <(./in-c "$url" "$url") <<<$'page-view: queued\ndelivered'
    expect_events 5
    python3 - <<'END'
import zentara
zentara.use_endpoints(qa_collector="http://127.0.0.1:8080", qa_schemas="http://127.0.0.1:8080")
zentara.use_settings("my-tenant", zentara.Environment.QA)
with zentara.client(flush=5) as client:
    client.wait_until_ready()
    client.send("page-view", "1", {"title": "Python", "section": "home", "language": "en"})
END
    expect_events 6
    python3 - <<'END'
from zentara_collector import CollectorProcess
with CollectorProcess("/usr/share/zentara/examples/schemas") as process:
    process.client().expect_no_event(verdict="any")
END
    zentara-collector expect --count 6 --exactly --within 100ms
    # 37 of its 328 lines are wrong on purpose.
    zentara-track --collector "$url" "$examples/events.jsonl" || [[ $? == 1 ]]
    expect_events 297

    if [[ $all ]]; then
        sed -i 's/::ZentaraClient)/::ZentaraClientStatic)/' CMakeLists.txt
        cmake --build build
        if ldd build/first-event | grep ZentaraClient; then fail "the static library is not linked"; fi
        expect_first_event build/first-event 299
        cmake -S /zentara/examples -B examples -DCMAKE_OBJC_COMPILER=/usr/bin/clang
        cmake --build examples --target minimal-objc typed-shop
        examples/objc/minimal-objc "$url" "$url"
        expect_events 300
        examples/typed-shop "$url" shop sent.jsonl 20
        expect_events 320
        expect_forwarding kafka://127.0.0.1:9/events
        expect_forwarding postgresql://127.0.0.1:9/events
    fi
    [[ $(curl -sS "$url/received/summary" | jq .bad) == 0 ]] || fail "the collector has bad events"
    kill "$collector"
    wait "$collector"
}

# What Tab offers for a command line.
expect_completion() {
    local wanted=$1
    shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    "$(complete -p "$1" | sed 's/.*-F \([^ ]*\).*/\1/')"
    [[ ${COMPREPLY[*]} == "$wanted" ]] || fail "completing $*: ${COMPREPLY[*]}"
}

look() {
    local program file id
    for program in zentara-collector zentara-schemas zentara-track; do
        zgrep -q '^\.SH OPTIONS' "/usr/share/man/man1/$program.1.gz"
        # shellcheck source=/dev/null
        source "/usr/share/bash-completion/completions/$program"
    done
    expect_completion --collector zentara-track --coll
    expect_completion --no-https zentara-collector --port 0 --no-h
    expect_completion 'expect' zentara-collector ex
    expect_completion '--junit' zentara-collector expect --ju
    zgrep -q '^\.SH EXPECT' /usr/share/man/man1/zentara-collector.1.gz
    expect_completion 'sample' zentara-schemas sa
    expect_completion '--schemas' zentara-schemas generate --sch
    export XDG_RUNTIME_DIR=/tmp
    systemd-analyze verify --user --man=no /usr/lib/systemd/user/zentara-collector.service
    # 2.4 of 10, where 10 is no sandbox.
    systemd-analyze security --user --offline=yes --threshold=25 --no-pager \
        /usr/lib/systemd/user/zentara-collector.service | tail -n 1
    if [[ $all ]]; then
        for file in /usr/bin/zentara-* /usr/lib/*/libZentaraClient*.so.3; do
            id=$(readelf --notes "$file" | sed -n 's/.*Build ID: //p')
            [[ -s /usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug ]] || fail "$file has no symbols"
        done
    fi
}

files() {
    find / -xdev \( -path /zentara -o -path /tmp -o -path /var/cache -o -path /var/log \
        -o -path /var/lib/apt -o -path /var/lib/dpkg \) -prune -o -print | sort
}

if [[ $all == use ]]; then
    all=${2:-}
    use
    exit
fi

export DEBIAN_FRONTEND=noninteractive
apt-get -q update
# What a developer's machine has, and what this script needs.
apt-get -q install --yes --no-install-recommends g++ cmake make pkg-config python3 \
    iproute2 curl jq systemd binutils
mkdir -p build
mv packages build/
files >/tmp/before
before=$(dpkg-query --show)
install=$(sed -n 's/^ *sudo apt-get install //p' README.md | head -n 1)
eval "apt-get -q install --yes ${install:?README.md does not install the packages}"
extra=(./build/packages/python3-zentara_*.deb)
if [[ $all ]]; then
    extra+=(./build/packages/{libzentaraclient-objc,zentara-forward}*.deb ./build/packages/debug/*.deb)
fi
apt-get -q install --yes --no-install-recommends "${extra[@]}"
look
unshare --net bash "$PWD/tests/packages/use-packages.sh" use "$all"

apt-get -q purge --yes --auto-remove -o APT::AutoRemove::RecommendsImportant=false \
    -o APT::AutoRemove::SuggestsImportant=false "*zentara*"
diff <(echo "$before") <(dpkg-query --show)
files | diff /tmp/before -
echo "The packages can be installed, used and removed: ${all:-without Objective-C}"
