#!/usr/bin/env bash
# The real meterimport inside a stand-in diary window (an xmessage window),
# under a window manager (openbox) on Xvfb, as a person meets it: the diary's
# window has the keyboard focus when it starts the module, and the mouse
# pointer rests in a corner of the screen, away from both. The wizard must
# take the keyboard itself, so that Return alone drives it to the end; then
# the keyboard is the diary's again. When the diary's window is destroyed in
# the middle of the wizard, the module ends within one second, as a cancel
# ends it (the port in use stored). F1 opens the help in front, with the
# keyboard, and Escape gives it back. Every other wait is for a state, bounded;
# every process the test starts stays its child and is ended on every way out.
#   embedded_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail

build=$(realpath "$1")
root=$(realpath "$2")
source "$root/scripts/x-session.sh"
own_work_folder
demo="$work/demo"

# Waits for the module to end within $1 tenths of a second, with status 0.
module_ends_within() {
  wait_for '! kill -0 "$module" 2>/dev/null' "$1" || fail "meterimport did not end $2"
  local status=0
  wait "$module" || status=$?
  ((status == 0)) || fail "meterimport ended with $status $2"
}
focus() { xdotool getwindowfocus -f 2>/dev/null || true; }
# The wizard's window inside the diary's window $diary (found again on every
# try: Qt may replace its first native window while it embeds it).
wizard_inside() {
  wait_for 'wizard=$(xdotool search --onlyvisible --class meterimport 2>/dev/null | head -1) &&
    [[ -n $wizard ]] && xwininfo -tree -id "$diary" | grep -qi meterimport' 200 \
    || fail "no wizard inside the diary's window"
}
# Waits until the wizard has the keyboard focus (the X focus on its window).
wizard_has_keyboard() {
  wait_for '[[ $(focus) == "$wizard" ]]' 100 \
    || fail "the wizard does not have the keyboard $1 (focus: $(focus), wizard: $wizard)"
}
# A stand-in diary window; $diary is its window, $diary_pid its process.
open_diary() {
  local name=$1
  xmessage -geometry 900x600+0+0 -name "$name" "The diary" 2>>"$work/diary.err" &
  diary_pid=$!
  wait_for 'diary=$(xdotool search --onlyvisible --name "^$name\$" 2>/dev/null | head -1); [[ -n $diary ]]' 200 \
    || fail "no diary window: $(cat "$work/diary.err")"
  # The window manager gives a new window the focus; the diary has it.
  wait_for '[[ $(focus) == "$diary" ]]' 100 || xdotool windowfocus "$diary"
}

memory="$work/memory.json"
sed 's/"ms_per_record": [0-9]*/"ms_per_record": 3/' \
  "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
source "$root/scripts/demo-installation.sh" > /dev/null
settings="$build/bin/meterimport-settings"

# The diary's end of the status link, on a bus of our own.
start_session_bus || fail "no session bus"
"$build/bin/meterimport-status-monitor" > "$work/status.txt" &
export XDG_RUNTIME_DIR="$work/runtime"
mkdir -m 700 "$XDG_RUNTIME_DIR"

start_display 1024x768x24 || fail "no X server"
# Its log goes to a cache folder of the test's own.
XDG_CACHE_HOME="$work/cache" XDG_CONFIG_HOME="$work/config" openbox --sm-disable 2>"$work/openbox.err" &
wait_for 'xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q "window id"' 100 \
  || fail "the window manager did not start: $(cat "$work/openbox.err")"

# Return alone, with the pointer parked in a corner, drives the wizard from
# its first screen to the end.
open_diary diary
xdotool mousemove 1023 767
"$build/bin/meterimport" Demo 7 1 13 "$diary" 2>"$work/module.err" &
module=$!
wizard_inside
wizard_has_keyboard "as it appears"
# F1 opens the help in front of the diary with the keyboard; Escape closes it
# and the keyboard is the wizard's again. (The dash in the help's title is
# matched by ".*": how xdotool reads a name that is not ASCII depends on the
# locale, and CI runs with none.)
xdotool key F1
wait_for 'help=$(xdotool search --onlyvisible --name "^Meter import .* Help" 2>/dev/null | head -1);
  [[ -n $help && $(focus) == "$help" ]]' 100 || fail "the help did not come up with the keyboard"
# The window manager's stacking order, bottom to top, as decimal ids.
stacking=$(for id in $(xprop -root _NET_CLIENT_LIST_STACKING | sed 's/.*# //; s/,/ /g'); do
  echo $((id))
done)
[[ $(echo "$stacking" | grep -n "^$help\$" | cut -d: -f1) -gt $(echo "$stacking" | grep -n "^$diary\$" | cut -d: -f1) ]] \
  || fail "the help is behind the diary"
xdotool key Escape
wizard_has_keyboard "after the help"
for screen in port switch-on transfer; do
  xdotool key Return
  wizard_has_keyboard "after the key that leads to the $screen screen"
done
# The wizard prints what the import did just before it shows the result.
wait_for 'grep -q "^meterimport: LAB:" "$work/module.err"' 300 || fail "the import did not end"
[[ $(ls "$demo/import" | wc -l) -eq 5 ]] || fail "not five import files"
xdotool key Return
wizard_has_keyboard "on the result screen"
xdotool key Return
module_ends_within 300 "after the import"
wait_for '[[ $(focus) == "$diary" ]]' 100 || fail "the diary did not get the keyboard back"
kill "$diary_pid" && wait "$diary_pid" 2>/dev/null || true

# The diary's window destroyed in the middle of the wizard: the module ends
# within one second and stores the port in use, as a cancel does.
open_diary diary2
"$build/bin/meterimport" Demo 8 3 13 "$diary" 2>"$work/module.err" &
module=$!
wizard_inside
wizard_has_keyboard "in the second diary"
xdotool key Return
wizard_has_keyboard "on the port screen"
kill "$diary_pid"
wait "$diary_pid" 2>/dev/null || true
# The deadline is the requirement itself: one second.
module_ends_within 10 "within a second of the diary's window's end"
[[ $("$settings" get 'HKCU\SOFTWARE\Kestrelsoft\Demo\modules\Accu-Chek Sensor Complete' COM) == 3 ]] \
  || fail "the port in use was not stored"
grep -q "STATUS|Import from Accu-Chek Sensor Complete" "$work/status.txt" \
  || fail "the diary did not hear the status"
echo "PASS"
