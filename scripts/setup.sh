#!/bin/sh
# Installs the Debian packages a make target needs, by group, so that each target installs only
# what it uses:
#   build   the compiler, CMake, Ninja, GoogleTest, Boost, Eigen (davok-gblup) and Python 3
#   plots   numpy, pandas and matplotlib for davok-plot and the Python readers
#   tests   the field's tools the tests check against and run (PLINK 1.9, bcftools, GNU parallel,
#           Slurm for the single-node cluster test)
#   bench   PLINK 1.9 (the export benchmark's reference) and numpy (the LD benchmark's)
#   cluster GNU parallel, for davok-cluster on one machine
#   fuzz    the compiler and runtime of the fuzz target
# Idempotent: the package index is refreshed and apt-get is called only when a package of the
# groups asked for is actually missing.
set -eu

packages=""
for group in "${@:-build}"; do
    case "$group" in
    build) packages="$packages g++ cmake ninja-build make libgtest-dev libboost-thread-dev libboost-date-time-dev"
           packages="$packages libboost-system-dev libeigen3-dev python3" ;;
    plots) packages="$packages python3-numpy python3-pandas python3-matplotlib" ;;
    tests) packages="$packages plink1.9 bcftools parallel slurm-wlm" ;;
    bench) packages="$packages plink1.9 python3-numpy" ;;
    cluster) packages="$packages parallel" ;;
    fuzz) packages="$packages clang-14 libclang-rt-14-dev" ;;
    *) echo "setup.sh: unknown group '$group' (build, plots, tests, bench, cluster, fuzz)" >&2; exit 1 ;;
    esac
done

missing=""
for p in $packages; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        case " $missing " in *" $p "*) ;; *) missing="$missing $p" ;; esac
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
