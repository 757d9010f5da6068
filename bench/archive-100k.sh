#!/usr/bin/env bash
# b3-archive serving an index of 100,000 instances (made by bench_archive,
# one empty file per instance): study-level C-FIND by patient ID and by a
# wildcard patient name, timed per findscu run (its start-up included), then
# an ingest of N files while the index is that size; the peak resident
# memory of the archive and its association processes at the end.
# Usage: bench/archive-100k.sh BUILD_DIR [N]
set -euo pipefail
build=$(cd "$1" && pwd)
n=${2:-1000}
work=$(mktemp -d /tmp/b3-archive-100k.XXXXXX)
pids=()
cleanup() { for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done; wait 2>/dev/null || true; rm -rf "$work"; }
trap cleanup EXIT
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')

echo "== the index alone (bench_archive, in process)"
B3_BENCH_ARCHIVE="$work/arc" "$build/bench/bench_archive" --benchmark_format=console 2>/dev/null | grep -E "p95|mean"

/usr/bin/time -f "archive peak resident memory (it and its association processes): %M kB" \
    "$build/tools/b3-archive" -p "$port" -o "$work/arc" > "$work/archive.log" 2> "$work/time.log" & pids+=($!)
for _ in $(seq 1 300); do grep -q "listening on" "$work/archive.log" 2>/dev/null && break; sleep 0.1; done
head -1 "$work/archive.log"

# p95 of the wall time of runs of a command, in ms.
p95() {
    local runs=$1; shift
    python3 - "$runs" "$@" <<'PY'
import subprocess, sys, time
runs = int(sys.argv[1]); cmd = sys.argv[2:]
times = []
for i in range(runs):
    args = [a.replace("{i}", str((i * 7919) % 10000)) for a in cmd]
    t0 = time.perf_counter(); subprocess.run(args, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL); times.append((time.perf_counter() - t0) * 1000)
times.sort()
print("p95 %.1f ms, median %.1f ms over %d runs" % (times[len(times) * 95 // 100], times[len(times) // 2], runs))
PY
}
echo "== through the network, findscu per query"
echo "C-ECHO (echoscu start-up and association alone): $(p95 50 echoscu -aec B3-ARCHIVE 127.0.0.1 "$port")"
echo "study C-FIND by patient ID: $(p95 100 findscu -S -aec B3-ARCHIVE -k QueryRetrieveLevel=STUDY \
    -k PatientID=PID{i} -k StudyInstanceUID 127.0.0.1 "$port")"
echo "study C-FIND by wildcard name: $(p95 50 findscu -S -aec B3-ARCHIVE -k QueryRetrieveLevel=STUDY \
    -k 'PatientName=*Novak^PATIENT1*' -k StudyInstanceUID 127.0.0.1 "$port")"

"$build/tools/b3-mkimage" -n "$((n < 999 ? n : 999))" -s 64 --patient-id INGEST "$work/in" > /dev/null
t0=$(date +%s.%N)
storescu -aec B3-ARCHIVE +sd +r 127.0.0.1 "$port" "$work/in" > /dev/null 2>&1
echo "ingest of $((n < 999 ? n : 999)) files into the 100k index: $(echo "$(date +%s.%N) - $t0" | bc) s"
# Stopping the archive itself (not the time process that waits on it) lets
# time report.
kill "$(pgrep -P "${pids[0]}")"; wait "${pids[0]}" 2>/dev/null || true; pids=()
cat "$work/time.log"
