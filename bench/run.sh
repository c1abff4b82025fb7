#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# Measures what one run of command-parser costs next to the programs it is compared with, all
# against the simulated device on a private bus of this script's own:
#   bare Qt        bench-qtfloor: an application object and one qDebug,
#   QtDBus client  bench-qtdbus 1: the `-e 601` request made directly on QtDBus,
#   busctl, gdbus  one GetCommandCategories request each,
#   the tool       command-parser -l, -c 2 and -e 601.
# For each: instructions of the whole run, all threads (callgrind), wall time median (hyperfine),
# peak RSS (GNU time) and the most threads it had at once (strace). Then the request rate of the
# simulator with 1, 4 and 16 concurrent sd-bus clients, next to a bare sd-bus echo service on the
# same bus.
#
#   bench/run.sh [--runs N] [--quick]
#
#   --runs N   wall-time runs per program (default 30; taken in rounds of at most 10)
#   --quick    a smoke check: 10 wall-time runs, one run for the other figures, short rate runs
#
# Builds into $BENCH_BUILD_DIR (default build-bench/ at the top of the tree), configured as a
# Release build whatever build type the folder had. The report (markdown) goes to stdout, progress
# to stderr. Asserts nothing: exits 0 when it measured, whatever the figures; non-zero when it
# could not build, start the bus or the simulator, or run a program.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BENCH_BUILD_DIR:-$root/build-bench}
me=bench/run.sh

runs=
quick=0
while [ $# -gt 0 ]; do
    case $1 in
    --runs)
        [[ ${2:-} =~ ^[1-9][0-9]*$ ]] || { echo "$me: --runs needs a positive number" >&2; exit 2; }
        runs=$2
        shift 2
        ;;
    --runs=*)
        runs=${1#--runs=}
        [[ $runs =~ ^[1-9][0-9]*$ ]] || { echo "$me: --runs needs a positive number" >&2; exit 2; }
        shift
        ;;
    --quick)
        quick=1
        shift
        ;;
    -h | --help)
        sed -n '2,/^set -euo/p' "$0" | sed '$d; s/^# \{0,1\}//'
        exit 0
        ;;
    *)
        echo "$me: unknown option $1 (see --help)" >&2
        exit 2
        ;;
    esac
done
if [ "$quick" = 1 ]; then
    runs=${runs:-10} warmup=1 repeats=1 rate_seconds=0.25 rate_repeats=1
else
    runs=${runs:-30} warmup=3 repeats=3 rate_seconds=0.5 rate_repeats=5
fi

say() { echo "$me: $*" >&2; }

missing=()
for tool in cmake dbus-daemon hyperfine valgrind strace busctl gdbus python3 pkg-config; do
    command -v "$tool" > /dev/null || missing+=("$tool")
done
[ -x /usr/bin/time ] || missing+=(/usr/bin/time)
if [ ${#missing[@]} -gt 0 ]; then
    say "missing: ${missing[*]} (Debian: hyperfine valgrind strace time systemd libglib2.0-bin dbus-daemon)"
    exit 1
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/bench-run.XXXXXX")
pids=()
client_pids=()
# shellcheck source=scripts/privatebus.sh
. "$root/scripts/privatebus.sh"
cleanup() {
    local pid
    for pid in "${client_pids[@]}" "${pids[@]}"; do kill "$pid" 2> /dev/null || true; done
    for pid in "${client_pids[@]}" "${pids[@]}"; do wait "$pid" 2> /dev/null || true; done
    privatebus_stop
    rm -rf "$work"
}
trap cleanup EXIT

targets=(command-parser command-handler-sim bench-qtfloor bench-qtdbus bench-echo bench-rate-client)
target_args=()
for target in "${targets[@]}"; do target_args+=(--target "$target"); done
say "building ${targets[*]} (Release) in $build"
if ! { cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
        -DBUILD_SIMULATOR=ON -DBUILD_BENCH=ON -DUSE_SYSTEM_LIBSERVICES=OFF \
        && cmake --build "$build" -j"$(nproc)" "${target_args[@]}"; } \
        > "$work/build.log" 2>&1; then
    tail -n 40 "$work/build.log" >&2
    say "the build failed (the last 40 lines of its log are above)"
    exit 1
fi
cut -d' ' -f1-3 /proc/loadavg > "$work/load"
parser=$build/src/command-parser
sim=$build/sim/command-handler-sim
floor=$build/bench/bench-qtfloor
qtdbus=$build/bench/bench-qtdbus
echo_service=$build/bench/bench-echo
rate_client=$build/bench/bench-rate-client

# The private bus of scripts/run.sh, from this build; the programs are started here, not by it.
if ! privatebus_start "$build/data/command-handler-bus.conf" "$work"; then
    say "dbus-daemon gave no address"
    exit 1
fi
address=$PRIVATEBUS_ADDRESS

# Starts a service and waits until it owns NAME on the private bus.
serve() {
    local name=$1 log=$2 owned
    shift 2
    "$@" > "$log" 2>&1 &
    local pid=$!
    pids+=("$pid")
    for _ in $(seq 200); do
        owned=$(busctl --address="$address" call org.freedesktop.DBus /org/freedesktop/DBus \
            org.freedesktop.DBus NameHasOwner s "$name" 2> /dev/null || true)
        [ "$owned" = "b true" ] && return 0
        kill -0 "$pid" 2> /dev/null || break
        sleep 0.05
    done
    say "$1 did not take $name:"
    cat "$log" >&2
    exit 1
}
serve se.tarnvik.CommandHandler "$work/sim.log" "$sim" --bus-address "$address"
serve se.tarnvik.BenchEcho "$work/echo.log" "$echo_service" "$address" se.tarnvik.BenchEcho

export DBUS_SYSTEM_BUS_ADDRESS=$address DBUS_SESSION_BUS_ADDRESS=$address
unset QT_MESSAGE_PATTERN QT_LOGGING_RULES QT_DEBUG_PLUGINS

labels=()
roles=()
commands=()
add() {
    labels+=("$1")
    roles+=("$2")
    shift 2
    commands+=("$(printf '%q ' "$@")")
}
add "bare Qt (bench-qtfloor)" floor "$floor"
add "QtDBus client (bench-qtdbus 1)" qtdbus "$qtdbus" 1
add "busctl call" busctl busctl --address="$address" call se.tarnvik.CommandHandler \
    /se/tarnvik/CommandHandler se.tarnvik.Service1 Process 'a{sv}' 3 commandId s \
    GetCommandCategories subCommandId s Undefined senderId s CommandHandler
add "gdbus call" gdbus gdbus call --address "$address" --dest se.tarnvik.CommandHandler \
    --object-path /se/tarnvik/CommandHandler --method se.tarnvik.Service1.Process \
    "{'commandId': <'GetCommandCategories'>, 'subCommandId': <'Undefined'>, 'senderId': <'CommandHandler'>}"
add "command-parser -l" tool "$parser" -l
add "command-parser -c 2" tool "$parser" -c 2
add "command-parser -e 601" tool "$parser" -e 601

# Every program must run once successfully before anything of it is measured.
argv=()
failed=0
for i in "${!labels[@]}"; do
    eval "argv=(${commands[i]})"
    printf '%s\0' "${argv[@]}" > "$work/command.$i"
    if ! "${argv[@]}" > "$work/check.$i.log" 2>&1; then
        say "failed: ${labels[i]}:"
        tail -n 5 "$work/check.$i.log" >&2
        failed=1
    fi
done
[ "$failed" = 0 ] || { say "not every program runs: nothing measured"; exit 1; }

# A Release build must still say where each of the tool's messages comes from.
QT_MESSAGE_PATTERN='%{file}:%{line} %{function}' "$parser" -l 2> "$work/context.log" || true
head -n1 "$work/context.log" > "$work/context"

say "instructions (callgrind, $repeats run(s) each)"
for i in "${!labels[@]}"; do
    eval "argv=(${commands[i]})"
    for r in $(seq "$repeats"); do
        valgrind --tool=callgrind --trace-children=no --callgrind-out-file="$work/callgrind.$i.$r" \
            --log-file="$work/valgrind.$i.$r.log" "${argv[@]}" > /dev/null 2>&1 \
            || { say "failed under valgrind: ${labels[i]}"; exit 1; }
    done
done

# In rounds of every program in turn, so that a change in the machine's load during the run
# weighs on all of them alike.
rounds=$(( (runs + 9) / 10 ))
per_round=$(( (runs + rounds - 1) / rounds ))
say "wall time (hyperfine, $rounds round(s) of $per_round runs each)"
hyperfine_args=()
for i in "${!labels[@]}"; do hyperfine_args+=(-n "${labels[i]}" "${commands[i]}"); done
for r in $(seq "$rounds"); do
    [ "$r" = 1 ] && round_warmup=$warmup || round_warmup=1
    hyperfine -N --warmup "$round_warmup" --runs "$per_round" --style basic \
        --export-json "$work/wall.$r.json" "${hyperfine_args[@]}" > "$work/hyperfine.log" 2>&1 \
        || { cat "$work/hyperfine.log" >&2; say "hyperfine failed"; exit 1; }
done

say "peak RSS (GNU time, $repeats run(s) each) and threads (strace)"
for i in "${!labels[@]}"; do
    eval "argv=(${commands[i]})"
    for r in $(seq "$repeats"); do
        /usr/bin/time -v -o "$work/time.$i.$r" "${argv[@]}" > /dev/null 2>&1 \
            || { say "failed under time: ${labels[i]}"; exit 1; }
    done
    strace -f -qq -e trace=clone,clone3,exit -o "$work/strace.$i" "${argv[@]}" > /dev/null 2>&1 \
        || { say "failed under strace: ${labels[i]}"; exit 1; }
done

# All clients of one configuration share one window, so that their counts add up to one rate.
rate() {
    local who=$1 name=$2 clients=$3 start end c out=$work/rate answers=0 late=0
    start=$(awk -v now="$(date +%s.%N)" -v n="$clients" 'BEGIN { printf "%.6f", now + 0.2 + 0.02 * n }')
    end=$(awk -v start="$start" -v s="$rate_seconds" 'BEGIN { printf "%.6f", start + s }')
    for c in $(seq "$clients"); do
        "$rate_client" "$address" "$name" "$start" "$end" > "$out.$c" 2> "$out.$c.err" &
        client_pids+=($!)
    done
    for c in "${client_pids[@]}"; do
        wait "$c" || { say "a rate client of $name failed:"; cat "$out".*.err >&2; exit 1; }
    done
    client_pids=()
    for c in $(seq "$clients"); do
        answers=$((answers + $(cat "$out.$c")))
        if grep -q late "$out.$c.err"; then late=1; fi
    done
    printf '%s\t%s\t%s\t%s\n' "$who" "$clients" "$answers" "$late" >> "$work/rates.tsv"
}
say "request rate ($rate_repeats window(s) of $rate_seconds s per configuration)"
for clients in 1 4 16; do
    for r in $(seq "$rate_repeats"); do
        # Alternating which goes first spreads any drift of the machine over both.
        if [ $((r % 2)) = 1 ]; then order=(sim echo); else order=(echo sim); fi
        for who in "${order[@]}"; do
            [ "$who" = sim ] && name=se.tarnvik.CommandHandler || name=se.tarnvik.BenchEcho
            rate "$who" "$name" "$clients"
        done
    done
done

{
    printf 'index\tlabel\trole\n'
    for i in "${!labels[@]}"; do
        printf '%s\t%s\t%s\n' "$i" "${labels[i]}" "${roles[i]}"
    done
} > "$work/programs.tsv"
{
    printf 'cpu\t%s\n' "$(grep -m1 '^model name' /proc/cpuinfo | sed 's/^[^:]*: *//')"
    printf 'cores\t%s\n' "$(nproc)"
    printf 'kernel\t%s\n' "$(uname -r)"
    printf 'debian\t%s\n' "$(cat /etc/debian_version 2> /dev/null || echo '?')"
    printf 'qt\t%s\n' "$(grep -o 'Qt [0-9.]*' "$work/check.0.log" | head -n1)"
    printf 'libsystemd\t%s\n' "$(pkg-config --modversion libsystemd 2> /dev/null || echo '?')"
    printf 'dbus\t%s\n' "$(dbus-daemon --version | head -n1 | awk '{print $NF}')"
    printf 'load\t%s\n' "$(cat "$work/load")"
    printf 'load_end\t%s\n' "$(cut -d' ' -f1-3 /proc/loadavg)"
    printf 'runs\t%s\n' "$runs"
    printf 'repeats\t%s\n' "$repeats"
    printf 'rate_seconds\t%s\n' "$rate_seconds"
    printf 'rate_repeats\t%s\n' "$rate_repeats"
    printf 'quick\t%s\n' "$quick"
    printf 'build\t%s\n' "$build"
    printf 'root\t%s\n' "$root"
    printf 'address\t%s\n' "$address"
} > "$work/machine.tsv"
python3 "$root/bench/report.py" "$work"
