# Sourced by the scripts and tests that run the module on an X server and a
# session bus of their own (tests/gui/*.sh, scripts/wizard-driver.sh and with
# it scripts/screenshots.sh and scripts/run.sh --screenshots). Every process
# started here is a job of the caller's shell. Every wait is for a state and
# bounded, so that a program that does not do what is expected ends the
# script instead of hanging it.

# own_work_folder: makes the temporary folder $work; on every way out the
# shell's jobs are ended (a stopped one is woken first, so that it can end)
# and the folder is removed.
own_work_folder() {
  work=$(mktemp -d)
  trap end_own_jobs EXIT
  trap 'exit 130' INT
  trap 'exit 143' TERM
}
end_own_jobs() {
  local pids
  pids=$(jobs -p)
  if [[ -n $pids ]]; then
    kill -CONT $pids 2>/dev/null || true
    kill $pids 2>/dev/null || true
    wait $pids 2>/dev/null || true
  fi
  rm -rf "$work"
}

# fail MESSAGE: says what failed, with the module's standard error when it was
# kept in $work/module.err, and ends the script.
fail() {
  echo "FAIL: $*" >&2
  if [[ -s $work/module.err ]]; then
    sed 's/^/  module: /' "$work/module.err" >&2
  fi
  exit 1
}

# wait_for COMMAND TENTHS: waits up to TENTHS tenths of a second for COMMAND
# (evaluated) to succeed.
wait_for() {
  local tries=$2
  until eval "$1"; do
    tries=$((tries - 1))
    ((tries > 0)) || return 1
    sleep 0.1
  done
}

# start_display [SCREEN [XVFB OPTION ...]]: an X server on a display that it
# picks itself (no race with another server starting at the same time),
# 1280x900x24 unless SCREEN says otherwise; DISPLAY points at it once it
# answers a client (it names the display once it listens, which can be
# before it serves). It does not reset when its last client leaves.
start_display() {
  local screen=${1:-1280x900x24}
  (($# > 0)) && shift
  Xvfb -displayfd 5 -screen 0 "$screen" -nolisten tcp -noreset "$@" 5>"$work/display" \
    2>"$work/xvfb.log" &
  if ! wait_for '[[ -s $work/display ]]' 100; then
    cat "$work/xvfb.log" >&2
    echo "Xvfb did not start" >&2
    return 1
  fi
  DISPLAY=:$(head -n 1 "$work/display")
  export DISPLAY
  if ! wait_for 'xdpyinfo >/dev/null 2>&1' 100; then
    cat "$work/xvfb.log" >&2
    echo "Xvfb serves no client" >&2
    return 1
  fi
}

# start_session_bus: a session bus of the caller's own (not forked off, so
# that it stays a job of the shell; $bus_daemon is its process), and
# DBUS_SESSION_BUS_ADDRESS pointing at it.
start_session_bus() {
  dbus-daemon --session --nofork --print-address=3 3>"$work/bus.address" 2>"$work/bus.err" &
  bus_daemon=$!
  if ! wait_for '[[ -s $work/bus.address ]]' 100; then
    cat "$work/bus.err" >&2
    echo "the session bus did not start" >&2
    return 1
  fi
  DBUS_SESSION_BUS_ADDRESS=$(head -n 1 "$work/bus.address")
  export DBUS_SESSION_BUS_ADDRESS
}
