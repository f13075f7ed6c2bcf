#!/usr/bin/env bash
# Runs the plug-in in a real host (Ardour 7, headless) through the harness in shared/hosts.
# Usage: Tools/ardour-check.sh transparent|events|state PLUGIN.so ZUMBEL_RENDER HOSTS_DIR
#   transparent: at the defaults a 20 s input comes out bit-identical, before and after the
#                session reload (no event can start before 26.25 s).
#   events:      a 100 s input carries inserted events that keep the timing rules; a reloaded
#                instance draws new times, so the two renders need not match.
#   state:       the six host parameters by name; values set in the session come back from a
#                reload; the saved chunk is 16 zero bytes and one "abnk" block holding the
#                session bank; a factory program chosen in the session is the reloaded
#                plug-in's program, with its values.
set -euo pipefail
mode=$1 plugin=$2 render=$3 hosts=$4
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# params_of PREFIX LOG: "index value" per line, from the lines "PREFIX index value ...".
# Values are normalised and printed with 9 significant digits, so a float that is stored and
# read back gives the same text.
params_of() {
    awk -v p="$1" '$1 == p {print $2, $3}' "$2"
}

# same_params A B WHAT: two "index value" lists agree line by line.
same_params() {
    if [ -z "$1" ] || [ "$1" != "$2" ]; then
        fail "$3 differ:"$'\n'"$1"$'\n'"---"$'\n'"$2"
    fi
}

# run_lua NAME OKLINE SCRIPT ARGS...: one ardour7-lua step in the private Ardour configuration
# and plug-in cache that the harness run before it made (Ardour's lua never scans by itself).
run_lua() {
    local name=$1 okline=$2 rc=0
    shift 2
    XDG_CONFIG_HOME="$work/session/config" XDG_CACHE_HOME="$work/session/cache" \
        LXVST_PATH=$(dirname "$(realpath "$plugin")") \
        timeout -k 10 300 ardour7-lua "$@" > "$work/$name.log" 2>&1 || rc=$?
    grep -E '^[A-Z_]+ ' "$work/$name.log" || true
    if [ $rc -ne 0 ] || ! grep -qx "$okline" "$work/$name.log"; then
        cat "$work/$name.log" >&2
        fail "Ardour step $name (exit $rc)"
    fi
}

# inspect_chunk SESSION_FILE: decodes the plug-in's chunk that Ardour saved and checks its frame:
# 16 zero bytes, then one compressed block: the tag, the payload's size and the CRC of the
# size's four bytes (32-bit little-endian each), then a zlib stream that inflates to exactly
# that size with nothing after it. Prints "CHUNK program=N bytes=N payload=N" and writes the
# inflated payload beside the session file (.payload).
inspect_chunk() {
    python3 - "$1" << 'PYTHON'
import base64, struct, sys, zlib
import xml.etree.ElementTree as ET

def fail(msg):
    sys.exit("FAIL: %s: %s" % (sys.argv[1], msg))

chunks = [el for proc in ET.parse(sys.argv[1]).getroot().iter("Processor")
          if proc.get("type") == "lxvst" for el in proc.iter("chunk")]
if len(chunks) != 1:
    fail("%d chunks of a VST plug-in, expected one" % len(chunks))
raw = base64.b64decode(chunks[0].text or "")
if len(raw) < 16 + 12 + 2 or raw[:16] != bytes(16):
    fail("the chunk does not start with 16 zero bytes: %s" % raw[:32].hex())
tag, size_bytes, head_crc = raw[16:20], raw[20:24], struct.unpack("<I", raw[24:28])[0]
if tag != b"abnk":
    fail("block tag %r, expected b'abnk'" % tag)
if head_crc != zlib.crc32(size_bytes):
    fail("head CRC %08x, the size's bytes give %08x" % (head_crc, zlib.crc32(size_bytes)))
size = struct.unpack("<I", size_bytes)[0]
stream = zlib.decompressobj()
try:
    payload = stream.decompress(raw[28:])
except zlib.error as error:
    fail("the block's zlib stream is damaged: %s" % error)
if not stream.eof or stream.unused_data or len(payload) != size:
    fail("the block inflates to %d bytes (%s, %d bytes after it), its head says %d"
         % (len(payload), "complete" if stream.eof else "cut short", len(stream.unused_data), size))
open(sys.argv[1] + ".payload", "wb").write(payload)
print("CHUNK program=%s bytes=%d payload=%d" % (chunks[0].get("program"), len(raw), size))
PYTHON
}

# The factory programs' names in order, as the bank's source spells them.
factory_names() {
    sed -n 's/^preset "[^:]*:\(.*\)"$/\1/p' "$here/../Resources/Presets/FactoryROM.txt"
}

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
state)
    command -v python3 > /dev/null || fail "python3 is needed to read the saved session"
    # Values that the converters hold exactly or nearly. The period comes out near 5 s: a
    # fresh instance draws new event times, so the renders before and after the reload need
    # not match.
    "$hosts/make_test_wav.sh" "$work/in.wav" 4 48000 > /dev/null
    RELOAD_MUST_MATCH=0 KEEP_WORK=1 WORK_DIR="$work/session" \
        "$hosts/ardour/run_ardour_vst.sh" "$plugin" "$work/in.wav" "$work/out.wav" \
        1=0.2 2=0.7 3=0.35 4=0.6 5=0.1 | grep -v '^SCAN| ' | tee "$work/log"
    grep -qx 'RESULT OK' "$work/log" || fail "the harness run failed"
    session="$work/session/session"

    names=$(awk '$1 == "PARAM" {print $2, $4}' "$work/log" | paste -sd ' ')
    [ "$names" = "0 Bypass 1 Period 2 Duratn 3 Freq 4 Gain 5 Variatn" ] ||
        fail "the host parameters are \"$names\""
    # What the host set is what the plug-in reports (up to float rounding); a reload gives
    # back exactly that.
    awk '$1 == "SET" {set[$2] = $3}
         $1 == "PARAM" && ($2 in set) && ($3 - set[$2] > 1e-6 || set[$2] - $3 > 1e-6) {
             bad = bad " " $2 "=" $3 " (set " set[$2] ")"}
         END {if (bad != "") {print "FAIL: parameters not taken:" bad; exit 1}}' "$work/log"
    same_params "$(params_of PARAM "$work/log")" "$(params_of RELOADED_PARAM "$work/log")" \
        "the parameters before and after the reload"

    # The harness's view of the chunk: 16 zero bytes, then the block's tag "abnk" (61 62 6e 6b);
    # the rest of the frame is checked on the whole chunk.
    head=$(sed -n 's/^STATE_CHUNK .* head=\([0-9a-f]*\)$/\1/p' "$work/log")
    [[ "$head" == 0000000000000000000000000000000061626e6b* ]] ||
        fail "the saved chunk starts with $head"
    inspect_chunk "$session/session.ardour"
    # The payload is the session bank: its name and every factory program by name.
    grep -qaF "Session Bank" "$session/session.ardour.payload" || fail "the saved bank is unnamed"
    while read -r name; do
        grep -qaF "z4m1:$name" "$session/session.ardour.payload" ||
            fail "the saved bank has no program \"$name\""
    done < <(factory_names)

    # A program chosen in the session. Program 3 (0.1 s, 330 Hz, -24 dB every 5 s, 5 %) differs
    # from a fresh instance (the Default program) in all five values behind the host
    # parameters 1-5.
    program=3
    run_lua choose "CHOOSE OK" "$here/ardour/choose_program.lua" "$session" session $program
    # VST program names reach the host cut to 23 characters.
    diff <(factory_names | cut -c1-23 | sed 's/ *$//' | awk '{print NR - 1, $0}') \
        <(sed -n 's/^PROGRAM_NAME //p' "$work/choose.log" | sed 's/ *$//') ||
        fail "the programs Ardour lists are not the factory programs"
    awk -v p=$program '$1 == "DEFAULT_PARAM" {d[$2] = $3}
         $1 == "PROGRAM_PARAM" && $2 >= 1 && $3 == d[$2] {bad = bad " " $2}
         END {if (bad != "") {print "FAIL: program " p " leaves the defaults of" bad; exit 1}}' \
        "$work/choose.log"
    inspect_chunk "$session/session.ardour" | tee "$work/chosen"
    grep -q "^CHUNK program=$program " "$work/chosen" ||
        fail "the session holds another program than $program"

    run_lua report "REPORT OK" "$here/ardour/report_program.lua" "$session" session resaved
    same_params "$(params_of PROGRAM_PARAM "$work/choose.log")" \
        "$(params_of RELOADED_PROGRAM_PARAM "$work/report.log")" \
        "program $program's values before and after the reload"
    # Saved once more after the reload, the plug-in names its program and gives back the bank
    # it was given.
    inspect_chunk "$session/resaved.ardour" | tee "$work/resaved"
    grep -q "^CHUNK program=$program " "$work/resaved" ||
        fail "the reloaded plug-in reports another program than $program"
    cmp -s "$session/session.ardour.payload" "$session/resaved.ardour.payload" ||
        fail "the reloaded plug-in saves another bank than it was given"
    echo "STATE OK"
    ;;
*)
    echo "unknown mode $mode" >&2
    exit 2
    ;;
esac
