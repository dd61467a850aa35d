#!/usr/bin/env bash
# The README's run command: builds the module and runs one whole import from
# the simulated meter (an Accu-Chek Sensor Complete) into a demo installation.
# With a display, the wizard opens (the simulated meter takes a few seconds,
# so that the transfer can be seen); without one, meterimport-batch imports
# without windows.
#   scripts/run.sh [DEMO_FOLDER]      default: demo/ in this checkout
# Everything it writes stays in DEMO_FOLDER and the build folder: the two
# settings hives, the import folder, the data folder. Running it again starts
# the demo installation afresh.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
demo=$(realpath -m "${1:-$root/demo}")
build="$root/build"

"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target meterimport meterimport-batch meterimport-settings meterctl-sim

rm -rf "$demo"
mkdir -p "$demo"
# The installation: the host's key with its language and import folder, the
# meter's options (all categories on, no port test: the simulated meter needs
# no cable), and the simulated control with its meter memory.
memory="$demo/memory.json"
sed 's/"ms_per_record": [0-9]*/"ms_per_record": 10/' \
  "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
source "$root/scripts/demo-installation.sh"

echo "== The demo installation (meterimport-settings list):"
"$build/bin/meterimport-settings" list 'HKLM\SOFTWARE\Kestrelsoft\Demo\modules\Accutrend sensor complete'
echo
status=0
if [[ -n ${DISPLAY:-}${WAYLAND_DISPLAY:-} ]]; then
  echo "== meterimport Demo 1 1 13 0   (the wizard: Next, Next, Next, then Finish twice)"
  "$build/bin/meterimport" Demo 1 1 13 0 || status=$?
else
  echo "== No display: meterimport-batch Demo 1 1 13 (the same import without windows)"
  echo "   To see the wizard, run this command on a desktop, or under a virtual display:"
  echo "   scripts/screenshots.sh  (runs it on a virtual display and saves every screen in docs/screenshots)"
  "$build/bin/meterimport-batch" Demo 1 1 13 || status=$?
fi
echo "(exit status $status)"
echo
echo "== Import files in $demo/import:"
for file in "$demo"/import/*; do
  [[ -f "$file" ]] || continue
  echo "-- $file ($(wc -l < "$file") lines; first lines, Windows-1252 with CR LF):"
  head -n 16 "$file" | iconv -f WINDOWS-1252 -t UTF-8 | tr -d '\r'
done
exit "$status"
