#!/bin/bash
# storescu to b3-receive against storescu to storescp, in alternating pairs:
# 1,000 files of 512 KB and one 256 MB multi-frame object. Prints the median
# wall time of storescu and the receiver's CPU time (user + sys of its
# process tree) per receiver, and their ratios.
#
# usage: bench/store-vs-storescp.sh [BUILD_DIR] [RUNS]   (default build, 3)
# WHAT=small, WHAT=big or WHAT=none limits the storing rows; a burst of 30
# associations against storescp --fork follows when echoscu is installed.
set -eu
BUILD=${1:-build}
RUNS=${2:-3}
for program in storescu storescp dump2dcm /usr/bin/time; do
    command -v "$program" > /dev/null || { echo "skipped: $program not installed"; exit 0; }
done
RECEIVE=$(readlink -f "$BUILD/tools/b3-receive")
MKIMAGE=$(readlink -f "$BUILD/tools/b3-mkimage")
WORK=$(mktemp -d /tmp/b3-store-bench.XXXXXX)
RECEIVER_PID=
trap '[ -n "$RECEIVER_PID" ] && kill -TERM $RECEIVER_PID 2> /dev/null; rm -rf "$WORK"' EXIT
PORT=$((20000 + RANDOM % 20000))

echo "making data in $WORK ..."
mkdir "$WORK/small"
"$MKIMAGE" -n 500 -s 512 "$WORK/small/a" > /dev/null
"$MKIMAGE" -n 500 -s 512 "$WORK/small/b" > /dev/null
head -c 268435456 /dev/zero | tr '\0' '\1' > "$WORK/pixels.raw"
cat > "$WORK/big.dump" <<DUMP
(0008,0016) UI =MultiframeGrayscaleWordSecondaryCaptureImageStorage
(0008,0018) UI [1.2.826.0.1.3680043.2.9.1]
(0010,0010) PN [Big^Object]
(0020,000d) UI [1.2.826.0.1.3680043.2.9.2]
(0028,0002) US 1
(0028,0004) CS [MONOCHROME2]
(0028,0008) IS [512]
(0028,0010) US 512
(0028,0011) US 512
(0028,0100) US 16
(0028,0101) US 16
(0028,0102) US 15
(0028,0103) US 0
(7fe0,0010) OW =$WORK/pixels.raw
DUMP
dump2dcm -q +te "$WORK/big.dump" "$WORK/big.dcm"
rm "$WORK/pixels.raw"

wait_port() {
    for _ in $(seq 100); do
        (exec 3<>/dev/tcp/127.0.0.1/$PORT) 2> /dev/null && return 0
        sleep 0.05
    done
    return 1
}

# run RECEIVER WHAT: one storescu run; prints "wall cpu".
run() {
    local receiver=$1 what=$2 out="$WORK/out"
    rm -rf "$out" && mkdir -p "$out"
    if [ "$receiver" = b3 ]; then
        /usr/bin/time -f "%U %S" -o "$WORK/cpu" "$RECEIVE" -p $PORT -o "$out" > /dev/null &
    else
        /usr/bin/time -f "%U %S" -o "$WORK/cpu" storescp -od "$out" $PORT > /dev/null 2>&1 &
    fi
    local timer=$!
    sleep 0.05
    RECEIVER_PID=$(pgrep -P $timer)
    wait_port
    local start end
    start=$(date +%s.%N)
    if [ "$what" = small ]; then
        storescu -aec ANY +sd +r 127.0.0.1 $PORT "$WORK/small" || echo "storescu failed" >&2
    else
        storescu -aec ANY 127.0.0.1 $PORT "$WORK/big.dcm" || echo "storescu failed" >&2
    fi
    end=$(date +%s.%N)
    sleep 0.2
    kill -TERM $RECEIVER_PID 2> /dev/null || true
    wait $timer 2> /dev/null || true
    RECEIVER_PID=
    echo "$(echo "$end - $start" | bc) $(awk 'NR==1 || /^[0-9]/ {s=$1+$2} END {print s}' "$WORK/cpu")"
}

median() { sort -n | awk '{a[NR]=$1} END {print (NR%2) ? a[(NR+1)/2] : (a[NR/2]+a[NR/2+1])/2}'; }

printf "%-28s %10s %10s %10s %10s %8s %8s\n" work b3-wall scp-wall b3-cpu scp-cpu wall-x cpu-x
for what in ${WHAT:-small big}; do
    [ "$what" = none ] && continue
    : > "$WORK/b3" && : > "$WORK/scp"
    for _ in $(seq "$RUNS"); do
        run b3 $what >> "$WORK/b3"
        run scp $what >> "$WORK/scp"
    done
    bw=$(cut -d' ' -f1 "$WORK/b3" | median); sw=$(cut -d' ' -f1 "$WORK/scp" | median)
    bc_=$(cut -d' ' -f2 "$WORK/b3" | median); sc=$(cut -d' ' -f2 "$WORK/scp" | median)
    label=$([ $what = small ] && echo "1,000 files of 512 KB" || echo "one 256 MB multi-frame")
    printf "%-28s %10.3f %10.3f %10.2f %10.2f %8.2f %8.2f\n" "$label" "$bw" "$sw" "$bc_" "$sc" \
        "$(echo "$bw / $sw" | bc -l)" "$(echo "$bc_ / $sc" | bc -l)"
done
echo "(wall: storescu's run; cpu: receiver user+sys; x: b3-receive / storescp, below 1 is better)"

# burst RECEIVER: 30 echoscu started at once; prints each one's seconds.
burst() {
    if [ "$1" = b3 ]; then
        "$RECEIVE" -p $PORT -o "$WORK/out" > /dev/null &
    else
        storescp --fork -od "$WORK/out" $PORT > /dev/null 2>&1 &
    fi
    RECEIVER_PID=$!
    wait_port
    for i in $(seq 30); do
        ( s=$(date +%s.%N); echoscu 127.0.0.1 $PORT; e=$(date +%s.%N); echo "$e - $s" | bc > "$WORK/echo.$i" ) &
    done
    wait $(jobs -p | grep -v "^$RECEIVER_PID\$") 2> /dev/null || true
    kill -TERM $RECEIVER_PID 2> /dev/null || true
    wait $RECEIVER_PID 2> /dev/null || true
    RECEIVER_PID=
    cat "$WORK"/echo.*
}
if command -v echoscu > /dev/null; then
    echo
    printf "%-34s %12s %12s\n" "30 associations opened at once" median slowest
    for receiver in b3 scp; do
        burst $receiver > "$WORK/burst"
        printf "%-34s %12.3f %12.3f\n" "$([ $receiver = b3 ] && echo b3-receive || echo 'storescp --fork')" \
            "$(median < "$WORK/burst")" "$(sort -n "$WORK/burst" | tail -1)"
    done
fi
