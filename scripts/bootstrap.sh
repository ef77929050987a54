#!/usr/bin/env bash
# Installs the Debian packages the build, the application and the tests need, when any is
# missing. Quick when everything is already there.
set -euo pipefail

packages=(
    build-essential cmake ninja-build ccache pkg-config
    qt6-base-dev qt6-base-dev-tools libqt6sql6-sqlite libqt6sql6-psql libgl-dev
    libhunspell-dev hunspell-en-us poppler-utils
    libnats-dev nats-server libsodium-dev
    xvfb xauth
)
if [[ "${KORVA_WITH_POSTGRES:-}" == 1 ]]; then
    packages+=(postgresql)
fi
# The fuzz targets (tools/fuzz.sh): clang and its libFuzzer runtime; Debian 12's clang is 14.
if [[ "${KORVA_WITH_FUZZ:-}" == 1 ]]; then
    packages+=(clang "libclang-rt-${KORVA_CLANG_VERSION:-14}-dev")
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if ((${#missing[@]})); then
    echo "Installing: ${missing[*]}"
    sudo_cmd=()
    if [[ $(id -u) -ne 0 ]]; then sudo_cmd=(sudo); fi
    export DEBIAN_FRONTEND=noninteractive
    "${sudo_cmd[@]}" apt-get update -qq
    "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
