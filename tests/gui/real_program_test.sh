#!/usr/bin/env bash
# The real meterimport, started as the diary starts it, under Xvfb: the host
# is a plain X window (xmessage) and a status monitor on a private session
# bus. The wizard must live inside the host's window (the X window tree shows
# it), be driven to the end by keystrokes alone, write the import files, tell
# the host its status and end with status 0. Then, with a meter that takes
# its time (25 ms a record, as over a real line): the window, unmapped and
# mapped again while the meter is read, is painted again at once, and Escape
# during the reading ends the module within a second, with no file written
# and the port stored. Then: Escape ends it at the first screen; a host
# window handle that names no window gives a top-level wizard; a first field
# "-style" is the product key, not Qt's option.
# Both product keys switch the port test off, so that nothing depends on the
# machine's serial ports or on being allowed to open them. Every step waits
# for a state (a window there, the wizard's screen as its window tells it in
# the property _METERIMPORT_SCREEN, a file, a process ended), never for a
# time; every process the test starts stays its child and is ended on every
# way out.
#   real_program_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail

build=$(realpath "$1")
root=$(realpath "$2")
source "$root/scripts/x-session.sh"
own_work_folder
demo="$work/demo"
# The wizard's window as it is now (Qt may replace its first native window
# while it embeds it): found again on every call.
find_wizard() {
  wizard=$(xdotool search --onlyvisible --class meterimport 2>/dev/null | head -1)
  [[ -n $wizard ]]
}
# The screen the wizard shows, as its window tells it.
screen() {
  find_wizard && xprop -id "$wizard" _METERIMPORT_SCREEN 2>/dev/null |
    sed -n 's/^_METERIMPORT_SCREEN(STRING) = "\(.*\)"$/\1/p'
}
wait_screen() {
  local wanted=$1
  wait_for '[[ $(screen) == "$wanted" ]]' 300 \
    || fail "the wizard did not show its screen $wanted (it shows '$(screen)'; active: $(xprop -id "$wizard" _METERIMPORT_ACTIVE 2>&1); focus: $(xdotool getwindowfocus 2>&1), wizard $wizard)"
}
# A key to the wizard's window; a window replaced meanwhile is found again.
key() {
  local name=$1
  wait_for 'find_wizard && xdotool key --window "$wizard" "$name" 2>/dev/null' 50 \
    || fail "the key $name did not reach the wizard"
}
# The key that ends the module: the module may end, and its window with it,
# between the key's press and its release, so that sending the release fails;
# the key is then let go of in the X server, where it would otherwise stay
# down and repeat into the next module's window.
last_key() {
  xdotool key --window "$wizard" "$1" 2>/dev/null || true
  xdotool keyup "$1" 2>/dev/null || true
}
# Gives the wizard the keyboard focus, until its window says that it is the
# active one (only then do Return and Escape reach its buttons).
focus_wizard() {
  wait_for 'find_wizard && xdotool windowfocus "$wizard" 2>/dev/null &&
    [[ $(xprop -id "$wizard" _METERIMPORT_ACTIVE 2>/dev/null) == *'"'"'"1"'"'"' ]]' 100 \
    || fail "the wizard did not become the active window"
}
# Return on the first three screens: the meter is read.
start_the_reading() {
  key Return
  wait_screen port
  key Return
  wait_screen switch-on
  key Return
}
# Waits $2 tenths at most for the module to end, and fails unless it ended
# with 0.
module_ends() {
  wait_for '! kill -0 "$module" 2>/dev/null' "${2:-300}" || fail "meterimport did not end $1"
  local status=0
  wait "$module" || status=$?
  ((status == 0)) || fail "meterimport ended with $status $1"
}

# A memory that takes its time, so that the transfer is seen moving.
memory="$work/memory.json"
sed 's/"ms_per_record": [0-9]*/"ms_per_record": 3/' \
  "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
source "$root/scripts/demo-installation.sh" > /dev/null
settings="$build/bin/meterimport-settings"
"$settings" set 'HKLM\SOFTWARE\Kestrelsoft\-style\modules\Accutrend sensor complete' TestPorts 0

# The host's end of the status link, on a bus of our own (not forked off, so
# that it stays a job of this shell).
start_session_bus || fail "no session bus"
"$build/bin/meterimport-status-monitor" > "$work/status.txt" &
wait_for 'dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner string:Orvantix.DDEImpStatus 2>/dev/null | grep -q true' 100 \
  || fail "the status monitor did not come up"
export XDG_RUNTIME_DIR="$work/runtime"
mkdir -m 700 "$XDG_RUNTIME_DIR"

# An X server of our own whose root window is black (-br), so that a window
# that is not painted is all black.
start_display 1024x768x24 -br || fail "no X server"

xmessage -geometry 900x600+0+0 -name diary "The diary" 2>"$work/host.err" &
wait_for 'host=$(xdotool search --name "^diary$" 2>/dev/null | head -1); [[ -n $host ]]' 200 \
  || fail "no host window: $(cat "$work/host.err")"

# ---- A whole import, inside the host's window -------------------------------
"$build/bin/meterimport" Demo 7 1 13 "$host" 2>"$work/module.err" &
module=$!
wait_screen intro
wait_for 'xwininfo -tree -id "$host" | grep -qi "meterimport"' 100 \
  || fail "the wizard is not inside the host's window"
focus_wizard
start_the_reading
wait_screen result
grep -q "^meterimport: LAB:" "$work/module.err" || fail "the import's report is missing"
[[ $(ls "$demo/import" | wc -l) -eq 5 ]] || fail "not five import files"
# Finish takes two presses (the first leads to step 5, which shows nothing new).
key Return
last_key Return
module_ends "after the import"
[[ $("$settings" get 'HKCU\SOFTWARE\Kestrelsoft\Demo\modules\Accu-Chek Sensor Complete' COM) == 1 ]] \
  || fail "the port was not stored"

# ---- A slow reading: the window lives, and Escape ends it at once ----------
sed 's/"ms_per_record": [0-9]*/"ms_per_record": 25/' \
  "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
"$build/bin/meterimport" Demo 8 3 13 0 2>"$work/module.err" &
module=$!
wait_screen intro
focus_wizard
start_the_reading
wait_screen transfer  # the meter's 292 entries take over seven seconds
# Unmapped and mapped again, the window is painted again while the meter is
# still read (grabbed until it is not one colour: the X server fills a newly
# mapped window black until its program paints it).
xdotool windowunmap --sync "$wizard"
xdotool windowmap --sync "$wizard"
wait_for 'import -window "$wizard" "$work/grab.png" 2>/dev/null &&
  (($(convert "$work/grab.png" -format "%k" info:) > 1))' 20 \
  || fail "the window stayed unpainted after it was mapped again"
[[ $(screen) == transfer ]] || fail "the reading was over before the window was painted"
focus_wizard
last_key Escape
module_ends "within a second of Escape during the reading" 10
ls "$demo/import"/*.00008 >/dev/null 2>&1 && fail "files were written after a cancel"
[[ $("$settings" get 'HKCU\SOFTWARE\Kestrelsoft\Demo\modules\Accu-Chek Sensor Complete' COM) == 3 ]] \
  || fail "the port was not stored after a cancel"

# ---- Escape at the first screen; an unknown host window; "-style" ---------
"$build/bin/meterimport" -style 8 2 13 123456 2>"$work/module.err" &
module=$!
wait_screen intro
focus_wizard
last_key Escape
module_ends "after Escape"

# What the host heard in the whole run: the status of the import, once per
# run under the product key Demo (the run under "-style", which has no
# language module, has an empty title, which is no change of the status).
[[ $(cat "$work/status.txt") == $'STATUS|Import from Accu-Chek Sensor Complete\nSTATUS|Import from Accu-Chek Sensor Complete' ]] \
  || { cat "$work/status.txt"; fail "the host did not hear the status of each import"; }
# The files: five, whole, in Windows-1252 with CR LF.
for prefix in BG_ INSULIN_ INTAKES_ EXERCISES_ LABORATORY_; do
  file=$(ls "$demo/import/$prefix"*.00007)
  [[ $(tail -c 4 "$file" | od -An -tx1 | tr -d ' \n') == 0d0a0d0a ]] \
    || fail "$file does not end in CR LF CR LF"
done
grep -q $'^Entries=232\r$' "$demo"/import/BG_*.00007 || fail "the glucose file is not complete"
# The ports in use were stored: 3 (the last run under Demo), and 2 for the
# run under "-style".
[[ $("$settings" get 'HKCU\SOFTWARE\Kestrelsoft\-style\modules\Accu-Chek Sensor Complete' COM) == 2 ]] \
  || fail "the product key -style was not taken as such"
echo "PASS"
