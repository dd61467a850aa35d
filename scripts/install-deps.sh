#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running the module
# need, and only those that are missing. Safe to run again.
#   scripts/install-deps.sh            build and test packages
#   scripts/install-deps.sh --fuzz     also clang and libFuzzer
#   scripts/install-deps.sh --bench    also the sqlite3 shell (the hive benchmarks)
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config
  libsqlite3-dev nlohmann-json3-dev
  libgtest-dev libgmock-dev libbenchmark-dev
)
if [[ "${1:-}" == "--fuzz" ]]; then
  packages+=(clang libclang-rt-14-dev libfuzzer-14-dev)
fi
if [[ "${1:-}" == "--bench" ]]; then
  packages+=(sqlite3)
fi

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done
((${#missing[@]} == 0)) && exit 0

echo "Installing: ${missing[*]}" >&2
sudo=()
if [[ $(id -u) -ne 0 ]]; then
  sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
