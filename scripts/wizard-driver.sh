# Sourced by the scripts that show the wizard on a virtual display of their
# own and drive it by keystrokes (scripts/run.sh --screenshots,
# scripts/screenshots.sh). Needs $build (the build folder) and $work (a
# folder of the caller's). Every process started here is a job of the
# caller's shell, which ends its jobs when it exits. Every wait is bounded,
# so that a wizard that does not do what is expected ends the script.

# wait_for and start_display.
source "$(dirname "${BASH_SOURCE[0]}")/x-session.sh"

# start_wizard PRODUCTKEY SEQUENCE PORT METERID: the module as the diary
# starts it without a window of its own; $module is its process, $wizard its
# window (found and given the keyboard focus); its standard error goes to
# $work/wizard.err.
start_wizard() {
  "$build/bin/meterimport" "$@" 0 2>"$work/wizard.err" &
  module=$!
  wizard=""
  # Qt may replace its first native window, so the window is looked up again
  # until the one found shows its first screen and says it is the active one
  # (its properties _METERIMPORT_SCREEN and _METERIMPORT_ACTIVE).
  if ! wait_for 'find_wizard && [[ $(screen) == intro ]] &&
      xdotool windowfocus "$wizard" 2>/dev/null &&
      [[ $(xprop -id "$wizard" _METERIMPORT_ACTIVE 2>/dev/null) == *\"1\" ]]' 200; then
    echo "The wizard did not come up:" >&2
    cat "$work/wizard.err" >&2
    return 1
  fi
  sleep 0.6  # its first painting
  # A window replaced after it took the focus leaves the focus on the root.
  wizard_has_focus
}

# Finds the wizard's window and gives it the keyboard focus.
wizard_has_focus() {
  wait_for 'wizard=$(xdotool search --onlyvisible --class meterimport 2>/dev/null | head -n 1) &&
      [[ -n $wizard ]] && { [[ $(xdotool getwindowfocus -f 2>/dev/null) == "$wizard" ]] ||
      { xdotool windowfocus "$wizard" 2>/dev/null && sleep 0.1 &&
        [[ $(xdotool getwindowfocus -f 2>/dev/null) == "$wizard" ]]; }; }' 200
}

# Sets $wizard to the wizard's window as it is now.
find_wizard() {
  wizard=$(xdotool search --onlyvisible --class meterimport 2>/dev/null | head -n 1)
  [[ -n $wizard ]]
}

# The screen the wizard shows, as its window tells it ("intro", "port",
# "switch-on", "reading", "transfer", "writing", "result", "cancelling").
screen() {
  xprop -id "$wizard" _METERIMPORT_SCREEN 2>/dev/null |
    sed -n 's/^_METERIMPORT_SCREEN(STRING) = "\(.*\)"$/\1/p'
}

# wait_screen NAME: waits until the wizard shows the screen NAME, then gives
# it time to paint.
wait_screen() {
  local wanted=$1
  if ! wait_for '[[ $(screen) == "$wanted" ]]' 1200; then
    echo "The wizard did not show its screen $wanted (it shows '$(screen)'):" >&2
    cat "$work/wizard.err" >&2
    return 1
  fi
  sleep 0.6
}

# key KEY [SECONDS]: a keystroke for the wizard, then time for it to paint.
# A key that ends the module can end its window between the key's press and
# its release; xdotool then stops before the release, and the X server, which
# holds the key down, repeats it into the next window that has the focus (an
# Escape that cancels the next wizard). So the key is always released (the
# server ignores the release of a key that is up).
key() {
  xdotool key --window "$wizard" "$1" 2>/dev/null || true
  xdotool keyup "$1" 2>/dev/null || true
  sleep "${2:-0.6}"
}

# shot FILE: a picture of the wizard's window as it is now.
shot() {
  import -window "$wizard" "$1"
  echo "$1"
}

# Waits until the wizard shows its result screen.
wait_result() {
  wait_screen result
}

# Waits for the module to end (at most 30 s; then it is ended). Its exit
# status is always 0.
wizard_ends() {
  if ! wait_for '! kill -0 "$module" 2>/dev/null' 300; then
    kill "$module" 2>/dev/null || true
    wait "$module" 2>/dev/null || true
    echo "The wizard did not end" >&2
    return 1
  fi
  wait "$module" || true
}
