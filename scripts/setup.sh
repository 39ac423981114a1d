#!/bin/sh
# Installs the Debian packages the build and the companion tools need (PLINK and bcftools check
# the exports, GNU parallel and Slurm run replicates, Eigen serves the genomic evaluation, pandas
# and matplotlib the readers and plots); with the argument "fuzz", also the compiler and runtime
# of the fuzz target. Idempotent: the package index is refreshed and apt-get is
# called only when a package is actually missing.
set -eu

packages="g++ cmake ninja-build make libgtest-dev libboost-thread-dev libboost-date-time-dev libboost-system-dev"
packages="$packages libeigen3-dev python3 python3-numpy python3-pandas python3-matplotlib plink1.9 bcftools parallel slurm-wlm"
if [ "${1:-}" = "fuzz" ]; then
    packages="$packages clang-14 libclang-rt-14-dev"
fi

missing=""
for p in $packages; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $p"
    fi
done

if [ -z "$missing" ]; then
    exit 0
fi

echo "Installing:$missing"
if [ "$(id -u)" -ne 0 ]; then
    SUDO=sudo
else
    SUDO=
fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq </dev/null
# shellcheck disable=SC2086
$SUDO apt-get install -y -qq --no-install-recommends $missing </dev/null
