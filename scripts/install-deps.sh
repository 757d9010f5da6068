#!/usr/bin/env bash
# Installs every Debian package the build, the demo, the tests, the fuzzers and
# the benchmarks use. A no-op when all of them are present; run as root (or
# with sudo available) on Debian 12.
set -euo pipefail

packages=(
    cmake g++ make pkg-config
    zlib1g-dev libsqlite3-dev libpq-dev
    libjpeg62-turbo-dev libcharls-dev libopenjp2-7-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    clang libclang-rt-14-dev
    dcmtk libgdcm-tools postgresql
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" != 0 ]; then
    if command -v sudo >/dev/null; then sudo=sudo; else
        echo "install-deps: missing packages (${missing[*]}) and not root; install them and rerun" >&2
        exit 1
    fi
fi
echo "install-deps: installing ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
