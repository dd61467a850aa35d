#!/usr/bin/env bash
# Builds the module and runs every test: the README's test command.
#   scripts/test.sh                 build/ (RelWithDebInfo)
#   scripts/test.sh --sanitize      build-asan/ with AddressSanitizer + UBSan
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

build_dir=build
options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
if [[ "${1:-}" == "--sanitize" ]]; then
  build_dir=build-asan
  options=(-DCMAKE_BUILD_TYPE=Debug -DMETERIMPORT_SANITIZE=ON -DMETERIMPORT_BENCH=OFF)
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
fi

cmake -S . -B "$build_dir" -G Ninja "${options[@]}" >/dev/null
cmake --build "$build_dir" -j "$(nproc)"
ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)"
