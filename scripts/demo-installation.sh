# Sourced by the scripts that run the real programs: a demo installation in
# $demo (hives, import folder, languages, the simulated control with a sample
# memory), the way an installer registers the module. Needs $build (the build
# folder), $root (the source folder), $demo, and optionally $memory (a sample
# memory file, default the Sensor Complete's) and $language (English).
mkdir -p "$demo/import" "$demo/data"
export METERIMPORT_MACHINE_HIVE="$demo/machine.hive"
export METERIMPORT_USER_HIVE="$demo/user.hive"
export METERIMPORT_LANGUAGE_PATH="$root/data/languages"
export XDG_DATA_HOME="$demo/data"
unset METERIMPORT_SIM_MEMORY
reg_path() { printf '%s' "$1" | sed 's/\\/\\\\/g'; }
cat > "$demo/installation.reg" <<REG
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrelsoft\\Demo]
"LanguageDLL"="${language:-English}"
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
"MemoryFile"="$(reg_path "${memory:-$root/data/meters/accu-chek-sensor-complete.json}")"
REG
"$build/bin/meterimport-settings" import "$demo/installation.reg"
