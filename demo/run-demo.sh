#!/bin/sh
# Brenik3 end to end on 127.0.0.1: a storage SCP receives a synthetic CT
# series sent by the storage SCU; the received files are dumped, indexed in
# a DICOMDIR and one slice is written as PNG. Everything lands in one folder.
#
#   demo/run-demo.sh [BUILD_DIR]     (default: build)
#   BRENIK3_DEMO_DIR sets the output folder (default: ./demo-output).
set -eu

BUILD=${1:-build}
TOOLS=$BUILD/tools
OUT=${BRENIK3_DEMO_DIR:-demo-output}

for tool in b3-receive b3-mkimage b3-echo b3-send b3-dump b3-dicomdir b3-png; do
    if [ ! -x "$TOOLS/$tool" ]; then
        echo "run-demo: $TOOLS/$tool is missing; build first:" >&2
        echo "  cmake -S . -B $BUILD && cmake --build $BUILD -j2" >&2
        exit 1
    fi
done

rm -rf "$OUT"
mkdir -p "$OUT"
RECEIVER_PID=
stop_receiver() {
    if [ -n "$RECEIVER_PID" ]; then
        kill -TERM "$RECEIVER_PID" 2>/dev/null || true
        wait "$RECEIVER_PID" 2>/dev/null || true
        RECEIVER_PID=
    fi
}
trap stop_receiver EXIT INT TERM

# The receiver takes the first free port from 11112 on.
PORT=11112
while :; do
    "$TOOLS/b3-receive" -p "$PORT" -o "$OUT/received" > "$OUT/receiver.log" 2>&1 &
    RECEIVER_PID=$!
    tries=0
    while [ $tries -lt 50 ] && kill -0 "$RECEIVER_PID" 2>/dev/null && ! grep -q "listening" "$OUT/receiver.log"; do
        sleep 0.1
        tries=$((tries + 1))
    done
    if grep -q "listening" "$OUT/receiver.log"; then
        break
    fi
    stop_receiver
    PORT=$((PORT + 1))
    if [ $PORT -gt 11160 ]; then
        echo "run-demo: no free port between 11112 and 11160" >&2
        exit 1
    fi
done
echo "1. b3-receive (PID $RECEIVER_PID) listens on 127.0.0.1:$PORT, writing to $OUT/received"

"$TOOLS/b3-mkimage" -n 3 "$OUT/made" > /dev/null
echo "2. b3-mkimage made 3 synthetic CT slices in $OUT/made"

echo "3. b3-echo checks the receiver answers:"
"$TOOLS/b3-echo" -aec B3-RECEIVE "127.0.0.1:$PORT" | sed 's/^/     /'

echo "4. b3-send sends the series:"
"$TOOLS/b3-send" -aec B3-RECEIVE "127.0.0.1:$PORT" "$OUT/made" | sed 's/^/     /'

FIRST=$(find "$OUT/received" -name '*.dcm' | sort | head -n 1)
"$TOOLS/b3-dump" "$FIRST" > "$OUT/dump.txt"
echo "5. b3-dump of a received file (all of it in $OUT/dump.txt):"
grep -E '^\((0008,0016|0010,0010|0028,0010|0028,0011|7fe0,0010)\)' "$OUT/dump.txt" | sed 's/^/     /'

"$TOOLS/b3-dicomdir" --file-set-id B3DEMO --from "$OUT/received" "$OUT/fileset" > /dev/null
echo "6. b3-dicomdir built $OUT/fileset/DICOMDIR from the received files:"
"$TOOLS/b3-dicomdir" --list "$OUT/fileset" | sed 's/^/     /'

"$TOOLS/b3-png" "$FIRST" "$OUT/slice.png" > /dev/null
echo "7. b3-png wrote the first received slice as $OUT/slice.png"

stop_receiver
echo "8. receiver stopped; its log is $OUT/receiver.log"
