#!/usr/bin/env bash
# What a status host costs the module per command: one that answers at once,
# and one that never answers, which should cost about LinkTimeout per command
# and no more. Runs a private session bus with meterimport-status-monitor as
# the host and prints the figures of status_link_driver for each.
#
#   bench/status_link_timeout.sh [COUNT [TENTHS]]     (defaults: 10 commands, 5 tenths)
#
# Builds the two programs in build/ first (BUILD_DIR=... for another folder).
set -euo pipefail
cd "$(dirname "$0")/.."

count=${1:-10}
tenths=${2:-5}
build_dir=${BUILD_DIR:-build}

if [[ ! -f "$build_dir/build.ninja" ]]; then
  cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
cmake --build "$build_dir" -j 2 --target meterimport-status-monitor status_link_driver >/dev/null

work=$(mktemp -d)
bus_pid=
host_pid=
cleanup() {
  [[ -n "$host_pid" ]] && kill "$host_pid" 2>/dev/null || true
  [[ -n "$bus_pid" ]] && kill "$bus_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

dbus-daemon --session --fork --print-address=1 --print-pid=1 >"$work/bus"
DBUS_SESSION_BUS_ADDRESS=$(sed -n 1p "$work/bus")
bus_pid=$(sed -n 2p "$work/bus")
export DBUS_SESSION_BUS_ADDRESS

run() {
  local title=$1
  shift
  "$build_dir/bin/meterimport-status-monitor" "$@" >"$work/host.out" &
  host_pid=$!
  # Until the host owns its name.
  for _ in $(seq 100); do
    dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
      org.freedesktop.DBus.NameHasOwner string:Orvantix.DDEImpStatus 2>/dev/null |
      grep -q "boolean true" && break
    sleep 0.1
  done
  echo "== $title"
  "$build_dir/bin/status_link_driver" "$count" "$tenths"
  echo "host received $(wc -l <"$work/host.out") of $count commands"
  kill "$host_pid"
  wait "$host_pid" || true
  host_pid=
}

run "host answers at once"
run "host never answers" --never-answer
