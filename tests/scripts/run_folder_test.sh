#!/usr/bin/env bash
# scripts/run.sh refuses, before it builds or changes anything, every folder
# that it may not use: the checkout, a folder above it, the home folder, /, a
# folder holding files that it did not make, a picture folder holding other
# files. It runs as a copy in a checkout of its own whose install-deps.sh
# only notes that run.sh went on, so that a refusal that fails removes
# nothing real.
#   run_folder_test.sh SOURCE_DIR
set -euo pipefail
source_dir=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
checkout="$work/a checkout"
mkdir -p "$checkout/scripts" "$work/home" "$work/full" "$work/pictures" "$work/empty"
cp "$source_dir/scripts/run.sh" "$checkout/scripts/"
printf '#!/bin/sh\ntouch "%s/went-on"\nexit 1\n' "$work" > "$checkout/scripts/install-deps.sh"
chmod +x "$checkout/scripts/install-deps.sh"
echo "a person's file" > "$work/full/letter.txt"
echo "a person's picture" > "$work/pictures/holiday.png"
export HOME="$work/home"

failures=0
# expect STATUS MESSAGE ARGS...: run.sh ARGS ends with STATUS, says MESSAGE,
# and went on (to install-deps.sh) only when STATUS is 1.
expect() {
  local want=$1 message=$2 status=0
  shift 2
  rm -f "$work/went-on"
  "$checkout/scripts/run.sh" "$@" > "$work/out" 2>&1 || status=$?
  local went_on=no
  [[ -e $work/went-on ]] && went_on=yes
  if [[ $status != "$want" || $(cat "$work/out") != *"$message"* ||
    $went_on != $([[ $want == 1 ]] && echo yes || echo no) ]]; then
    echo "FAILED: run.sh $* ended with $status (went on: $went_on):" >&2
    cat "$work/out" >&2
    failures=$((failures + 1))
  fi
}
expect 2 "is this checkout" "$checkout"
expect 2 "holds this checkout" "$work"
expect 2 "holds this checkout" /
expect 2 "is the home folder" "$HOME"
expect 2 "holds files that scripts/run.sh did not make" "$work/full"
expect 2 "holds files that scripts/run.sh does not write" --screenshots "$work/pictures"
expect 2 "Usage" --screenshots
# A new folder and an empty one are taken.
expect 1 "" "$work/new/demo"
expect 1 "" --screenshots "$work/new/pictures" "$work/empty"
[[ $(cat "$work/full/letter.txt") == "a person's file" &&
  $(cat "$work/pictures/holiday.png") == "a person's picture" ]] ||
  { echo "FAILED: a person's file was changed" >&2; failures=$((failures + 1)); }
echo "run.sh folders: $failures failed"
((failures == 0))
