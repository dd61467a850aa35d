#!/usr/bin/env bash
# Measures, under Xvfb, with a Release build:
#  1. the time from starting meterimport to its wizard being shown, against
#     the same for the smallest Qt widget program (target: at most 1.3 times);
#  2. the module's peak memory (VmHWM) during a full import through the
#     wizard of a full meter memory (target: under 60 MB).
#   bench/wizard_start.sh [RUNS]     default 15 runs each; prints the medians
set -euo pipefail
if [[ ${1:-} != --under-x ]]; then
  root=$(cd "$(dirname "$0")/.." && pwd)
  runs=${1:-15}
  build="$root/build-rel"
  "$root/scripts/install-deps.sh"
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMETERIMPORT_TESTS=OFF >/dev/null
  cmake --build "$build" --target meterimport meterimport-settings meterctl-sim bare_qt_window >/dev/null
  export root build runs
  exec xvfb-run -a -s "-screen 0 1280x900x24" "$0" --under-x
fi

work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
export XDG_RUNTIME_DIR="$work/runtime"
mkdir -m 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS
demo="$work/demo"
source "$root/scripts/demo-installation.sh" >/dev/null

now() { date +%s%N; }
median() { sort -n | awk '{a[NR]=$1} END {print (NR%2 ? a[(NR+1)/2] : (a[NR/2]+a[NR/2+1])/2)}'; }

# Milliseconds from the start of COMMAND to a visible window of CLASS.
time_to_window() {
  local class=$1
  shift
  local start
  start=$(now)
  "$@" >/dev/null 2>&1 &
  local pid=$!
  # Polled every few milliseconds (xdotool's own --sync waits half a second).
  until xdotool search --onlyvisible --class "$class" >/dev/null 2>&1; do sleep 0.005; done
  local shown
  shown=$(now)
  kill "$pid"
  wait "$pid" 2>/dev/null || true
  echo $(((shown - start) / 1000000))
}

for _ in $(seq 2); do  # warm the caches
  time_to_window bare_qt_window "$build/bin/bare_qt_window" >/dev/null
  time_to_window meterimport "$build/bin/meterimport" Demo 1 1 13 0 >/dev/null
done
bare=$(for _ in $(seq "$runs"); do time_to_window bare_qt_window "$build/bin/bare_qt_window"; done | median)
module=$(for _ in $(seq "$runs"); do time_to_window meterimport "$build/bin/meterimport" Demo 1 1 13 0; done | median)
echo "start to window shown, median of $runs: bare Qt window ${bare} ms, meterimport wizard ${module} ms, ratio $(awk "BEGIN {printf \"%.2f\", $module / $bare}")"

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
"$build/bin/meterimport" Demo 9 1 13 0 2>/dev/null &
pid=$!
wizard=$(xdotool search --sync --onlyvisible --class meterimport | head -1)
xdotool windowfocus --sync "$wizard"
for _ in 1 2 3; do xdotool key --window "$wizard" Return; sleep 0.5; done
until [[ $(ls "$demo/import" | grep -c '\.00009$') -eq 5 ]]; do sleep 0.2; done
sleep 1
peak=$(awk '/VmHWM/ {print $2}' "/proc/$pid/status")
xdotool key --window "$wizard" Return
sleep 0.3
xdotool key --window "$wizard" Return
wait "$pid" || true
echo "peak memory of a full import through the wizard (1,680 entries): $((peak / 1024)) MB"
