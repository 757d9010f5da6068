#!/usr/bin/env bash
# Network figures of b3-archive against dcmtk peers: ingest of N files
# (storescu to b3-archive and to storescp), a C-MOVE of one N-instance
# study to storescp (from b3-archive and from dcmqrscp), and study-level
# C-FIND by patient ID. Usage: bench/archive-network.sh BUILD_DIR [N]
set -euo pipefail
build=$(cd "$1" && pwd)
n=${2:-1000}
work=$(mktemp -d /tmp/b3-archive-bench.XXXXXX)
pids=()
cleanup() { for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done; wait 2>/dev/null || true; rm -rf "$work"; }
trap cleanup EXIT
port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }
seconds() { local t0=$(date +%s.%N); "$@" >/dev/null 2>&1; echo "$(date +%s.%N) - $t0" | bc; }

# b3-mkimage writes at most 999 slices a series: one study of several series.
series=0
for ((left = n; left > 0; left -= 500)); do
    count=$((left < 500 ? left : 500))
    series=$((series + 1))
    "$build/tools/b3-mkimage" -n "$count" -s 64 --patient-id BENCH --study-uid 1.2.826.0.1.3680043.9.7.77 \
        "$work/in/$series" >/dev/null
done
p_scp=$(port); p_arc=$(port); p_dest=$(port); p_qr=$(port)
mkdir -p "$work/scp" "$work/dest" "$work/qr"
storescp -od "$work/scp" "$p_scp" & pids+=($!)
echo "RECEIVER 127.0.0.1 $p_dest" > "$work/destinations"
"$build/tools/b3-archive" -p "$p_arc" -o "$work/arc" -d "$work/destinations" > "$work/archive.log" & pids+=($!)
storescp -aet RECEIVER -od "$work/dest" "$p_dest" & pids+=($!)
sleep 1
echo "ingest of $n files, storescu to storescp:   $(seconds storescu +sd +r 127.0.0.1 "$p_scp" "$work/in") s"
echo "ingest of $n files, storescu to b3-archive: $(seconds storescu -aec B3-ARCHIVE +sd +r 127.0.0.1 "$p_arc" "$work/in") s"
echo "  files stored: storescp $(ls "$work/scp" | wc -l), b3-archive $(find "$work/arc" -name '*.dcm' | wc -l)"
echo "C-MOVE of the study, b3-archive to storescp: $(seconds movescu -S -aec B3-ARCHIVE -aem RECEIVER \
    -k QueryRetrieveLevel=STUDY -k StudyInstanceUID=1.2.826.0.1.3680043.9.7.77 127.0.0.1 "$p_arc") s"
echo "  files moved: $(ls "$work/dest" | wc -l)"
rm -rf "$work/dest"/*

cat > "$work/dcmqrscp.cfg" <<CFG
NetworkTCPPort = $p_qr
MaxPDUSize = 16384
MaxAssociations = 16
HostTable BEGIN
receiver = (RECEIVER, 127.0.0.1, $p_dest)
HostTable END
VendorTable BEGIN
VendorTable END
AETable BEGIN
QR $work/qr RW (200000, 4096mb) ANY
AETable END
CFG
find "$work/in" -type f -print0 | xargs -0 dcmqridx "$work/qr"
dcmqrscp -c "$work/dcmqrscp.cfg" & pids+=($!)
sleep 1
echo "C-MOVE of the study, dcmqrscp to storescp:   $(seconds movescu -S -aec QR -aem RECEIVER \
    -k QueryRetrieveLevel=STUDY -k StudyInstanceUID=1.2.826.0.1.3680043.9.7.77 127.0.0.1 "$p_qr") s"
echo "  files moved: $(ls "$work/dest" | wc -l)"
echo "study C-FIND by patient ID (findscu process included), b3-archive: $(seconds findscu -S -aec B3-ARCHIVE \
    -k QueryRetrieveLevel=STUDY -k PatientID=BENCH -k StudyInstanceUID 127.0.0.1 "$p_arc") s"
