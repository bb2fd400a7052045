#!/usr/bin/env bash
# Installs what Kesto needs from Debian's packages. Safe to run again: it does
# nothing when everything is already there.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config binutils
  libjsoncpp-dev libgoogle-glog-dev
  libboost-dev libboost-filesystem-dev libboost-system-dev
  libpolyclipping-dev libcairo2-dev libarchive-dev libsqlite3-dev libpng-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libsodium-dev libpq-dev postgresql
  gerbv libcpp-httplib-dev chromium
  python3 python3-pytest python3-setuptools python3-venv python3-pip python3-distributed
  clang libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "setup: run as root, or install sudo" >&2; exit 1; }
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
