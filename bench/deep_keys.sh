#!/usr/bin/env bash
# Times meterimport-settings on a key tree 10,000 levels deep (one key per
# level, each with a text value): `export` of the whole root, `import` of that
# file into a fresh hive, and `delete` of the top key. Each key line of the
# export names its whole path, so the file grows with the square of the depth
# (about 200 MB here); the walk of the tree itself is linear.
#   bench/deep_keys.sh [LEVELS]      default 10000
# Builds meterimport-settings in build/ like scripts/run.sh; writes only to a
# temporary folder, removed at the end.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build"
levels=${1:-10000}

"$root/scripts/install-deps.sh" --bench
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j 2 --target meterimport-settings >/dev/null
tool="$build/bin/meterimport-settings"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export METERIMPORT_MACHINE_HIVE="$work/machine.hive"
export METERIMPORT_USER_HIVE="$work/user.hive"

# The first key through the tool (which makes the hive), the levels below it
# straight into its tables.
"$tool" set 'HKCU\k' v 1
sqlite3 "$METERIMPORT_USER_HIVE" "
  WITH RECURSIVE level(n) AS (SELECT 2 UNION ALL SELECT n + 1 FROM level WHERE n < $levels)
  INSERT INTO keys(id, parent, name) SELECT n, n - 1, 'k' FROM level;
  INSERT INTO reg_values(key, name, type, data)
    SELECT id, 'v', 1, CAST('1' AS BLOB) || x'00' FROM keys WHERE id > 1;"

# Milliseconds of one command.
timed() {
  local start end
  start=$(date +%s%N)
  "$@" >/dev/null
  end=$(date +%s%N)
  echo $(((end - start) / 1000000))
}

export_ms=$(timed "$tool" export HKCU "$work/deep.reg")
null_ms=$(timed "$tool" export HKCU /dev/null)
size=$(stat -c %s "$work/deep.reg")
import_ms=$(METERIMPORT_USER_HIVE="$work/again.hive" timed "$tool" import "$work/deep.reg")
delete_ms=$(timed "$tool" delete 'HKCU\k')
left=$(sqlite3 "$METERIMPORT_USER_HIVE" "SELECT count(*) FROM keys")

echo "a key tree $levels levels deep, in ms:"
echo "  export HKCU:    $export_ms  ($((size / 1000000)) MB file; $null_ms into /dev/null)"
echo "  import of it:   $import_ms  (into a fresh hive)"
echo "  delete HKCU\\k:  $delete_ms  ($left keys left)"
