# Sourced by the scripts of this folder: what they all need.

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)

# say TEXT: a line for the person; die TEXT: the same, and the end.
say() { printf '%s\n' "$*"; }
die() {
    printf '%s\n' "$*" >&2
    exit 1
}

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# install_missing PACKAGE...: Debian packages that are not there yet. Nothing that listens is started by it.
install_missing() {
    local package missing="" guard=/usr/sbin/policy-rc.d made="" log
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    if [ "$(id -u)" != 0 ] && ! command -v sudo >/dev/null; then
        die "Missing packages:$missing
Run this as root, or install sudo, or install them by hand: apt-get install$missing"
    fi
    say "Installing:$missing"
    log=$(mktemp)
    as_root apt-get update -qq >"$log" 2>&1 || true
    if [ ! -e "$guard" ]; then
        printf '#!/bin/sh\nexit 101\n' | as_root tee "$guard" >/dev/null && as_root chmod 755 "$guard" && made=1
    fi
    # shellcheck disable=SC2086
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >>"$log" 2>&1
    local result=$?
    [ -z "$made" ] || as_root rm -f "$guard"
    if [ $result != 0 ]; then
        tail -n 20 "$log" >&2
        die "The packages above could not be installed (log: $log). Check the network and the package sources, then run this again."
    fi
    rm -f "$log"
}

build_packages="g++ cmake ninja-build libcli11-dev libssl-dev libcurl4-openssl-dev libarchive-dev libgmime-3.0-dev pkg-config"

# build PRESET [CMAKE-ARGUMENT...]: configures and builds; the log is shown only when it fails.
build() {
    local preset=$1 log="$top/build/$1.log"
    shift
    mkdir -p "$top/build"
    if ! (cd "$top" && cmake --preset "$preset" "$@" && cmake --build --preset "$preset" -j "$jobs") >"$log" 2>&1; then
        grep -E -A5 'error|Error|FAILED' "$log" | head -n 60 >&2
        die "The build '$preset' failed; the whole log is build/$preset.log"
    fi
}
