#!/usr/bin/env bash
# The real meterimport with a session bus that does not answer: a socket that
# accepts and never answers, and a bus daemon that is stopped (SIGSTOP). The
# wizard must be shown within a second of the start all the same (the
# requirement is that deadline; the times are printed). Without any bus the
# module starts none: a dbus-launch first in PATH would note its start.
# Every process the test starts stays its child and is ended on every way out.
#   dead_bus_test.sh BUILD_DIR SOURCE_DIR SILENT_BUS_PROGRAM
set -euo pipefail

build=$(realpath "$1")
root=$(realpath "$2")
silent_bus=$(realpath "$3")
source "$root/scripts/x-session.sh"
own_work_folder
demo="$work/demo"
now_ms() { echo $(($(date +%s%N) / 1000000)); }

source "$root/scripts/demo-installation.sh" >/dev/null
export XDG_RUNTIME_DIR="$work/runtime"
mkdir -m 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS
# The bus library starts a bus with dbus-launch when it finds none.
mkdir "$work/bin"
printf '#!/bin/sh\ntouch "%s/launched"\nexit 1\n' "$work" >"$work/bin/dbus-launch"
chmod +x "$work/bin/dbus-launch"
export PATH="$work/bin:$PATH"

start_display 1024x768x24 || fail "no X server"

"$silent_bus" "$work/silent" &
wait_for '[[ -S $work/silent ]]' 100 || fail "the silent socket is not there"
dbus-daemon --session --nofork --print-address=3 3>"$work/bus.address" 2>/dev/null &
daemon=$!
wait_for '[[ -s $work/bus.address ]]' 100 || fail "the bus daemon did not start"
kill -STOP "$daemon"

# Milliseconds from the start of the module to its wizard being shown (or
# fails after ten seconds); the module is ended then.
time_to_window() {
  local start shown
  start=$(now_ms)
  "$build/bin/meterimport" Demo 1 1 13 0 2>/dev/null &
  local module=$!
  wait_for 'xdotool search --onlyvisible --class meterimport >/dev/null 2>&1' 100 \
    || fail "no wizard within ten seconds ($1)"
  shown=$(now_ms)
  kill "$module"
  wait "$module" 2>/dev/null || true
  # The window is gone before the next one is looked for.
  wait_for '! xdotool search --onlyvisible --class meterimport >/dev/null 2>&1' 100
  echo $((shown - start))
}

for case in "a socket that never answers" "a stopped bus daemon" "no session bus"; do
  case $case in
    "a socket"*) address=unix:path=$work/silent ;;
    "a stopped"*) address=$(head -1 "$work/bus.address") ;;
    *) address= ;;
  esac
  if [[ -n $address ]]; then
    ms=$(DBUS_SESSION_BUS_ADDRESS=$address time_to_window "$case")
  else
    ms=$(time_to_window "$case")
  fi
  echo "$case: the wizard was shown after $ms ms"
  ((ms < 1000)) || fail "$case: the wizard was shown only after $ms ms"
done
[[ ! -e $work/launched ]] || fail "the module had a session bus started (dbus-launch)"
echo "PASS"
