#!/usr/bin/env bash
# The README's run command: builds the module and runs one whole import from
# the simulated meter (an Accu-Chek Sensor Complete) into a demo installation.
# With a display, the wizard opens (the simulated meter takes a few seconds,
# so that the transfer can be seen); without one, meterimport-batch imports
# without windows. With --screenshots the wizard runs on a virtual display of
# its own, is driven to the end by keystrokes, and leaves a picture of each
# of its screens in DIR.
#   scripts/run.sh [FOLDER]                    FOLDER default: demo/ in this checkout
#   scripts/run.sh --screenshots DIR [FOLDER]
# FOLDER must be new, empty, or one that run.sh made before: it writes a
# marker file there (.meterimport-demo) listing what it made, and the next
# run removes exactly that, nothing else. A folder holding anything else is
# refused, and so are the checkout, $HOME, / and every folder above them.
# Everything it writes stays in FOLDER, DIR and the build folder.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build"
me=scripts/run.sh

usage() {
  echo "Usage: $me [FOLDER]" >&2
  echo "       $me --screenshots DIR [FOLDER]" >&2
  exit 2
}
refuse() {
  echo "$me: $*" >&2
  echo "$me: nothing was changed. Give a new or empty folder (or empty this one yourself)." >&2
  exit 2
}
# within A B: A is B or lies below it.
within() { [[ $1 == "$2" || $1 == "${2%/}"/* ]]; }

shots=""
if [[ ${1:-} == --screenshots ]]; then
  [[ $# -ge 2 && -n $2 ]] || usage
  shots=$(realpath -m -- "$2")
  shift 2
fi
(($# <= 1)) || usage
[[ ${1:-} != -* ]] || usage
demo=$(realpath -m -- "${1:-$root/demo}")

# ---- What may be used -------------------------------------------------------

home=$(realpath -m -- "${HOME:-/}")
for target in "$demo" ${shots:+"$shots"}; do
  if [[ $target == "$root" ]]; then
    refuse "$target is this checkout"
  elif within "$root" "$target"; then
    refuse "$target holds this checkout"
  elif [[ $target == "$home" ]]; then
    refuse "$target is the home folder"
  elif within "$home" "$target"; then
    refuse "$target holds the home folder"
  fi
  if [[ -L $target || (-e $target && ! -d $target) ]]; then
    refuse "$target is not a folder"
  fi
done
marker_name=.meterimport-demo
marker="$demo/$marker_name"
if [[ -d $demo && ! -f $marker && -n $(ls -A -- "$demo") ]]; then
  if [[ -f $demo/installation.reg && -f $demo/machine.hive ]]; then
    # An earlier run.sh kept no list of what it made; what is there now may
    # be the person's own, so it is theirs to remove.
    refuse "$demo looks like a demo folder of an earlier $me, which kept no list of what" \
      "it made; remove it yourself (rm -r -- '$demo') if nothing of yours is in it"
  fi
  refuse "$demo holds files that $me did not make"
fi
pictures=(1-introduction.png 2-port.png 3-switch-on.png 4-transfer.png 5-result.png)
if [[ -n $shots && -d $shots ]]; then
  while IFS= read -r name; do
    [[ " ${pictures[*]} " == *" $name "* ]] || refuse "$shots holds files that $me does not write"
  done < <(ls -A -- "$shots")
fi

"$root/scripts/install-deps.sh" ${shots:+--screenshots}
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target meterimport meterimport-batch meterimport-settings meterctl-sim

# ---- The demo folder ----------------------------------------------------------

# The marker's first line says what it is; the others name, relative to the
# folder, every file and folder that run.sh made there. Folders are removed
# only when nothing else is left in them, and nothing is removed through a
# symbolic link that leads out of the folder.
header="# Made by meterimport's scripts/run.sh: a demo installation. The next run removes the paths below and nothing else."
if [[ -f $marker ]]; then
  tail -n +2 -- "$marker" | LC_ALL=C sort -r | while IFS= read -r path; do
    case $path in
      '' | /* | . | ./* | */. | */./* | .. | ../* | */.. | */../*) continue ;;
    esac
    target="$demo/$path"
    [[ $(realpath -m -- "$(dirname -- "$target")") == "$demo" ||
      $(realpath -m -- "$(dirname -- "$target")") == "$demo"/* ]] || continue
    if [[ -d $target && ! -L $target ]]; then
      rmdir -- "$target" 2>/dev/null || true
    else
      rm -f -- "$target"
    fi
  done
fi
mkdir -p -- "$demo"
# What is there now is not run.sh's (it was put there by hand after an earlier
# run) and stays.
listing() { (cd "$demo" && find . -mindepth 1 ! -path "./$marker_name" ! -path "./$marker_name.new" | sed 's|^\./||' | LC_ALL=C sort); }
kept=$(listing)
record() {
  { printf '%s\n' "$header"; LC_ALL=C comm -23 <(listing) <(printf '%s\n' "$kept"); } \
    > "$marker.new" && mv -f -- "$marker.new" "$marker"
}
record

work=""
cleanup() {
  local status=$? pids
  pids=$(jobs -p)
  if [[ -n $pids ]]; then
    kill $pids 2>/dev/null || true
    wait $pids 2>/dev/null || true
  fi
  [[ -z $work ]] || rm -rf "$work"
  record
  exit "$status"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# The installation: the host's key with its language and import folder, the
# meter's options (all categories on, no port test: the simulated meter needs
# no cable), and the simulated control with its meter memory.
memory="$demo/memory.json"
sed 's/"ms_per_record": [0-9]*/"ms_per_record": 10/' \
  "$root/data/meters/accu-chek-sensor-complete.json" > "$memory"
source "$root/scripts/demo-installation.sh"

echo "== The demo installation (meterimport-settings list):"
"$build/bin/meterimport-settings" list 'HKLM\SOFTWARE\Kestrelsoft\Demo\modules\Accutrend sensor complete'
echo
status=0
if [[ -n $shots ]]; then
  echo "== meterimport Demo 1 1 13 0 on a virtual display, driven by keystrokes; a picture of each screen in $shots:"
  mkdir -p -- "$shots"
  work=$(mktemp -d)
  export XDG_RUNTIME_DIR="$work/runtime"
  mkdir -m 700 "$XDG_RUNTIME_DIR"
  unset DBUS_SESSION_BUS_ADDRESS  # no diary to tell
  source "$root/scripts/wizard-driver.sh"
  start_display
  start_wizard Demo 1 1 13
  shot "$shots/1-introduction.png"
  key Return 0; wait_screen port
  shot "$shots/2-port.png"
  key Return 0; wait_screen switch-on
  shot "$shots/3-switch-on.png"
  key Return 0; wait_screen transfer
  shot "$shots/4-transfer.png"
  wait_result
  shot "$shots/5-result.png"
  key Return 0.3
  key Return 0.3  # Finish takes two presses
  wizard_ends || status=1
  cat "$work/wizard.err" >&2
elif [[ -n ${DISPLAY:-}${WAYLAND_DISPLAY:-} ]]; then
  echo "== meterimport Demo 1 1 13 0   (the wizard: Next, Next, Next, then Finish twice)"
  "$build/bin/meterimport" Demo 1 1 13 0 || status=$?
else
  echo "== No display: meterimport-batch Demo 1 1 13 (the same import without windows)"
  echo "   To see the wizard without a display:"
  echo "   $me --screenshots DIR${1:+ $(printf '%q' "$1")}"
  echo "   (the wizard on a virtual display of its own, driven to the end; a picture of each screen in DIR)"
  "$build/bin/meterimport-batch" Demo 1 1 13 || status=$?
fi
echo "(exit status $status)"
echo
echo "== Import files in $demo/import:"
for file in "$demo"/import/*; do
  [[ -f "$file" ]] || continue
  echo "-- $file ($(wc -l < "$file") lines; first lines, Windows-1252 with CR LF):"
  head -n 16 "$file" | iconv -f WINDOWS-1252 -t UTF-8 | tr -d '\r'
done
exit "$status"
