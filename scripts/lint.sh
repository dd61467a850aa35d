#!/usr/bin/env bash
# Static analysis of the module's own sources (src/, include/, tests/, fuzz/,
# bench/; not Qt's generated ones): clang-tidy with the checks of .clang-tidy
# and cppcheck with .cppcheck-suppressions. Fails when either reports
# anything; prints only the findings and the time each tool took.
#   scripts/lint.sh     uses build/ (that of scripts/test.sh), configuring it
#                       and making Qt's generated sources when they are missing
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

scripts/install-deps.sh --lint

build_dir=build
jobs=$(nproc)
if [[ ! -f $build_dir/compile_commands.json ]]; then
  cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
# The sources of the windows need what moc makes; the *_autogen targets make
# it (building first the libraries those targets depend on). Nothing to do
# after scripts/test.sh.
mapfile -t autogen < <(ninja -C "$build_dir" -t targets all |
  sed -n 's/^\([^/:]*_autogen\): phony$/\1/p')
if ((${#autogen[@]} > 0)); then
  cmake --build "$build_dir" -j "$jobs" --target "${autogen[@]}" >/dev/null
fi

# The compile commands of the module's own files only. A file compiled more
# than once with the same macros (the fuzz targets' replay driver, the Qt
# tests' main) is checked once; the variants of the misbehaving test controls,
# told apart by their macros, are each checked.
lint_db=$build_dir/lint
mkdir -p "$lint_db"
python3 - "$root" "$build_dir/compile_commands.json" "$lint_db/compile_commands.json" <<'EOF'
import json, os, shlex, sys

root, source, target = sys.argv[1:4]
own = ("src", "include", "tests", "fuzz", "bench")
kept, seen = [], set()
for entry in json.load(open(source)):
    path = os.path.normpath(os.path.join(entry["directory"], entry["file"]))
    relative = os.path.relpath(path, root)
    if relative.split(os.sep)[0] not in own:
        continue
    words = entry.get("arguments") or shlex.split(entry["command"])
    macros = frozenset(w[2:].split("=")[0] for w in words if w.startswith("-D"))
    if (path, macros) in seen:
        continue
    seen.add((path, macros))
    entry["file"] = path
    kept.append(entry)
json.dump(kept, open(target, "w"), indent=1)
EOF

status=0

# clang-tidy, one process per file, the test programs (the slowest) first.
# A file's output is shown only when it has findings (or fails to compile).
start=$SECONDS
tidy_one() {
  local output
  if ! output=$(clang-tidy -p "$1" --quiet "$2" 2>&1); then
    grep -v -E '^[0-9]+ warnings? (and [0-9]+ errors? )?generated\.$' <<<"$output" || true
    return 1
  fi
}
export -f tidy_one
if ! python3 -c 'import json, sys
files = dict.fromkeys(e["file"] for e in json.load(open(sys.argv[1])))
print("\n".join(sorted(files, key=lambda f: "/tests/" not in f)))' "$lint_db/compile_commands.json" |
  xargs -d '\n' -P "$jobs" -n 1 bash -c 'tidy_one "$0" "$1"' "$lint_db"; then
  echo "clang-tidy: findings above" >&2
  status=1
fi
echo "clang-tidy: $((SECONDS - start)) s" >&2

start=$SECONDS
if ! cppcheck --project="$lint_db/compile_commands.json" -j "$jobs" --quiet \
  --enable=warning,performance,portability,style --inline-suppr \
  --suppressions-list=.cppcheck-suppressions --suppress=missingIncludeSystem \
  --library=qt --library=posix --library=googletest --error-exitcode=1 \
  --template='{file}:{line}:{column}: {severity}: {message} [{id}]'; then
  echo "cppcheck: findings above" >&2
  status=1
fi
echo "cppcheck: $((SECONDS - start)) s" >&2

exit "$status"
