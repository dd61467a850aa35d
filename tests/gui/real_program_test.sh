#!/usr/bin/env bash
# The real meterimport, started as the diary starts it, under Xvfb: the host
# is a plain X window (xmessage) and a status monitor on a private session
# bus. The wizard must live inside the host's window (the X window tree shows
# it), be driven to the end by keystrokes alone, write the import files, tell
# the host its status and end with status 0. Then: Escape ends it at the
# first screen; a host window handle that names no window gives a top-level
# wizard; a first field "-style" is the product key, not Qt's option.
# Both product keys switch the port test off, so that nothing depends on the
# machine's serial ports or on being allowed to open them. Every process the
# test starts stays its child and is ended on every way out.
#   real_program_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail

build=$(realpath "$1")
root=$(realpath "$2")
work=$(mktemp -d)
demo="$work/demo"

# Ends what the test started (the module, the host window, the status
# monitor, the bus, the X server: all jobs of this shell) and removes its
# folder.
cleanup() {
  local pids
  pids=$(jobs -p)
  if [[ -n $pids ]]; then
    kill $pids 2>/dev/null || true
    wait $pids 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

fail() {
  echo "FAIL: $*" >&2
  exit 1
}
# Waits up to $2 tenths of a second for the command $1 to succeed.
wait_for() {
  local tries=$2
  until eval "$1"; do
    tries=$((tries - 1))
    ((tries > 0)) || return 1
    sleep 0.1
  done
}
# Waits for the module to end (at most 30 s) and fails unless it ended with 0.
module_ends() {
  wait_for '! kill -0 "$module" 2>/dev/null' 300 || fail "meterimport did not end $1"
  local status=0
  wait "$module" || status=$?
  ((status == 0)) || fail "meterimport ended with $status $1"
}

# The key that ends the module: the module may end, and its window with it,
# between the key's press and its release, so that sending the release fails.
last_key() {
  xdotool key --window "$wizard" "$1" 2>/dev/null || true
}

# Gives the wizard the keyboard focus. Qt may replace its first native window
# while it embeds it, so the window is looked up again on every try, until
# the one found is the one that has the focus.
focus_wizard() {
  wait_for 'wizard=$(xdotool search --onlyvisible --class meterimport 2>/dev/null | head -1) &&
    [[ -n $wizard ]] && xdotool windowfocus "$wizard" 2>/dev/null &&
    [[ $(xdotool getwindowfocus 2>/dev/null) == "$wizard" ]]' 100 \
    || fail "the wizard did not get the focus"
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
dbus-daemon --session --nofork --print-address=3 3>"$work/bus.address" &
wait_for '[[ -s $work/bus.address ]]' 100 || fail "the session bus did not start"
DBUS_SESSION_BUS_ADDRESS=$(head -1 "$work/bus.address")
export DBUS_SESSION_BUS_ADDRESS
"$build/bin/meterimport-status-monitor" > "$work/status.txt" &
wait_for 'dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner string:Orvantix.DDEImpStatus 2>/dev/null | grep -q true' 100 \
  || fail "the status monitor did not come up"
export XDG_RUNTIME_DIR="$work/runtime"
mkdir -m 700 "$XDG_RUNTIME_DIR"

# An X server of our own on a display it picks itself (no race with another
# server starting at the same time). It writes the number once it listens,
# which can be before it serves clients; so the test waits for a client's
# first answer. It does not reset when its last client leaves.
Xvfb -displayfd 5 -screen 0 1024x768x24 -nolisten tcp -noreset 5>"$work/display" 2>"$work/xvfb.log" &
wait_for '[[ -s $work/display ]]' 100 || { cat "$work/xvfb.log" >&2; fail "Xvfb did not start"; }
DISPLAY=:$(head -1 "$work/display")
export DISPLAY
wait_for 'xdpyinfo >/dev/null 2>&1' 100 || { cat "$work/xvfb.log" >&2; fail "Xvfb serves no client"; }

xmessage -geometry 900x600+0+0 -name diary "The diary" 2>"$work/host.err" &
wait_for 'host=$(xdotool search --name "^diary$" 2>/dev/null | head -1); [[ -n $host ]]' 200 \
  || fail "no host window: $(cat "$work/host.err")"
"$build/bin/meterimport" Demo 7 1 13 "$host" 2>"$work/module.err" &
module=$!
wait_for 'wizard=$(xdotool search --onlyvisible --class meterimport 2>/dev/null | head -1); [[ -n $wizard ]]' 200 \
  || fail "no wizard window"
wait_for 'xwininfo -tree -id "$host" | grep -qi "meterimport"' 100 \
  || fail "the wizard is not inside the host's window"
focus_wizard
# The keys wait in the wizard's queue; each step before the transfer is done
# before the next key is taken.
for _ in 1 2 3; do
  xdotool key --window "$wizard" Return
done
# The wizard prints what the import did (the laboratory line is among the
# last) just before it shows the result screen, without taking any event in
# between: a key sent after that line is the result screen's.
wait_for 'grep -q "^meterimport: LAB:" "$work/module.err"' 300 \
  || fail "the import did not end: $(cat "$work/module.err")"
[[ $(ls "$demo/import" | wc -l) -eq 5 ]] || fail "not five import files"
xdotool key --window "$wizard" Return
last_key Return
module_ends "after the import"

# Escape at the first screen ends the module; an unknown handle leaves the
# wizard a top-level window; "-style" is the host's product key.
"$build/bin/meterimport" -style 8 2 13 123456 &
module=$!
wait_for 'wizard=$(xdotool search --onlyvisible --class meterimport 2>/dev/null | head -1); [[ -n $wizard ]]' 200 \
  || fail "no wizard window for an unknown host window"
focus_wizard
last_key Escape
module_ends "after Escape"

# What the host heard in the whole run: exactly one status, the meter's (the
# second run, under a product key without a language module, has an empty
# title, which is no change of the status).
[[ $(cat "$work/status.txt") == "STATUS|Import from Accu-Chek Sensor Complete" ]] \
  || { cat "$work/status.txt"; fail "the host did not hear exactly the status of the import"; }
# The files: five, whole, in Windows-1252 with CR LF.
for prefix in BG_ INSULIN_ INTAKES_ EXERCISES_ LABORATORY_; do
  file=$(ls "$demo/import/$prefix"*.00007)
  [[ $(tail -c 4 "$file" | od -An -tx1 | tr -d ' \n') == 0d0a0d0a ]] \
    || fail "$file does not end in CR LF CR LF"
done
grep -q $'^Entries=232\r$' "$demo"/import/BG_*.00007 || fail "the glucose file is not complete"
# The ports in use were stored: 1, and 2 for the second run under "-style".
[[ $("$settings" get 'HKCU\SOFTWARE\Kestrelsoft\Demo\modules\Accu-Chek Sensor Complete' COM) == 1 ]] \
  || fail "the port was not stored"
[[ $("$settings" get 'HKCU\SOFTWARE\Kestrelsoft\-style\modules\Accu-Chek Sensor Complete' COM) == 2 ]] \
  || fail "the product key -style was not taken as such"
echo "PASS"
