#!/usr/bin/env bash
# Times one whole import (meterimport-batch, as scripts/run.sh runs it) while
# another process holds the user hive under an exclusive lock, and the same
# import with the hive free. The simulated meter answers at once here (its
# time per record set to 0), so the figures are the module's own time.
#   bench/locked_hive.sh [RUNS]       default 5 runs of each
# Builds the programs in build/ like scripts/run.sh; writes only to a
# temporary folder, removed at the end.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build"
runs=${1:-5}

"$root/scripts/install-deps.sh" --bench
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j 2 --target meterimport-batch meterimport-settings meterctl-sim >/dev/null

work=$(mktemp -d)
locker=""
cleanup() {
  if [[ -n "$locker" ]]; then kill "$locker" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap cleanup EXIT

# The demo installation of scripts/run.sh, with a meter that answers at once.
demo="$work"
memory="$work/memory.json"
sed 's/"ms_per_record": *[0-9]*/"ms_per_record": 0/' \
  "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
source "$root/scripts/demo-installation.sh" > /dev/null
# The user hive as a first import leaves it (the remembered port).
"$build/bin/meterimport-settings" set 'HKCU\SOFTWARE\Kestrelsoft\Demo\modules\Accu-Chek Sensor Complete' COM 1

# Milliseconds of one whole import.
one_import() {
  local start end
  start=$(date +%s%N)
  "$build/bin/meterimport-batch" Demo 1 1 13 >/dev/null 2>"$work/batch.err" || true
  end=$(date +%s%N)
  echo $(((end - start) / 1000000))
}
median() { tr ' ' '\n' | sort -n | awk '{a[NR]=$1} END {print a[int((NR + 1) / 2)]}'; }

free_times=()
for ((i = 0; i < runs; i++)); do free_times+=("$(one_import)"); done

# Another process holds the user hive: the sqlite3 shell inside BEGIN
# EXCLUSIVE, kept open on a pipe until the end.
mkfifo "$work/locker.in"
sqlite3 "$METERIMPORT_USER_HIVE" < "$work/locker.in" > "$work/locker.out" &
locker=$!
exec 3> "$work/locker.in"
echo "BEGIN EXCLUSIVE; SELECT 'locked';" >&3
for ((i = 0; i < 100; i++)); do
  grep -q locked "$work/locker.out" 2>/dev/null && break
  sleep 0.05
done
grep -q locked "$work/locker.out" || { echo "could not lock the user hive" >&2; exit 1; }

locked_times=()
for ((i = 0; i < runs; i++)); do locked_times+=("$(one_import)"); done
exec 3>&-

echo "one whole import (meterimport-batch Demo 1 1 13), $runs runs each, in ms:"
echo "  user hive free:   ${free_times[*]}  (median $(echo "${free_times[*]}" | median))"
echo "  user hive locked: ${locked_times[*]}  (median $(echo "${locked_times[*]}" | median))"
echo "what the locked run said about the hive:"
grep -i "hive" "$work/batch.err" || echo "  (nothing)"
