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

# The tests run with a home folder that starts empty and must stay empty:
# every test program makes a home folder of its own (tests/support/
# test_home.cpp), and the test scripts point theirs into their own folders.
# Whatever lands here comes from a test that writes into the home folder of
# whoever runs it.
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
status=0
env -u XDG_CONFIG_HOME -u XDG_DATA_HOME -u XDG_STATE_HOME -u XDG_CACHE_HOME HOME="$home" \
  ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)" || status=$?
if [[ -n $(ls -A "$home") ]]; then
  echo "FAILED: the tests wrote into the home folder:" >&2
  (cd "$home" && find . -mindepth 1 | sort | head -n 40) >&2
  status=1
fi
exit "$status"
