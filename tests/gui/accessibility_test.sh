#!/usr/bin/env bash
# The real meterimport as a screen reader meets it: under Xvfb, with a private
# session bus that starts the accessibility bus (at-spi2-core) on demand, and
# the module's accessibility switched on (QT_LINUX_ACCESSIBILITY_ALWAYS_ON),
# tests/gui/accessibility_walk.py walks the tree of every screen, the help,
# the message boxes and every setup tab in English and in German. The port
# test is off, so nothing depends on the machine's serial ports. Every process
# the test starts stays its child (the bus's helpers end with the bus) and is
# ended on every way out.
#   accessibility_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail

build=$(realpath "$1")
root=$(realpath "$2")
source "$root/scripts/x-session.sh"
own_work_folder

export XDG_RUNTIME_DIR="$work/runtime"
mkdir -m 700 "$XDG_RUNTIME_DIR"
start_session_bus || fail "no session bus"
start_display 1280x900x24 || fail "no X server"

# The transfer takes a few seconds, so that it is walked while it runs; a
# second memory whose laboratory read fails.
memory="$work/memory.json"
sed 's/"ms_per_record": [0-9]*/"ms_per_record": 8/' \
  "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
sed 's/"fail": \[\]/"fail": ["read:6"]/; s/"ms_per_record": [0-9]*/"ms_per_record": 0/' \
  "$root/data/meters/accu-chek-sensor-complete.json" > "$work/loss.json"
export LOSS_MEMORY="$work/loss.json"

status=0
for language in English Deutsch; do
  demo="$work/demo-$language"
  source "$root/scripts/demo-installation.sh" > /dev/null
  modules='HKLM\SOFTWARE\Kestrelsoft\Demo\modules'
  "$build/bin/meterimport-settings" set "$modules\\Accutrend sensor complete" USBSerial yes
  "$build/bin/meterimport-settings" set "$modules\\Accutrend sensor complete" USBDriver "FTDI VCP"
  for meter in "Accutrend sensor complete" "Accutrend DM" "Glucotrend Premium"; do
    "$build/bin/meterimport-settings" set "$modules\\$meter" Configure_Meter -1
    "$build/bin/meterimport-settings" set "$modules\\$meter" TestPorts 0
  done
  /usr/bin/python3 "$root/tests/gui/accessibility_walk.py" "$build" "$root" "$language" || status=1
done
((status == 0)) || fail "the accessibility walk found faults (above)"
echo "PASS"
