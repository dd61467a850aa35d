#!/usr/bin/env bash
# Makes the screenshots of the module's windows shown in the README: every
# screen of the wizard, in English and in German, under Xvfb, from the real
# program on a demo installation with the simulated meter.
#   scripts/screenshots.sh [OUTPUT_FOLDER]     default: docs/screenshots
set -euo pipefail
if [[ ${1:-} != --under-x ]]; then
  root=$(cd "$(dirname "$0")/.." && pwd)
  out=$(realpath -m "${1:-$root/docs/screenshots}")
  build="$root/build"
  "$root/scripts/install-deps.sh" --screenshots
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$build" --target meterimport meterimport-settings meterctl-sim >/dev/null
  mkdir -p "$out"
  export root build out
  exec xvfb-run -a -s "-screen 0 1280x900x24" "$0" --under-x
fi

# ---- Inside the virtual display ----
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
export XDG_RUNTIME_DIR="$work/runtime"
mkdir -m 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS  # no host to tell: the link stays closed

wait_for() {
  local tries=$2
  until eval "$1"; do
    tries=$((tries - 1))
    ((tries > 0)) || return 1
    sleep 0.1
  done
}
wizard=""
start() {  # start SEQUENCE [METERID]: the module on the demo installation, its window found
  "$build/bin/meterimport" Demo "$1" 1 "${2:-13}" 0 2>/dev/null &
  module=$!
  wizard=""
  wait_for 'wizard=$(xdotool search --onlyvisible --class meterimport 2>/dev/null | head -1); [[ -n $wizard ]]' 100
  xdotool windowfocus --sync "$wizard"
  sleep 0.6
}
shot() {  # shot NAME: the wizard's window as it is now
  import -window "$wizard" "$out/$language-$1.png"
  echo "$out/$language-$1.png"
}
key() {
  xdotool key --window "$wizard" "$1" 2>/dev/null || true
  sleep "${2:-0.6}"
}

for language in English Deutsch; do
  demo="$work/demo-$language"
  # A memory that takes its time, so that the transfer can be seen.
  memory="$work/slow.json"
  sed 's/"ms_per_record": [0-9]*/"ms_per_record": 12/' \
    "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
  source "$root/scripts/demo-installation.sh" > /dev/null
  "$build/bin/meterimport-settings" set \
    'HKLM\SOFTWARE\Kestrelsoft\Demo\modules\Accutrend sensor complete' USBSerial yes
  "$build/bin/meterimport-settings" set \
    'HKLM\SOFTWARE\Kestrelsoft\Demo\modules\Accutrend sensor complete' USBDriver "FTDI VCP"
  cp "$root"/data/help/*.html "$build/bin/" 2>/dev/null || true

  start 1
  shot 1-introduction
  key Return; shot 2-port
  key Return; shot 3-switch-on
  key Return 1.5; shot 4-transfer
  wait_for '[[ $(ls "$demo/import" | wc -l) -eq 5 ]]' 300
  sleep 1; shot 5-result
  key Escape 0.5
  wait "$module" || true

  # A meter whose laboratory read fails: the result says so.
  sed 's/"fail": \[\]/"fail": ["read:6"]/; s/"ms_per_record": [0-9]*/"ms_per_record": 0/' \
    "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
  start 2
  key Return; key Return; key Return 2
  shot 6-result-with-loss
  key Escape 0.5
  wait "$module" || true

  # The setup dialogs of the three meters that have one, every tab.
  setup_key=$([[ $language == Deutsch ]] && echo alt+e || echo alt+s)
  for id in 13 11 16; do
    case $id in
      13) name="Accutrend sensor complete" tabs=3 ;;
      11) name="Accutrend DM" tabs=4 ;;
      16) name="Glucotrend Premium" tabs=4 ;;
    esac
    "$build/bin/meterimport-settings" set \
      "HKLM\\SOFTWARE\\Kestrelsoft\\Demo\\modules\\$name" Configure_Meter -1
    start 3 "$id"
    key "$setup_key" 1
    for tab in $(seq "$tabs"); do
      shot "setup-$id-tab$tab"
      key ctrl+Tab
    done
    key Escape 0.5  # closes the dialog
    key Escape 0.5  # ends the module
    wait "$module" || true
  done
done
