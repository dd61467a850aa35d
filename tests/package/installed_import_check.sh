#!/usr/bin/env bash
# Checks an installed meterimport from its programs alone: a demo
# installation made with the installed meterimport-settings, the installed
# simulated control and sample memory, one import with meterimport-batch in
# English and one in German (the catalogues found relative to the program),
# the wizard's program without a display, the status monitor without a bus,
# and the files that the package must hold where the programs look for them.
#   installed_import_check.sh PREFIX WORK
# PREFIX is the installed tree (/usr, or a DESTDIR staging folder's prefix);
# WORK an empty folder for the demo installation. Needs bash and coreutils
# only, so that it runs in a minimal Debian root.
set -euo pipefail
prefix=$1
work=$2
failures=0
passed=0
check() {  # check DESCRIPTION COMMAND...: one named check
  local what=$1
  shift
  if "$@"; then
    passed=$((passed + 1))
  else
    echo "FAILED: $what" >&2
    failures=$((failures + 1))
  fi
}

bin="$prefix/bin"
data="$prefix/share/meterimport"
controls=("$prefix"/lib/*/meterimport/libmeterctl-sim.so)
control=${controls[0]}
memory="$data/meters/accu-chek-sensor-complete.json"

for program in meterimport meterimport-batch meterimport-settings meterimport-status-monitor; do
  check "$program is an installed program" test -x "$bin/$program"
  check "$program has a man page" gzip -t "$prefix/share/man/man1/$program.1.gz"
done
check "one simulated control, in lib/<multiarch>/meterimport" \
  test "${#controls[@]}" -eq 1 -a -f "$control"
check "the help pages beside ../share/meterimport of the program" \
  test -f "$data/meterimport.html" -a -f "$data/meterimport.Deutsch.html"
check "the sample memories, one per meter" test "$(ls "$data"/meters/*.json | wc -l)" -ge 10
check "the copyright file" grep -q '^License: GPL-3.0-or-later' "$prefix/share/doc/meterimport/copyright"
check "the README" test -f "$prefix/share/doc/meterimport/README.md"
check "the control's header" grep -q meterctl_get_interface "$prefix/include/meterimport/meterctl.h"

# Nothing but the installed tree: no catalogue path, no memory override, no
# display, no session bus, and home folders of its own.
unset METERIMPORT_LANGUAGE_PATH METERIMPORT_SIM_MEMORY DISPLAY WAYLAND_DISPLAY QT_QPA_PLATFORM
export DBUS_SESSION_BUS_ADDRESS="unix:path=$work/no-bus"
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_DATA_HOME="$work/home/.local/share"
export METERIMPORT_MACHINE_HIVE="$work/machine.hive" METERIMPORT_USER_HIVE="$work/user.hive"
export LC_ALL=C.UTF-8
mkdir -p "$HOME" "$work/import"

# The demo installation, as an installer would make it.
reg_path() { printf '%s' "$1" | sed 's/\\/\\\\/g'; }
cat > "$work/installation.reg" <<REG
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrelsoft\\Demo]
"LanguageDLL"="English"
"ImportDir"="$(reg_path "$work/import")"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrelsoft\\Demo\\modules\\Accutrend sensor complete]
"TestPorts"="0"
"Insulin_Available"="-1"
"Intakes_Available"="-1"
"ExerciseData_Available"="-1"
"LabData_Available"="-1"

[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{C8367F74-6040-11D3-8A53-00C04FC8C0E2}\\InprocServer32]
@="$(reg_path "$control")"
"MemoryFile"="$(reg_path "$memory")"
REG
check "meterimport-settings imports the installation" \
  "$bin/meterimport-settings" import "$work/installation.reg"
check "meterimport-settings reads the control's registration back" test \
  "$("$bin/meterimport-settings" get 'HKLM\SOFTWARE\Classes\CLSID\{C8367F74-6040-11D3-8A53-00C04FC8C0E2}\InprocServer32' @)" \
  = "$control"

# import SEQUENCE: one import with meterimport-batch; its exit status, output
# and errors in $work/batch-SEQUENCE.{status,out,err}.
import() {
  local status=0
  "$bin/meterimport-batch" Demo "$1" 1 13 > "$work/batch-$1.out" 2> "$work/batch-$1.err" || status=$?
  echo "$status" > "$work/batch-$1.status"
}
# The files that the import of SEQUENCE wrote, as its standard output names them.
written_files() { cut -f3 "$work/batch-$1.out" | grep -v '^$' || true; }
all_exist() {
  local file
  for file in "$@"; do [[ -f $file ]] || return 1; done
}

import 1
check "the English import ends with status 0" test "$(cat "$work/batch-1.status")" = 0
check "the English import reads 232 glucose records" grep -q $'^GLUCOSE\t232\t' "$work/batch-1.out"
check "the English import writes five files" test "$(written_files 1 | wc -l)" -eq 5
mapfile -t written < <(written_files 1)
check "the files it names are in the import folder" all_exist "${written[@]}"
check "the English catalogue is used" grep -q 'STATUS|Import from Accu-Chek Sensor Complete' "$work/batch-1.err"
check "the glucose file starts with its section" \
  grep -q '^\[GLUCOSE\]' "$(grep '^GLUCOSE' "$work/batch-1.out" | cut -f3)"

"$bin/meterimport-settings" set 'HKLM\SOFTWARE\Kestrelsoft\Demo' LanguageDLL Deutsch
import 2
check "the German import ends with status 0" test "$(cat "$work/batch-2.status")" = 0
check "the German catalogue is found beside the program" \
  grep -q 'STATUS|Import aus Accu-Chek Sensor Complete' "$work/batch-2.err"
check "the German import writes five files" test "$(written_files 2 | wc -l)" -eq 5

# The port remembered by the imports is in the user hive.
check "the user hive holds the remembered port" test -s "$METERIMPORT_USER_HIVE"

# The wizard's program without a display: one line, exit 0, no import.
status=0
"$bin/meterimport" Demo 3 1 13 0 > "$work/wizard.out" 2> "$work/wizard.err" || status=$?
check "meterimport without a display ends with status 0" test "$status" = 0
check "meterimport without a display prints one line" test "$(wc -l < "$work/wizard.err")" -eq 1
check "meterimport without a display says so" grep -q 'no display' "$work/wizard.err"
check "meterimport without a display imports nothing" test "$(ls "$work/import" | wc -l)" -eq 10

# The status monitor loads its libraries and reports the missing bus.
status=0
"$bin/meterimport-status-monitor" > /dev/null 2> "$work/monitor.err" || status=$?
check "meterimport-status-monitor without a session bus ends with status 1" test "$status" = 1

if ((failures > 0)); then
  for file in "$work"/batch-*.err "$work"/wizard.err "$work"/monitor.err; do
    echo "---- $file" >&2
    head -n 20 "$file" >&2
  done
fi
echo "installed import: $passed passed, $failures failed"
((failures == 0))
