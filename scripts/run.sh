#!/usr/bin/env bash
# The README's run command: builds the module and runs one whole import from
# the simulated meter (an Accu-Chek Sensor Complete) into a demo installation.
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
cmake --build "$build" --target meterimport-batch meterimport-settings meterctl-sim

rm -rf "$demo"
mkdir -p "$demo/import"
export METERIMPORT_MACHINE_HIVE="$demo/machine.hive"
export METERIMPORT_USER_HIVE="$demo/user.hive"
export METERIMPORT_LANGUAGE_PATH="$root/data/languages"
export XDG_DATA_HOME="$demo/data"
unset METERIMPORT_SIM_MEMORY

# The demo installation, as an installer would register it: the host's key
# with its language and import folder, the meter's options (all categories on,
# no port test: the simulated meter needs no cable), and the simulated control
# with its meter memory.
reg_path() { printf '%s' "$1" | sed 's/\\/\\\\/g'; }
cat > "$demo/installation.reg" <<REG
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrelsoft\\Demo]
"LanguageDLL"="English"
"ImportDir"="$(reg_path "$demo/import")"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrelsoft\\Demo\\modules\\Accutrend sensor complete]
"TestPorts"="0"
"Glucose_Available"="-1"
"Insulin_Available"="-1"
"InsulinPumpData_Available"="-1"
"Intakes_Available"="-1"
"ExerciseData_Available"="-1"
"LabData_Available"="-1"
"DefaultTypeInsulin0"="14"
"DefaultTypeInsulin1"="11"
"DefaultKetones_NEG"="0"
"DefaultKetones_SPUR"="0,5"
"DefaultKetones_klein"="1,5"
"DefaultKetones_mittel"="4"
"DefaultKetones_gross"="8"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{C8367F74-6040-11D3-8A53-00C04FC8C0E2}\\InprocServer32]
@="$(reg_path "$build/lib/libmeterctl-sim.so")"
"MemoryFile"="$(reg_path "$root/data/meters/accu-chek-sensor-complete.json")"
REG
"$build/bin/meterimport-settings" import "$demo/installation.reg"

echo "== The demo installation (meterimport-settings list):"
"$build/bin/meterimport-settings" list 'HKLM\SOFTWARE\Kestrelsoft\Demo\modules\Accutrend sensor complete'
echo
echo "== meterimport-batch Demo 1 1 13"
status=0
"$build/bin/meterimport-batch" Demo 1 1 13 || status=$?
echo "(exit status $status)"
echo
echo "== Import files in $demo/import:"
for file in "$demo"/import/*; do
  [[ -f "$file" ]] || continue
  echo "-- $file ($(wc -l < "$file") lines; first lines, Windows-1252 with CR LF):"
  head -n 16 "$file" | iconv -f WINDOWS-1252 -t UTF-8 | tr -d '\r'
done
exit "$status"
