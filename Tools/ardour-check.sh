#!/usr/bin/env bash
# Runs the plug-in in a real host (Ardour 7, headless) through the harness in shared/hosts.
# Usage: Tools/ardour-check.sh transparent|events PLUGIN.so ZUMBEL_RENDER HOSTS_DIR
#   transparent: at the defaults a 20 s input comes out bit-identical, before and after the
#                session reload (no event can start before 26.25 s).
#   events:      a 100 s input carries inserted events that keep the timing rules; a reloaded
#                instance draws new times, so the two renders need not match.
set -euo pipefail
mode=$1 plugin=$2 render=$3 hosts=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

case "$mode" in
transparent)
    "$hosts/make_test_wav.sh" "$work/in.wav" 20 48000
    WORK_DIR="$work/session" "$hosts/ardour/run_ardour_vst.sh" "$plugin" "$work/in.wav" "$work/out.wav" |
        tee "$work/log"
    grep -qx 'RESULT OK' "$work/log"
    "$hosts/wavdiff.sh" "$work/in.wav" "$work/out.wav" | tail -n 1
    "$hosts/wavdiff.sh" "$work/in.wav" "$work/out.reload.wav" | tail -n 1
    ;;
events)
    "$hosts/make_test_wav.sh" "$work/in.wav" 100 48000
    RELOAD_MUST_MATCH=0 WORK_DIR="$work/session" \
        "$hosts/ardour/run_ardour_vst.sh" "$plugin" "$work/in.wav" "$work/out.wav" | tee "$work/log"
    grep -qx 'RESULT OK' "$work/log"
    # The defaults: period 30 s, duration 0.5 s, variation 25 %: the first event starts at
    # 26.25 s at the earliest, each lasts 0.4375 to 0.5625 s plus two 30 ms fades, and two
    # events lie 26.25 to 33.75 s apart (end to start).
    for out in "$work/out.wav" "$work/out.reload.wav"; do
        "$render" --detect "$work/in.wav" "$out" --check-defaults
    done
    ;;
*)
    echo "unknown mode $mode" >&2
    exit 2
    ;;
esac
