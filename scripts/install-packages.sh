#!/usr/bin/env bash
# usage: install-packages.sh [demo|bench|docs|fuzz|all|ci]
# Installs the Debian packages that the demo, the benchmark, the reference, the fuzz targets, (all) the tests or (ci) the
# tests and all checks need. Does nothing, not even look for news, when they are there.
set -euo pipefail

packages=(g++ g++-multilib cmake ninja-build pkg-config googletest libcli11-dev libpng-dev libjpeg62-turbo-dev)
case "${1:-all}" in
  demo) ;;
  bench) packages+=(libbenchmark-dev gnuplot-nox) ;;
  docs) packages+=(doxygen) ;;
  fuzz) packages+=(clang libclang-rt-dev libomp-dev) ;;
  all) packages+=(qemu-user) ;;
  ci)
    packages+=(qemu-user git clang clang-format clang-tidy libclang-rt-dev libomp-dev shellcheck abigail-tools doxygen
      libbenchmark-dev dpkg-dev file)
    ;;
  *)
    echo "usage: ${0##*/} [demo|bench|docs|fuzz|all|ci]" >&2
    exit 2
    ;;
esac

if ! command -v dpkg-query apt-get >/dev/null; then
  echo "Not a Debian system. The Debian packages to find counterparts for: ${packages[*]}" >&2
  exit 1
fi

architecture=$(dpkg --print-architecture)
missing=()
for package in "${packages[@]}"; do
  # Of this architecture or of none: libraries may be installed for another one only.
  dpkg-query -W -f '${Architecture} ${db:Status-Status}\n' "$package" 2>/dev/null |
    grep -qxE "($architecture|all) installed" || missing+=("$package")
done
if ((${#missing[@]} == 0)); then
  echo "All packages are installed."
  exit 0
fi

as_root=()
if ((EUID != 0)); then
  if ! command -v sudo >/dev/null; then
    echo "These packages are missing; install them as root: ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi

# Nothing may be removed to make room: that is for the machine's owner to decide.
install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive
  apt-get install -y --no-install-recommends --no-remove "${missing[@]}")
echo "Installing ${missing[*]}"
if ! "${install[@]}"; then
  echo "Trying again with fresh package lists."
  "${as_root[@]}" apt-get update
  "${install[@]}"
fi
