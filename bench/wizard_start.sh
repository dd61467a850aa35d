#!/usr/bin/env bash
# Measures, on a virtual X display of its own, with a Release build:
#  1. the time from starting meterimport to its wizard being mapped, and to
#     the first drawing in it reaching the X server (what a person sees),
#     against the same for the smallest Qt widget program, side by side in one
#     run: without a session bus, and with one on which the diary's status
#     monitor listens (target: at most 1.3 times the bare program in both);
#  2. the same for a session bus that accepts connections and never answers,
#     and for a bus daemon that is stopped (SIGSTOP) (target: under 1 s);
#  3. the module's peak memory (VmHWM) during a full import through the
#     wizard of a full meter memory (target: under 60 MB).
# The clock is build-rel/bin/window_shown, which waits for the server's map
# and damage events instead of polling. Rounds alternate the programs, so that a change
# in the machine's load falls on both.
#   bench/wizard_start.sh [RUNS]     default 15 rounds; prints the medians
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
runs=${1:-15}
build="$root/build-rel"
"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMETERIMPORT_TESTS=OFF >/dev/null
cmake --build "$build" --target meterimport meterimport-settings meterimport-status-monitor \
  meterctl-sim bare_qt_window window_shown >/dev/null

source "$root/scripts/x-session.sh"
own_work_folder
start_display
export XDG_RUNTIME_DIR="$work/runtime"
mkdir -m 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS
demo="$work/demo"
source "$root/scripts/demo-installation.sh" >/dev/null

median() { sort -n | awk '{a[NR]=$1} END {print (NR%2 ? a[(NR+1)/2] : (a[NR/2]+a[NR/2+1])/2)}'; }
range() { sort -n | awk 'NR==1 {lo=$1} {hi=$1} END {print lo "-" hi}'; }
shown() { "$build/bin/window_shown" "$@"; }
bare() { shown bare_qt_window 20000 "$build/bin/bare_qt_window"; }
module() { shown meterimport 20000 "$build/bin/meterimport" Demo 1 1 13 0; }

# A private session bus with the diary's end of the status link on it.
start_session_bus
bus=$DBUS_SESSION_BUS_ADDRESS
unset DBUS_SESSION_BUS_ADDRESS
DBUS_SESSION_BUS_ADDRESS=$bus "$build/bin/meterimport-status-monitor" >/dev/null &
until DBUS_SESSION_BUS_ADDRESS=$bus dbus-send --session --print-reply --dest=org.freedesktop.DBus / \
  org.freedesktop.DBus.NameHasOwner string:Orvantix.DDEImpStatus 2>/dev/null | grep -q true; do
  sleep 0.05
done

for _ in 1 2; do bare >/dev/null; module >/dev/null; done  # warm the caches
: >"$work/bare" >"$work/module" >"$work/bare-bus" >"$work/module-bus"
for _ in $(seq "$runs"); do
  bare >>"$work/bare"
  module >>"$work/module"
  DBUS_SESSION_BUS_ADDRESS=$bus bare >>"$work/bare-bus"
  DBUS_SESSION_BUS_ADDRESS=$bus module >>"$work/module-bus"
done
# Column 1 is the time to the window mapped, 2 the processor time of all
# threads by then, 3 that of the main thread, 4 the time to the first drawing
# (window_shown).
column() { cut -d' ' -f"$1" "$work/$2"; }
compare() {
  local b m
  b=$(column "$1" "$2" | median)
  m=$(column "$1" "$3" | median)
  echo "    $4: bare Qt window $b ms ($(column "$1" "$2" | range)), meterimport wizard $m ms" \
    "($(column "$1" "$3" | range)), ratio $(awk "BEGIN {printf \"%.2f\", $m / $b}")"
}
report() {
  echo "  $3:"
  compare 1 "$1" "$2" "mapped"
  compare 4 "$1" "$2" "first drawn"
  echo "    processor time by the map: bare $(column 2 "$1" | median) ms, wizard" \
    "$(column 2 "$2" | median) ms (main thread $(column 3 "$1" | median) / $(column 3 "$2" | median) ms)"
}
echo "start to window mapped and first drawn, median of $runs rounds:"
report bare module "without a session bus"
report bare-bus module-bus "with a session bus and the status monitor"

# A bus that accepts and never answers, and a bus daemon that is stopped.
python3 - "$work/silent" <<'PY' &
import os, socket, sys, time
server = socket.socket(socket.AF_UNIX)
server.bind(sys.argv[1])
server.listen(64)
held = []
while True:
    held.append(server.accept()[0])  # accepted, never read, never answered
PY
until [[ -S $work/silent ]]; do sleep 0.05; done
kill -STOP "$bus_daemon"
# Each run, or "-" for a window that did not come within 20 s.
dead() { for _ in 1 2 3; do DBUS_SESSION_BUS_ADDRESS=$1 module || echo -; done | cut -d' ' -f1 | tr '\n' ' '; }
silent=$(dead "unix:path=$work/silent")
stopped=$(dead "$bus")
kill -CONT "$bus_daemon"
echo "  a bus that never answers: ${silent}ms; a stopped bus daemon: ${stopped}ms"

# A full memory: the sample entries repeated to the 1,680 a meter holds.
python3 - "$root/data/meters/accu-chek-sensor-complete.json" "$work/full.json" <<'PY'
import json, sys
memory = json.load(open(sys.argv[1]))
entries = memory["records"]["1"]
memory["records"]["1"] = [entries[i % len(entries)] for i in range(1680)]
memory["ms_per_record"] = 0
json.dump(memory, open(sys.argv[2], "w"))
PY
"$build/bin/meterimport-settings" set \
  'HKLM\SOFTWARE\Classes\CLSID\{C8367F74-6040-11D3-8A53-00C04FC8C0E2}\InprocServer32' \
  MemoryFile "$work/full.json"
"$build/bin/meterimport" Demo 9 1 13 0 2>"$work/full.err" &
pid=$!
until wizard=$(xdotool search --onlyvisible --class meterimport 2>/dev/null | head -1) &&
  [[ -n $wizard ]] && xdotool windowfocus "$wizard" 2>/dev/null &&
  [[ $(xdotool getwindowfocus 2>/dev/null) == "$wizard" ]]; do
  sleep 0.05
done
for _ in 1 2 3; do xdotool key --window "$wizard" Return; done
# The wizard prints what the import did just before it shows the result.
until grep -q "^meterimport: LAB:" "$work/full.err"; do sleep 0.1; done
peak=$(awk '/VmHWM/ {print $2}' "/proc/$pid/status")
xdotool key --window "$wizard" Return
xdotool key --window "$wizard" Return 2>/dev/null || true
wait "$pid" || true
echo "peak memory of a full import through the wizard (1,680 entries): $((peak / 1024)) MB"
