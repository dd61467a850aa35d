#!/usr/bin/env bash
# Makes the pictures of the module's windows that the README shows: every
# screen of the wizard and every tab of the three setup dialogs, in English
# and in German, from the real program on a demo installation with the
# simulated meter, on a virtual display of its own: as they are
# (LANGUAGE-*.png), at 200 % scale (QT_SCALE_FACTOR=2, LANGUAGE-scale200-*.png)
# and with a high-contrast style and palette (Adwaita-HighContrastInverse,
# LANGUAGE-contrast-*.png).
#   scripts/screenshots.sh FOLDER     e.g. docs/screenshots (the README's)
# It writes only its pictures (English-*.png, Deutsch-*.png) into FOLDER,
# replacing those of an earlier run; its demo installations lie in a
# temporary folder that it removes.
set -euo pipefail
if [[ $# -ne 1 || -z $1 || $1 == -* ]]; then
  echo "Usage: scripts/screenshots.sh FOLDER   (e.g. docs/screenshots)" >&2
  exit 2
fi
root=$(cd "$(dirname "$0")/.." && pwd)
out=$(realpath -m -- "$1")
build="$root/build"

"$root/scripts/install-deps.sh" --screenshots
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target meterimport meterimport-settings meterctl-sim >/dev/null
mkdir -p -- "$out"

source "$root/scripts/wizard-driver.sh"
own_work_folder
settings() { "$build/bin/meterimport-settings" set "$@"; }

export XDG_RUNTIME_DIR="$work/runtime"
mkdir -m 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS  # no host to tell: the link stays closed
start_display

# pictures LANGUAGE PREFIX: every screen and setup tab in LANGUAGE, each as
# FOLDER/PREFIX-NAME.png.
pictures() {
  local language=$1 prefix=$2
  demo="$work/demo-$prefix"
  # A memory that takes its time, so that the transfer can be seen.
  memory="$work/slow.json"
  sed 's/"ms_per_record": [0-9]*/"ms_per_record": 12/' \
    "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
  source "$root/scripts/demo-installation.sh" > /dev/null
  settings 'HKLM\SOFTWARE\Kestrelsoft\Demo\modules\Accutrend sensor complete' USBSerial yes
  settings 'HKLM\SOFTWARE\Kestrelsoft\Demo\modules\Accutrend sensor complete' USBDriver "FTDI VCP"

  start_wizard Demo 1 1 13
  shot "$out/$prefix-1-introduction.png"
  key Return 0; wait_screen port; shot "$out/$prefix-2-port.png"
  key Return 0; wait_screen switch-on; shot "$out/$prefix-3-switch-on.png"
  key Return 0; wait_screen transfer; sleep 1; shot "$out/$prefix-4-transfer.png"
  wait_result
  shot "$out/$prefix-5-result.png"
  key Escape 0.5
  wizard_ends

  # A meter whose laboratory read fails: the result says so.
  sed 's/"fail": \[\]/"fail": ["read:6"]/; s/"ms_per_record": [0-9]*/"ms_per_record": 0/' \
    "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
  start_wizard Demo 2 1 13
  key Return 0; wait_screen port
  key Return 0; wait_screen switch-on
  key Return
  wait_result
  shot "$out/$prefix-6-result-with-loss.png"
  key Escape 0.5
  wizard_ends

  # The setup dialogs of the three meters that have one, every tab. No port
  # test: the pictures do not depend on the machine's serial ports.
  setup_key=$([[ $language == Deutsch ]] && echo alt+e || echo alt+s)
  for id in 13 11 16; do
    case $id in
      13) name="Accutrend sensor complete" tabs=3 ;;
      11) name="Accutrend DM" tabs=4 ;;
      16) name="Glucotrend Premium" tabs=4 ;;
    esac
    settings "HKLM\\SOFTWARE\\Kestrelsoft\\Demo\\modules\\$name" Configure_Meter -1
    settings "HKLM\\SOFTWARE\\Kestrelsoft\\Demo\\modules\\$name" TestPorts 0
    start_wizard Demo 3 1 "$id"
    key "$setup_key" 1
    for tab in $(seq "$tabs"); do
      shot "$out/$prefix-setup-$id-tab$tab.png"
      key ctrl+Tab
    done
    key Escape 0.5  # closes the dialog
    key Escape 0.5  # ends the module
    wizard_ends
  done
}

for language in English Deutsch; do
  pictures "$language" "$language"
  QT_SCALE_FACTOR=2 pictures "$language" "$language-scale200"
  QT_STYLE_OVERRIDE=Adwaita-HighContrastInverse pictures "$language" "$language-contrast"
done
