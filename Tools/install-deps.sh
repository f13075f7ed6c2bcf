#!/usr/bin/env bash
# Installs what building and testing need on a Debian 12 machine; installs nothing that is there.
# Usage: Tools/install-deps.sh [--with-hosts]   (--with-hosts adds the real host used by the tests)
set -euo pipefail
packages=(build-essential cmake pkg-config zlib1g-dev libgtest-dev libgmock-dev libbenchmark-dev
          libsndfile1-dev libpng-dev libpugixml-dev libcairo2-dev librsvg2-dev libfreetype-dev
          fonts-dejavu-core clang-14 libclang-rt-14-dev clang-format-14 libx11-dev libxtst-dev)
if [ "${1:-}" = "--with-hosts" ]; then
    packages+=(ardour sox python3)
fi
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    sudo=""
    [ "$(id -u)" = 0 ] || sudo=sudo
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
