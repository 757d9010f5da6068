#!/usr/bin/env bash
# Codec throughput against dcmtk and GDCM on the same files: CPU time
# (user + system) of b3-convert and of the peer tool, run one after the other
# in each round, the median of the rounds. CPU time rather than wall time,
# as the machine may be shared.
#
#   bench/codec-peers.sh BUILD_DIR INPUT... [-- ROUNDS]
#
# INPUT is a native file or a folder of them (each file is converted by its
# own process, ours and the peer's alike). Prints one line per codec and
# direction: megabytes of pixels per CPU second, ours and the peer's.
set -euo pipefail
build=$1; shift
inputs=(); rounds=3
while [ $# -gt 0 ]; do
    if [ "$1" = "--" ]; then rounds=$2; break; fi
    inputs+=("$1"); shift
done
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
convert="$build/tools/b3-convert"

files=()
for input in "${inputs[@]}"; do
    if [ -d "$input" ]; then files+=($(find "$input" -type f | sort)); else files+=("$input"); fi
done
# Megabytes of native pixels: the Pixel Data value length of each file.
pixelMb=$(for f in "${files[@]}"; do dcmdump +P PixelData "$f" | sed -n 's/.*# *\([0-9]*\),.*/\1/p' | head -1; done |
    awk '{s += $1} END {printf "%.1f", s / 1048576}')

# CPU seconds of running "$@ IN OUT" over every file of folder $1 into $2.
cpu() {
    local from=$1 to=$2; shift 2
    mkdir -p "$to"
    /usr/bin/time -f "%U %S" -o "$work/t" bash -c '
        to=$1; shift; n=0
        for f in "$from"/*; do n=$((n + 1)); "$@" "$f" "$to/$n" >/dev/null 2>&1 || exit 1; done' \
        _ "$to" "$@" >/dev/null || { echo "failed: $*" >&2; return 1; }
    awk '{print $1 + $2}' "$work/t"
}
export from

median() { sort -g | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }

# One case: name, input folder, our command, the peer's command (each a
# string that the file names follow).
compare() {
    local name=$1 input=$2 ours=$3 peer=$4 o=() p=()
    for ((r = 0; r < rounds; r++)); do
        from=$input; export from
        o+=($(cpu "$input" "$work/ours-$name" $ours))
        p+=($(cpu "$input" "$work/peer-$name" $peer))
    done
    local om pm
    om=$(printf '%s\n' "${o[@]}" | median); pm=$(printf '%s\n' "${p[@]}" | median)
    awk -v n="$name" -v mb="$pixelMb" -v o="$om" -v p="$pm" -v peer="${peer%% *}" 'BEGIN {
        printf "%-22s ours %7.1f MB/s (%.2f s)   %-9s %7.1f MB/s (%.2f s)   ratio %.2f\n",
               n, mb / (o > 0 ? o : 0.001), o, peer, mb / (p > 0 ? p : 0.001), p, (p > 0 ? o / p : 0) }'
}

mkdir -p "$work/native"
n=0; for f in "${files[@]}"; do n=$((n + 1)); cp "$f" "$work/native/$n"; done
echo "$n files, $pixelMb MB of pixels, $rounds rounds, median CPU seconds"

# Encoding from the native files; decoding the peer's encoding of them with
# both (the same input file for both contenders).
while read -r name ours peerEncode peerDecode; do
    compare "$name-encode" "$work/native" "$convert ${ours//,/ }" "${peerEncode//,/ }"
    cp -r "$work/peer-$name-encode" "$work/$name-encoded"
    compare "$name-decode" "$work/$name-encoded" "$convert --explicit" "${peerDecode//,/ }"
done <<'CASES'
rle --rle dcmcrle dcmdrle
jpeg-lossless --jpeg-lossless dcmcjpeg,+e1 dcmdjpeg
jpeg-12bit-lossy --jpeg,--lossy dcmcjpeg,+ee dcmdjpeg
jpeg-ls --jpls dcmcjpls dcmdjpls
j2k-lossless --j2k-lossless gdcmconv,--j2k gdcmconv,--raw
CASES
